#!/usr/bin/env python3
"""hostile_test.py VORN: the real process among files that are none, and with a log that nobody takes.

Whatever stands in the place of a file, whatever is left of its standard descriptors and whatever becomes of its log's
reader: the daemon starts, publishes what the permanent step asks for, goes on, and leaves other people's files alone."""

import os
import pathlib
import sys
import time
import unittest

from box import Box, wait_for

STEP_9 = (b'\x09', '4000')  # the record of the deepest permanent step, and the voltage it asks for
RUNS = 'vorn running on platform'
QUICK = ['env', 'LD_PRELOAD=/program/quick_time.so']  # a thousand seconds in one
SIZES = {'batt_stress': 396, 'batt_precharge_counter': 4, 'batt_precharge_timer': 4, 'charge_failures': 4,
         'dyn_soc_params': 20, 'last_battvolt': 4, 'last_datetime': 8, 'toc_clients': 1}
STATE = [name for name in SIZES if name != 'toc_clients']
DATA = ['batt_precharge_ubootflag', 'batt_precharge_uboottimer', 'mock_batt_stress_offset', 'mock_n_day_threshold_sec']


def foreign(box):
    return box.root / 'var/foreign'


# What may stand where a file should: made at `path` in the box.
STAND_INS = {
    'FIFO': lambda box, path: os.mkfifo(path),
    'directory': lambda box, path: path.mkdir(),
    'link': lambda box, path: path.symlink_to('/var/foreign'),
    'link to nothing': lambda box, path: path.symlink_to('/var/made_by_a_link'),
    'device': lambda box, path: os.mknod(path, 0o020666, os.makedev(1, 5)) if os.getuid() == 0 else path.mkdir(),
}


class Hostile(unittest.TestCase):
    def setUp(self):
        self.box = self.enterContext(Box(VORN))
        self.nvcfg = self.box.root / 'mnt/vendor/nvcfg/vorn'
        self.data = self.box.root / 'data/vendor/vorn'
        self.toc = self.box.root / 'var/lib/vorn/persist.vendor.vorn.toc'
        (self.nvcfg / 'toc_clients').write_bytes(STEP_9[0])
        foreign(self.box).write_text('precious')

    def start(self, *under):
        return self.box.start(VORN.name, under=under)

    def expect_running(self, process, voltage=STEP_9[1]):
        wait_for(lambda: process.count(RUNS), 'the daemon to start')
        self.expect_cycles(process)
        self.assertEqual(self.toc.read_text(), voltage)

    def expect_cycles(self, process):
        before = process.sleeps()
        wait_for(lambda: process.sleeps() > before + 3, 'further cycles')

    def test_nothing_but_a_file_is_opened(self):
        others = [f'mnt/vendor/nvcfg/vorn/{name}' for name in STATE] + [f'data/vendor/vorn/{name}' for name in DATA]
        cases = [(others, STEP_9[1]), (['mnt/vendor/nvcfg/vorn/toc_clients'], '4450')]
        for kind, stand_in in STAND_INS.items():
            for victims, voltage in cases:
                with self.subTest(kind=kind, victims=victims):
                    self.setUp()
                    for victim in victims:
                        (self.box.root / victim).unlink(missing_ok=True)
                        stand_in(self.box, self.box.root / victim)
                    process = self.start(*QUICK)
                    self.expect_running(process, voltage)
                    self.assertEqual(foreign(self.box).read_text(), 'precious')
                    self.assertFalse((self.box.root / 'var/made_by_a_link').exists())
                    self.assertGreaterEqual(process.count('file open error'), 1)

    def test_standard_descriptors_are_never_files_of_the_daemon(self):
        process = self.start(*QUICK, 'sh', '-c', 'exec "$@" <&- >&- 2>&-', 'sh')
        wait_for(lambda: self.toc.exists() and self.toc.read_text() == STEP_9[1], 'the voltage')
        self.expect_cycles(process)
        self.assertEqual(process.standard_descriptors(), ['/run/vorn/lock', '/dev/null', '/dev/null'])
        sizes = {path.name: path.stat().st_size for path in self.nvcfg.iterdir()}
        self.assertEqual(sizes, {name: SIZES[name] for name in sizes})

    def test_no_reader_of_the_log_stops_it(self):
        goes_away = 'mkfifo /run/log; true </run/log & exec "$@" 2>/run/log'
        stops_reading = 'mkfifo /run/log; exec 3<>/run/log; head -c 65536 /dev/zero >&3; exec "$@" 2>&3'
        for log in (goes_away, stops_reading):
            with self.subTest(log=log):
                self.setUp()
                process = self.start(*QUICK, 'sh', '-c', log, 'sh')
                wait_for(lambda: self.toc.exists() and self.toc.read_text() == STEP_9[1], 'the voltage')
                self.expect_cycles(process)

    def test_a_limit_on_files_does_not_end_it(self):
        process = self.start(*QUICK, 'sh', '-c', 'ulimit -f 0; exec "$@"', 'sh')
        wait_for(lambda: process.count(RUNS), 'the daemon to start')
        self.expect_cycles(process)

    def test_a_second_instance_says_so_and_ends(self):
        first = self.start(*QUICK, 'sh', '-c', '"$@" & sleep 0.5; "$@"; echo "second: $?" >&2; wait', 'sh', '/program/vorn')
        wait_for(lambda: first.count('second: 1'), 'the second one to end')
        self.assertEqual(first.count('runs already, /run/vorn/lock is locked'), 1)

    def test_an_error_of_every_cycle_is_logged_when_it_begins_and_ends(self):
        node = self.box.battery / 'voltage_now'
        healthy = node.read_text()
        node.unlink()
        process = self.start(*QUICK)
        wait_for(lambda: process.count(RUNS), 'the daemon to start')
        before = process.sleeps()
        wait_for(lambda: process.sleeps() > before + 200, 'two hundred cycles')
        line = 'file read error /sys/class/power_supply/battery/voltage_now ---'
        self.assertLess(process.count(line), 10)
        node.write_text(healthy)
        wait_for(lambda: process.count(' cycles more: --- vorn ' + line), 'the end of it to be said')

    def test_a_full_disk_is_said_when_it_begins_and_when_it_ends(self):
        small = ['--size', '32768', '--tmpfs', '/mnt']  # for the sandbox
        fill = ('mkdir -p /mnt/vendor/nvcfg/vorn; head -c 99999 /dev/zero >/mnt/fill 2>/dev/null; '
                '(until [ -e /run/heal ]; do sleep 0.1; done; rm /mnt/fill) & exec "$@"')
        process = self.start(*small, 'sh', '-c', fill, 'sh', *QUICK)
        wait_for(lambda: process.count(RUNS), 'the daemon to start')
        before = process.sleeps()
        wait_for(lambda: process.sleeps() > before + 1000, 'a thousand cycles')
        line = '--- vorn file write error errno file /mnt/vendor/nvcfg/vorn/dyn_soc_params ---'
        self.assertEqual(process.count(line), 1)
        # Not four a cycle: in three hours of its clock each of some twenty lines, and what fails each hour each time.
        self.assertLess(sum(times for said, times in list(process.lines.items()) if said.startswith('E/')), 60)
        (self.box.root / 'run/heal').touch()
        wait_for(lambda: process.count(' cycles more: ' + line), 'the end of it to be said')
        self.expect_cycles(process)

    def test_a_property_that_cannot_be_put_in_place_leaves_nothing(self):
        self.toc.mkdir(parents=True)
        process = self.start(*QUICK)
        wait_for(lambda: process.count(RUNS), 'the daemon to start')
        self.expect_cycles(process)
        self.assertEqual(list(self.toc.parent.glob('*.new')), [])


if __name__ == '__main__':
    VORN = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main(warnings='ignore')

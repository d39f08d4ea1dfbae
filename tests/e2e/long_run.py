#!/usr/bin/env python3
"""long_run.py VORN [SECONDS [SEED]]: the real process on its literal paths, its time a thousand times as fast, on a busy
machine, while nodes and state files vanish, talk nonsense and come back. No descriptor may leak, memory must stay
flat, and once all is well the daemon must see it."""

import os
import pathlib
import random
import shutil
import subprocess
import sys
import time

from box import Box, wait_for

CALM_S = 2  # at the start and at the end
GROWTH_BUDGET_KB = 64
NO_SAMPLE = 'error getting sensor data'
NONSENSE = ['', '-\n', '99999999999999\n', 'Charging\0\n', '\xff' * 40, '2147483647\n']


def fail(text):
    sys.exit(f'FAIL: {text}')


class Phone:
    """The nodes of a phone that charges and discharges, and what goes wrong with them."""

    def __init__(self, box, luck):
        self.luck = luck
        self.healthy = {path: path.read_text() for path in (box.root / 'sys').rglob('*') if path.is_file()}
        self.battery = box.battery
        self.state = box.root / 'mnt/vendor/nvcfg/vorn'
        self.mishaps = 0

    def go_on(self):
        is_charging = self.luck.random() < 0.5
        self.healthy[self.battery / 'status'] = 'Charging\n' if is_charging else 'Discharging\n'
        self.healthy[self.battery / 'current_now'] = f'{self.luck.randint(-900000, 0) + is_charging * 2000000}\n'
        self.healthy[self.battery / 'voltage_now'] = f'{self.luck.randint(3700000, 4440000)}\n'

    def heal(self):
        for path, text in self.healthy.items():
            if path.is_dir():
                path.rmdir()
            path.write_text(text)

    def go_wrong(self):
        for path in self.luck.sample(sorted(self.healthy), self.luck.randint(1, 4)):
            self.mishaps += 1
            what = self.luck.randrange(3)
            if what == 0:
                path.write_text(self.luck.choice(NONSENSE), encoding='latin-1')
                continue
            path.unlink()
            if what == 1:
                path.mkdir()  # opens, and cannot be read
        if self.luck.random() < 0.1:
            for path in self.state.iterdir():
                self.mishaps += 1
                path.unlink()


def check_end(process, box):
    """Nodes are well again: so are the samples, and what is published is what a charger understands."""
    time.sleep(CALM_S)
    cycles, errors = process.sleeps(), process.count(NO_SAMPLE)
    time.sleep(CALM_S)
    cycles = process.sleeps() - cycles
    if cycles < 10 or process.count(NO_SAMPLE) != errors:
        fail(f'{process.count(NO_SAMPLE) - errors} bad samples in the last {cycles} cycles')
    toc = (box.root / 'var/lib/vorn/persist.vendor.vorn.toc').read_text()
    if toc not in [str(mv) for mv in range(4000, 4451, 50)]:
        fail(f'publishes {toc!r}')


def run(vorn, seconds, luck):
    with Box(vorn) as box:
        phone = Phone(box, luck)
        process = box.start(vorn.name, under=['env', 'LD_PRELOAD=/program/quick_time.so'])
        wait_for(lambda: process.count('vorn running on platform'), 'the daemon to start')
        time.sleep(CALM_S)
        private_kb, end = [process.memory_kb()[1]], time.monotonic() + seconds
        while time.monotonic() < end:
            phone.go_on()
            phone.heal()
            time.sleep(luck.uniform(0, 0.2))
            phone.go_wrong()
            time.sleep(luck.uniform(0, 0.2))
            if descriptors := process.descriptors():
                fail(f'descriptors {descriptors} stay open')
            private_kb.append(process.memory_kb()[1])
        phone.heal()
        check_end(process, box)
        cycles = process.sleeps()
        print(f'long run: {cycles} cycles ({cycles / 8640:.1f} days of the daemon) in {seconds} s, {phone.mishaps} '
              f'mishaps, {process.count(NO_SAMPLE)} bad samples; private memory {private_kb[0]} kB at first, '
              f'{max(private_kb)} kB at most; no descriptor open between cycles')
        if phone.mishaps == 0 or process.count(NO_SAMPLE) == 0:
            fail('nothing went wrong, so nothing was tried')
        if max(private_kb) > private_kb[0] + GROWTH_BUDGET_KB:
            fail(f'memory grew by more than {GROWTH_BUDGET_KB} kB')


def main():
    if not 2 <= len(sys.argv) <= 4:
        sys.exit(__doc__)
    seconds = int(sys.argv[2]) if len(sys.argv) > 2 else 180
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.randrange(10**6)
    print(f'seed {seed}')
    load = [subprocess.Popen([shutil.which('sh'), '-c', 'while :; do :; done']) for _ in range(os.cpu_count())]
    try:
        run(pathlib.Path(sys.argv[1]).resolve(), seconds, random.Random(seed))
    finally:
        for each in load:
            each.kill()


main()

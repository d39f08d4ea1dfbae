#!/usr/bin/env python3
"""Makes a bug report of the platform's shape from a simulated run, in all the forms in which one may come.

Usage: make_bug_report.py VORN_LAB SCENARIO OUTPUT_DIR [--set KEY=VALUE]... [--others N]

What the daemon logged stands among N (100) lines of others for each of its own; the persisted log overlaps the main
one. OUTPUT_DIR gets the forms (report.zip, folder/, report.tar.gz, ...) and true.txt, what the simulation told."""

import argparse
import csv
import datetime
import gzip
import io
import json
import pathlib
import re
import shutil
import subprocess
import tarfile
import tempfile
import zipfile
import zoneinfo

ROTATION = 0.6  # the share of the lines that the persisted log has, in two parts; the main one has the last of them
OVERLAP = 0.4  # the share that only the persisted log has
OTHERS = ['ActivityManager: Start proc 4711:com.example.mail/u0a113 for service', 'WifiHAL : getting stats for wlan0',
          'healthd : battery l=81 v=4102 t=26.1 h=2 st=3 c=-212 chg=', 'init    : starting service vorn...',
          'audit   : type=1400 avc: granted { read } for comm="vorn" scontext=u:r:vorn:s0',
          'Mailer  : said "--- vorn attempting to migrate persistent files" to jane.roe@example.org',
          'Sensors : 1234567890abcdef batched 12']


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('lab')
    parser.add_argument('scenario')
    parser.add_argument('output', type=pathlib.Path)
    parser.add_argument('--set', action='append', default=[])
    parser.add_argument('--others', type=int, default=100)
    options = parser.parse_args()
    zone = re.search(r'^time_zone *= *"([^"]*)"', pathlib.Path(options.scenario).read_text(), re.MULTILINE)
    options.zone = zone[1] if zone else 'UTC'
    return options


class Run:
    """A simulated run: what a device would have left."""

    def __init__(self, lab, scenario, settings, directory):
        options = [word for each in settings for word in ('--set', each)]
        self.root = directory / 'root'
        subprocess.run([lab, 'simulate', scenario, *options, '--events', directory / 'events', '--series',
                        directory / 'series', '--samples', '--save-root', self.root, '--quiet'],
                       check=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.story = subprocess.run([lab, 'simulate', scenario, *options], check=False, capture_output=True).stdout
        with open(directory / 'events') as file:
            self.events = [json.loads(line) for line in file]
        with open(directory / 'series', newline='') as file:
            self.cycles = list(csv.DictReader(file))

    def log_lines(self, zone):
        """The daemon's lines in logcat's form threadtime, in the device's local time."""
        clock, first = {}, {}
        for cycle in self.cycles:
            clock[cycle['boot'], cycle['elapsed_s']] = int(cycle['realtime_s'])
            first.setdefault(cycle['boot'], int(cycle['realtime_s']))
        last, number = None, 0
        for event in self.events:
            if event['event'] not in ('log', 'metric'):
                continue
            boot, elapsed = str(event['boot']), str(event['elapsed'])
            when = clock.get((boot, elapsed), first[boot])
            number = number + 1 if when == last else 0
            last = when
            local = datetime.datetime.fromtimestamp(when, zoneinfo.ZoneInfo(zone))
            letter = {4: 'I', 5: 'W', 6: 'E'}[event['priority']]
            pid = 400 + event['boot']
            yield (when, f'{local:%m-%d %H:%M:%S}.{min(number, 999):03} {pid:5} {pid:5} {letter} vorn    : '
                   + event['text'].rstrip('\n'))


def among_others(lines, others):
    """Each line after so many of other people's, of the same moment."""
    number = 0
    for _, line in lines:
        for _ in range(others):
            number += 1
            yield f'{line[:18]} {1000 + number % 77:5} {2000 + number % 99:5} D {OTHERS[number % len(OTHERS)]}'
        yield line


def properties_of(root, zone):
    text = (root / 'properties').read_text()
    pairs = [line.split('=', 1) for line in text.splitlines() if '=' in line]
    pairs += [['persist.sys.timezone', zone], ['ro.serialno', 'R58N12ABCDE'], ['ro.product.model', 'Example']]
    return ''.join(f'[{name}]: [{value}]\n' for name, value in sorted(pairs))


def report_text(lines, others, root, zone, made_at):
    local = datetime.datetime.fromtimestamp(made_at, zoneinfo.ZoneInfo(zone))
    return (f'{"=" * 56}\n== dumpstate: {local:%Y-%m-%d %H:%M:%S}\n{"=" * 56}\n\n'
            "Build fingerprint: 'example/phone/phone:11/RQ1A/7:user/release-keys'\nUptime: up 0 weeks, 3 days\n\n"
            '------ UPTIME (uptime) ------\n 08:10:22 up 3 days\n\n'
            '------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n--------- beginning of main\n'
            + '\n'.join(among_others(lines, others)) + '\n------ 0.143s was the duration of SYSTEM LOG ------\n\n'
            '------ SYSTEM PROPERTIES (getprop) ------\n' + properties_of(root, zone) + '\n'
            '------ DUMPSYS CRITICAL (/system/bin/dumpsys) ------\nvorn 123 is a word here too\n')


def members_of(run, zone, others):
    """Name and bytes of everything in the archive."""
    lines = list(run.log_lines(zone))
    made_at = lines[-1][0] + 60
    cut, kept = int(len(lines) * OVERLAP), int(len(lines) * ROTATION)
    name = 'bugreport-phone-RQ1A-2026.txt'
    main = report_text(lines[cut:], others, run.root, zone, made_at)
    rotations = [lines[:kept // 2], lines[kept // 2:kept]]
    yield 'main_entry.txt', name.encode()
    yield name, main.encode()
    yield 'version.txt', b'2.0'
    yield 'FS/data/misc/recovery/empty', b''
    for number, part in enumerate(rotations):
        text = '\n'.join(among_others(part, others)) + '\n'
        # The older rotation has a computer's line ends.
        yield f'FS/data/misc/logd/logcat.{len(rotations) - 1 - number:03}', text.replace('\n', '\r\n' if number == 0 else '\n').encode()
    for path in sorted(run.root.rglob('*')):
        relative = path.relative_to(run.root).as_posix()
        if path.is_file() and relative != 'properties':
            yield 'FS/' + relative, path.read_bytes()
    nested = io.BytesIO()
    with zipfile.ZipFile(nested, 'w') as file:
        file.writestr('wifi.txt', 'nothing of the daemon\n')
    yield 'FS/data/vendor/wifi.zip', nested.getvalue()


def write_zip(path, members):
    with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as file:
        for name, content in members:
            file.writestr(name, content)


def write_tar(path, members):
    with tarfile.open(path, 'w:gz') as file:
        for name, content in members:
            about = tarfile.TarInfo(name)
            about.size = len(content)
            file.addfile(about, io.BytesIO(content))


def write_folder(path, members):
    for name, content in members:
        (path / name).parent.mkdir(parents=True, exist_ok=True)
        (path / name).write_bytes(content)


def main():
    options = arguments()
    out = options.output
    out.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory() as directory:
        run = Run(options.lab, options.scenario, options.set, pathlib.Path(directory))
        members = list(members_of(run, options.zone, options.others))
        text = report_text(list(run.log_lines(options.zone)), options.others, run.root, options.zone,
                           list(run.log_lines(options.zone))[-1][0] + 60).encode()
        shutil.copytree(run.root, out / 'root', dirs_exist_ok=True)
    (out / 'true.txt').write_bytes(run.story)
    # The whole report, however it is packed.
    write_zip(out / 'report.zip', members)
    renamed = [(name.replace('main_entry', 'main-entry').replace('bugreport-phone', 'dumpState_phone'), content)
               for name, content in members]
    write_zip(out / 'renamed.zip', [member for member in renamed if member[0] != 'main-entry.txt'][::-1])
    write_folder(out / 'folder', members)
    write_tar(out / 'report.tar.gz', members)
    write_zip(out / 'nested.zip', [('report.zip', (out / 'report.zip').read_bytes())])
    # Its text alone, with all of the log.
    (out / 'report.txt').write_bytes(text)
    (out / 'text.zip').write_bytes(text)  # adb bugreport > text.zip
    (out / 'report.txt.gz').write_bytes(gzip.compress(text))
    (out / 'utf16.txt').write_bytes(text.decode().encode('utf-16'))
    (out / 'crlf.txt').write_bytes(text.replace(b'\n', b'\r\n'))
    # One that was cut off while it was copied: the last member that it has is not whole.
    whole = (out / 'report.tar.gz').read_bytes()
    (out / 'cut.tar.gz').write_bytes(whole[:len(whole) * 2 // 3])


if __name__ == '__main__':
    main()

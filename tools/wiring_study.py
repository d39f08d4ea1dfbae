#!/usr/bin/env python3
"""How often "vorn-lab check" finds what is wrong with a device's wiring, and how often it cries over one that is well.

Usage: wiring_study.py VORN_LAB [--seeds N] [--pairs] [TRACE...]

Simulated weeks of N seeds, each wired wrongly in every way (and, with --pairs, in every two ways), must be told by the
check that goes with it ("wrong" or "doubtful"); well-wired ones, the scenarios and the TRACEs must have nothing "wrong"."""

import argparse
import csv
import itertools
import json
import pathlib
import subprocess
import sys
import tempfile

PROJECT = pathlib.Path(__file__).resolve().parents[1]


def scale(column, factor):
    def change(rows):
        for row in rows:
            if row[column]:
                row[column] = str(int(float(row[column]) * factor))
    return change


def swap(a, b):
    def change(rows):
        for row in rows:
            row[a], row[b] = row[b], row[a]
    return change


def hold(column):
    def change(rows):
        value = rows[len(rows) // 3][column]
        for row in rows:
            row[column] = value
    return change


def delay(column, rows_late):
    def change(rows):
        values = [row[column] for row in rows]
        for i, row in enumerate(rows):
            row[column] = values[max(0, i - rows_late)]
    return change


def put(column, text):
    def change(rows):
        for row in rows:
            row[column] = text(row[column]) if callable(text) else text
    return change


def thin(rows):
    rows[:] = rows[::30]


def step_clock(rows):
    for row in rows[len(rows) // 2:]:
        row['realtime_s'] = str(int(row['realtime_s']) + 86400)


# The wirings: what is done to the trace, and the checks of which one must tell.
WIRINGS = {
    'sign of the current': (scale('current_now', -1), ['sign.current']),
    'voltage in mV': (scale('voltage_now', 1e-3), ['unit.voltage']),
    'current in mA': (scale('current_now', 1e-3), ['unit.current']),
    'temperature in °C': (scale('temp', 0.1), ['unit.temp']),
    'temperature in m°C': (scale('temp', 100), ['unit.temp']),
    'half the current': (scale('current_now', 0.5), ['scale.current']),
    'voltage and current swapped': (swap('voltage_now', 'current_now'), ['unit.voltage', 'unit.current']),
    'temperature and level swapped': (swap('temp', 'capacity'), ['range.capacity']),
    'voltage stuck': (hold('voltage_now'), ['moves.voltage']),
    'current stuck': (hold('current_now'), ['moves.current']),
    'temperature stuck': (hold('temp'), ['moves.temp']),
    'level stuck': (hold('capacity'), ['moves.capacity']),
    'status stuck': (hold('status'), ['moves.status']),
    'status 5 min late': (delay('status', 30), ['status.delay']),
    'current 5 min late': (delay('current_now', 30), ['status.delay']),
    'status in capitals': (put('status', str.upper), ['status.words']),
    'level in hundredths': (scale('capacity', 100), ['range.capacity']),
    'no such vendor': (put('cell_vendor_name', 'ACME'), ['vendor.known']),
    'a sample in 5 min': (thin, ['spacing']),
    'clock stepped a day': (step_clock, ['clock.steps']),
}


class Study:
    def __init__(self, lab, directory):
        self.lab = lab
        self.directory = pathlib.Path(directory)

    def simulate(self, scenario, seed):
        trace = self.directory / 'trace.csv'
        subprocess.run([self.lab, 'simulate', '--quiet', scenario, '--set', f'seed={seed}', '--trace', trace],
                       check=False, capture_output=True)
        return trace

    def verdicts(self, *evidence):
        done = subprocess.run([self.lab, 'check', '--json', *evidence], check=False, capture_output=True, text=True)
        if done.returncode == 2:
            sys.exit(done.stderr)
        return {each['id']: each for each in json.loads(done.stdout)['findings']}

    def wired(self, rows, changes):
        changed = [dict(row) for row in rows]
        for change in changes:
            change(changed)
        path = self.directory / 'wired.csv'
        with open(path, 'w', newline='') as file:
            writer = csv.DictWriter(file, rows[0].keys())
            writer.writeheader()
            writer.writerows(changed)
        return self.verdicts(path)


def is_told(verdicts, checks):
    return any(verdicts[check]['verdict'] in ('wrong', 'doubtful') for check in checks)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('lab')
    parser.add_argument('--seeds', type=int, default=20)
    parser.add_argument('--pairs', action='store_true')
    parser.add_argument('traces', nargs='*')
    options = parser.parse_intermixed_args()
    failed = False
    with tempfile.TemporaryDirectory() as directory:
        study = Study(options.lab, directory)
        alarms, well = 0, 0
        for source in sorted((PROJECT / 'scenarios').glob('*.toml')) + [pathlib.Path(each) for each in options.traces]:
            trace = study.simulate(source, 1) if source.suffix == '.toml' else source
            wrong = [f'{each["id"]}: {each["what"]}' for each in study.verdicts(trace).values() if each['verdict'] == 'wrong']
            well += 1
            alarms += bool(wrong)
            if wrong:
                print(f'false alarm: {source.name}: {"; ".join(wrong)}')
        found = {name: 0 for name in WIRINGS}
        pairs = {}
        for seed in range(1, options.seeds + 1):
            with open(study.simulate(PROJECT / 'scenarios/ordinary_week.toml', seed), newline='') as file:
                rows = list(csv.DictReader(file))[:25000]
            wrong = [each['id'] for each in study.wired(rows, []).values() if each['verdict'] == 'wrong']
            well += 1
            alarms += bool(wrong)
            for name, (change, checks) in WIRINGS.items():
                found[name] += is_told(study.wired(rows, [change]), checks)
            for (a, (change_a, checks_a)), (b, (change_b, checks_b)) in itertools.combinations(WIRINGS.items(), 2):
                if not options.pairs or seed > 1:
                    continue
                verdicts = study.wired(rows, [change_a, change_b])
                pairs[a, b] = is_told(verdicts, checks_a), is_told(verdicts, checks_b)
    print(f'{alarms} false alarms on {well} well-wired recordings')
    for name, count in found.items():
        print(f'{name:32} found in {count} of {options.seeds}')
        failed |= count < 0.95 * options.seeds
    if pairs:
        either, both = sum(any(each) for each in pairs.values()), sum(all(each) for each in pairs.values())
        print(f'{len(pairs)} pairs: one told in {either}, both in {both}')
    sys.exit(1 if failed or alarms else 0)


if __name__ == '__main__':
    main()

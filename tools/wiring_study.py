#!/usr/bin/env python3
"""Prints the tables of docs/check.md: how often "vorn-lab check" tells a device's wrong wiring, and whether it cries over
one that is well.

    tools/wiring_study.py build/release/lab/vorn-lab [TRACE...]
    tools/wiring_study.py build/release/lab/vorn-lab --check docs/check.md

Two days of each of twenty drawn phones are wired wrongly in every way, and in every two ways; a wiring is told when its
check says "wrong" or "doubtful", and on the phone as it was did not. Nothing may be "wrong" about the phones as they
were, the scenarios, and the TRACEs of well-wired devices. With --check, fails when the document has other tables. Fails
below 95 %, and for a false alarm."""
import argparse
import csv
import itertools
import json
import pathlib
import subprocess
import sys
import tempfile

from tables import Lab, markdown, print_or_check

PROJECT = pathlib.Path(__file__).resolve().parents[1]
PHONES = 20
DRAWN = 24  # some lie switched off in a drawer
ROWS = 2 * 8640  # two days
LEAST_SHARE = 0.95


def scale(column, factor):
    def change(trace):
        trace[column] = [str(int(float(cell) * factor)) if cell else '' for cell in trace[column]]
    return change


def swap(a, b):
    def change(trace):
        trace[a], trace[b] = trace[b], trace[a]
    return change


def hold(column):
    def change(trace):
        trace[column] = [trace[column][len(trace[column]) // 3]] * len(trace[column])
    return change


def delay(column, rows_late):
    def change(trace):
        trace[column] = trace[column][:1] * rows_late + trace[column][:-rows_late]
    return change


def put(column, text):
    def change(trace):
        trace[column] = [text(cell) for cell in trace[column]]
    return change


def thin(trace):
    for column in trace:
        trace[column] = trace[column][::30]


def step_clock(trace):
    cells = trace['realtime_s']
    trace['realtime_s'] = [str(int(cell) + 86400 * (2 * row > len(cells))) for row, cell in enumerate(cells)]


# What is done to the trace, to which of its columns, and the checks of which one must tell.
WIRINGS = {
    'sign of the current': (scale('current_now', -1), ['current_now'], ['sign.current']),
    'voltage in mV': (scale('voltage_now', 1e-3), ['voltage_now'], ['unit.voltage']),
    'current in mA': (scale('current_now', 1e-3), ['current_now'], ['unit.current']),
    'temperature in °C': (scale('temp', 0.1), ['temp'], ['unit.temp']),
    'temperature in m°C': (scale('temp', 100), ['temp'], ['unit.temp']),
    'half the current': (scale('current_now', 0.5), ['current_now'], ['scale.current']),
    'voltage and current swapped': (swap('voltage_now', 'current_now'), ['voltage_now', 'current_now'],
                                    ['unit.voltage', 'unit.current']),
    'temperature and level swapped': (swap('temp', 'capacity'), ['temp', 'capacity'], ['range.capacity']),
    'voltage stuck': (hold('voltage_now'), ['voltage_now'], ['moves.voltage']),
    'current stuck': (hold('current_now'), ['current_now'], ['moves.current']),
    'temperature stuck': (hold('temp'), ['temp'], ['moves.temp']),
    'level stuck': (hold('capacity'), ['capacity'], ['moves.capacity']),
    'status stuck': (hold('status'), ['status'], ['moves.status']),
    'status 5 min late': (delay('status', 30), ['status'], ['status.delay']),
    'current 5 min late': (delay('current_now', 30), ['current_now'], ['status.delay']),
    'status in capitals': (put('status', str.upper), ['status'], ['status.words']),
    'level in hundredths': (scale('capacity', 100), ['capacity'], ['range.capacity']),
    'no such vendor': (put('cell_vendor_name', lambda cell: 'ACME'), ['cell_vendor_name'], ['vendor.known']),
    'a sample in 5 min': (thin, [], ['spacing']),
    'clock stepped a day': (step_clock, ['realtime_s'], ['clock.steps']),
}


class Study(Lab):
    """vorn-lab, with what is asked of wired phones."""

    def simulate(self, scenario):
        path = self.directory / 'trace.csv'
        subprocess.run([self.program, 'simulate', '--quiet', scenario, '--trace', path], check=False, capture_output=True)
        return path

    def phones(self):
        """The traces of drawn phones, as columns."""
        population = (PROJECT / 'scenarios/fleet/three_climates.toml').read_text()
        head = population.replace('phones = 300', f'phones = {DRAWN}').replace('span = "3 years"', 'span = "3 days"')
        (self.directory / 'population.toml').write_text(head)
        self.run('fleet', 'run', 'population.toml', '--out', 'fleet')
        for number in range(DRAWN):
            (self.directory / 'phone.toml').write_text(self.run('fleet', 'phone', 'fleet', number))
            with open(self.simulate(self.directory / 'phone.toml'), newline='') as file:
                names, *rows = itertools.islice(csv.reader(file), ROWS + 1)
            yield dict(zip(names, map(list, zip(*rows))))

    def verdicts(self, evidence):
        done = subprocess.run([self.program, 'check', '--json', evidence], check=False, capture_output=True, text=True)
        if done.returncode == 2:
            sys.exit(done.stderr)
        return {each['id']: each['verdict'] for each in json.loads(done.stdout)['findings']}

    def wired(self, trace, changes):
        changed = dict(trace)
        for change in changes:
            change(changed)
        path = self.directory / 'wired.csv'
        path.write_text('\n'.join(map(','.join, itertools.chain([changed], zip(*changed.values())))) + '\n')
        return self.verdicts(path)


def tells(verdicts, well, checks):
    trouble = ('wrong', 'doubtful')
    return any(verdicts[check] in trouble and well[check] not in trouble for check in checks)


def alarms(verdicts):
    return [check for check, verdict in verdicts.items() if verdict == 'wrong']


def is_one_node(a, b):
    """Whether the one may hide the other."""
    return bool(set(WIRINGS[a][1]) & set(WIRINGS[b][1]))


class Tally:
    """Of so many, so many."""

    def __init__(self):
        self.told, self.of = 0, 0

    def add(self, is_told):
        self.told += is_told
        self.of += 1

    def words(self):
        return f'{self.told} of {self.of}'

    def is_enough(self):
        return self.told >= LEAST_SHARE * self.of


def count_told(study, phones):
    """By wiring: alone, with each of another node; and of pairs of one node, one of the two."""
    alone, paired = ({name: Tally() for name in WIRINGS} for _ in range(2))
    one_node = Tally()
    for trace in phones:
        well = study.wired(trace, [])
        for name, (change, _, checks) in WIRINGS.items():
            alone[name].add(tells(study.wired(trace, [change]), well, checks))
        for pair in itertools.combinations(WIRINGS, 2):
            verdicts = study.wired(trace, [WIRINGS[name][0] for name in pair])
            told = [tells(verdicts, well, WIRINGS[name][2]) for name in pair]
            if is_one_node(*pair):
                one_node.add(any(told))
                continue
            for name, is_told in zip(pair, told):
                paired[name].add(is_told)
    return alone, paired, one_node


def false_alarms(study, phones, traces):
    """What is "wrong" about phones, recordings and scenarios that are wired well."""
    sources = itertools.chain(((f'phone {number}', study.wired(trace, [])) for number, trace in enumerate(phones)),
                              ((path.name, study.verdicts(study.simulate(path) if path.suffix == '.toml' else path))
                               for path in traces))
    return [f'{name}: {check}' for name, verdicts in sources for check in alarms(verdicts)]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('lab')
    parser.add_argument('traces', nargs='*', type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument('--check', metavar='DOCUMENT')
    options = parser.parse_intermixed_args()
    scenarios = sorted((PROJECT / 'scenarios').glob('*.toml'))
    with tempfile.TemporaryDirectory() as directory:
        study = Study(options.lab, directory)
        drawn = list(study.phones())
        false = false_alarms(study, drawn, scenarios + options.traces)
        if false:
            sys.exit('false alarms: ' + ', '.join(false))
        used = [trace for trace in drawn if len(trace['elapsed_s']) == ROWS][:PHONES]
        alone, paired, one_node = count_told(study, used)
    rows = [['wired', 'told', 'told beside another fault']]
    rows += [[name, alone[name].words(), paired[name].words()] for name in WIRINGS]
    lines = markdown(rows) + ['', f'Of two faults of one node at least one was told in {one_node.words()}. Nothing was '
                              f'wrong about {DRAWN} phones and {len(scenarios)} scenarios that are wired well.']
    if not all(tally.is_enough() for tally in [*alone.values(), *paired.values(), one_node]):
        sys.exit('\n'.join(lines + ['that is not enough']))
    print_or_check(lines, options.check)


if __name__ == '__main__':
    main()

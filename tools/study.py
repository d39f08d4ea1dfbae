#!/usr/bin/env python3
"""Prints the tables of docs/study.md: what the daemon's results owe to its sampling, how far its estimate of the state
of charge drifts on a phone that is never charged full, and what warm air does to two charging habits.

    tools/study.py build/release/lab/vorn-lab
    tools/study.py build/release/lab/vorn-lab --check docs/study.md

With --check, fails when the document has other tables. Takes two minutes or three."""
import argparse
import csv
import re
import struct
import tempfile

from tables import Lab, markdown, print_or_check

DAY_S = 86400
HOUR_S = 3600
ROWS, COLUMNS = 9, 11  # of the lifetime histogram
BOTTOM_MV = 3400       # what the estimator calls 0 %

# In a car's holder all day, navigating on the charger, and on the charger at night: warm, and full for long.
COURIER = """
start = 2026-01-05T06:00:00
seed = 23
[cell]
soc_pct = 70
curve = "ATL"
[charger]
warm_above_c = 55
[[phase]]
for = "28 d"
ambient_c = 22
load_mw = 250
charger = "wall"
screen = "off"
daily = [
    { at = "06:00", screen = "on", load_mw = 1600, burst_mw = 3500, burst_pct = 15, ambient_c = 27 },
    { at = "12:30", charger = "none", load_mw = 500, ambient_c = 24 },
    { at = "13:30", screen = "on", load_mw = 1600, burst_mw = 3500, burst_pct = 15, ambient_c = 29 },
    { at = "18:30", charger = "none", load_mw = 900, burst_mw = 3000, burst_pct = 20, ambient_c = 24 },
    { at = "22:30" },
]
"""

# Which of the courier's samples the daemon gets, by the time in seconds.
SAMPLINGS = {
    'every 10 s': lambda at_s: True,
    'every 60 s': lambda at_s: at_s % 60 == 0,
    'every 10 min': lambda at_s: at_s % 600 == 0,
    '30 s every 15 min': lambda at_s: at_s % 900 <= 30,
    'asleep 2 h of every 3 h': lambda at_s: at_s % (3 * HOUR_S) <= HOUR_S,
    'asleep 7 h a day, on the charger': lambda at_s: at_s % DAY_S < 17 * HOUR_S,
    'asleep 7 h a day, in the car': lambda at_s: not HOUR_S < at_s % DAY_S < 8 * HOUR_S,
}

# A phone used by day and charged every night, or one that never leaves its charger, for eight weeks.
HELD_WEEKS = (1, 2, 4, 8)
NIGHTLY = """
load_mw = 350
burst_mw = 2500
burst_pct = 12
daily = [
    { at = "06:45", charger = "none" },
    { at = "22:30", charger = "wall", screen = "off", load_mw = 120, burst_pct = 2 },
]
"""
ON_DESK = 'load_mw = 300\nscreen = "off"\ncharger = "wall"\n'
HELD_PHONES = {  # use, permanent step, offsets: of the cell's curve in mV, of the gauge's current in mA
    'charged to 4450 mV every night': (NIGHTLY, 0, 0, 0),
    'charged to 4350 mV every night': (NIGHTLY, 2, 0, 0),
    'charged to 4000 mV every night': (NIGHTLY, 9, 0, 0),
    'on its charger, held at 4250 mV': (ON_DESK, 0, 0, 0),
    'to 4450 mV, curve 20 mV off': (NIGHTLY, 0, 20, 0),
    'to 4000 mV, curve 20 mV off': (NIGHTLY, 9, 20, 0),
    'held at 4250 mV, curve 20 mV off': (ON_DESK, 0, 20, 0),
    'to 4450 mV, current 30 mA off': (NIGHTLY, 0, 0, 30),
    'to 4000 mV, current 30 mA off': (NIGHTLY, 9, 0, 30),
    'held at 4250 mV, current 30 mA off': (ON_DESK, 0, 0, 30),
}

# Twelve weeks of a phone, new at the start, in air of one temperature; docs/study.md has it too.
HABITS = ('night charger', 'desk')
WARM_PHONE = """
start = 2026-01-05T06:00:00
seed = 11
[cell]
soc_pct = 60
[user]
habit = "desk"
[[phase]]
for = "12 weeks"
ambient_c = 25
"""


class Phones(Lab):
    """vorn-lab, with what is asked of simulated phones."""

    def simulate(self, name, toml, *outputs):
        scenario = self.directory / f'{name}.toml'
        scenario.write_text(toml)
        paths = {each: self.directory / f'{name}.{each}' for each in outputs}
        self.run('simulate', '--quiet', scenario, *(word for each in paths for word in (f'--{each}', paths[each])))
        return paths

    def curve(self):
        """The vendor's open-circuit voltage in mV at 25 °C, from full to empty, and the charge in % at each point."""
        rows = csv.DictReader(self.run('curves').splitlines())
        return [(int(row['ocv_tenth_mv']) / 10, 100 - 1.01 * int(row['index']))
                for row in rows if row['vendor'] == 'ATL' and row['temp_c'] == '25']


def charge_at(curve, voltage_mv):
    """State of charge in % at rest, beyond the curve's ends in a straight line."""
    upper = 1
    while upper < len(curve) - 1 and curve[upper][0] > voltage_mv:
        upper += 1
    (high_mv, high), (low_mv, low) = curve[upper - 1], curve[upper]
    return low + (high - low) * (voltage_mv - low_mv) / (high_mv - low_mv)


def errors(series, curve, shift_mv, true_pct):
    """(seconds, estimate less truth, shown less truth) in % for each row, against the charge between the limits."""
    limits = {}
    for row in series:
        top_mv = int(row['toc_mv'])
        if top_mv not in limits:
            limits[top_mv] = (charge_at(curve, BOTTOM_MV - shift_mv), charge_at(curve, top_mv - shift_mv))
        empty, full = limits[top_mv]
        at_s = int(row['elapsed_s'])
        truth = min(max(100 * (true_pct(row, at_s) - empty) / (full - empty), 0), 100)
        yield at_s, int(row['soc_scal']) / 1000 - truth, int(row['soc_smooth']) / 1000 - truth


def band(value, first_edge, width, last):
    """The histogram's row or column; an edge belongs to the band below."""
    return min(max(-int((first_edge - value) // width), 0), last)


def histogram_of_truth(series):
    hours = [[0.0] * COLUMNS for _ in range(ROWS)]
    for row in series:
        hours[band(float(row['true_mv']), 3000, 200, ROWS - 1)][band(float(row['true_temp_c']), 5, 5, COLUMNS - 1)] += \
            10 / HOUR_S
    return [each for row in hours for each in row]


def mean(values):
    values = list(values)
    return sum(values) / len(values)


def sampling_table(lab, curve):
    outputs = lab.simulate('courier', COURIER, 'trace', 'series')
    with open(outputs['series'], newline='') as file:
        truth = list(csv.DictReader(file))
    true_pct = {int(row['elapsed_s']): float(row['true_soc_pct']) for row in truth}
    true_hours = histogram_of_truth(truth)
    trace = outputs['trace'].read_text().splitlines(keepends=True)
    yield ['samples', 'hours', 'in a wrong bucket', 'stress hours', 'estimate off', 'at most', 'resistance']
    for name, is_taken in SAMPLINGS.items():
        thinned = lab.directory / 'thinned.csv'
        thinned.write_text(''.join(line for i, line in enumerate(trace)
                                   if i == 0 or is_taken(int(line.split(',', 1)[0]))))
        root = lab.directory / name.replace(' ', '_')
        lab.run('replay', thinned, '--save-root', root, '--series', lab.directory / 'thinned.series', '--events',
                lab.directory / 'thinned.events')
        table = root / 'mnt/vendor/nvcfg/vorn/batt_stress'
        hours = struct.unpack(f'<{ROWS * COLUMNS}f', table.read_bytes())
        # Hours that are missing count as misplaced too.
        misplaced = sum(abs(a - b) for a, b in zip(hours, true_hours)) / 2
        stress_hours = re.search(r'stress hours (\d+)', lab.run('state', 'show', table)).group(1)
        with open(lab.directory / 'thinned.series', newline='') as file:
            series = list(csv.DictReader(file))
        off = [abs(scaled) for at_s, scaled, _ in errors(series, curve, 0, lambda _, at_s: true_pct[at_s])
               if at_s >= DAY_S]
        yield [name, f'{sum(hours):.1f}', f'{100 * misplaced / sum(true_hours):.1f} %', stress_hours,
               f'{mean(off):.1f} %', f'{max(off):.1f} %', f'{int(series[-1]["dcr"]) / 10:.1f} mΩ']


def drift_table(lab, curve):
    yield ['phone', *(f'week {week}' for week in HELD_WEEKS), 'shown, last week']
    for name, (use, step, shift_mv, offset_ma) in HELD_PHONES.items():
        toml = (f'start = 2026-01-05T06:00:00\nseed = 5\n[cell]\nsoc_pct = 50\ncurve = "ATL"\n'
                f'ocv_shift_mv = {shift_mv}\n[gauge]\ncurrent_offset_ma = {offset_ma}\n[files]\ntoc_clients = {{ step = {step} }}\n'
                f'[[phase]]\nfor = "8 weeks"\nambient_c = 23\n{use}')
        outputs = lab.simulate('held', toml, 'series')
        with open(outputs['series'], newline='') as file:
            weeks = {}
            for at_s, scaled, shown in errors(csv.DictReader(file), curve, shift_mv,
                                              lambda row, _: float(row['true_soc_pct'])):
                weeks.setdefault(at_s // (7 * DAY_S) + 1, []).append((scaled, shown))
        yield [name, *(f'{mean(scaled for scaled, _ in weeks[week]):+.1f} %' for week in HELD_WEEKS),
               f'{mean(shown for _, shown in weeks[HELD_WEEKS[-1]]):+.1f} %']


def warmth_table(lab):
    (lab.directory / 'warmth.toml').write_text(WARM_PHONE)
    rows = csv.DictReader(lab.run('sweep', 'warmth.toml', '--csv', '--vary', 'phase[0].ambient_c=15..45:5',
                                  '--vary', f'user.habit={",".join(HABITS)}').splitlines())
    runs = {(row['phase[0].ambient_c'], row['user.habit']): row for row in rows}
    figures = {'stress hours': 'end.stress_h', 'above 4.3 V': 'end.high_h', 'capacity left': 'end.capacity_left_pct'}
    yield ['air', *(f'{habit}: {name}' for habit in HABITS for name in figures)]
    for warmth in dict.fromkeys(warmth for warmth, _ in runs):
        yield [f'{warmth} °C', *(f'{float(runs[warmth, habit][key]):.2f} %' if key.endswith('_pct') else
                                 f'{float(runs[warmth, habit][key]):.0f} h'
                                 for habit in HABITS for key in figures.values())]


def main():
    arguments = argparse.ArgumentParser(description=__doc__.split('\n', maxsplit=1)[0])
    arguments.add_argument('vorn_lab')
    arguments.add_argument('--check', metavar='DOCUMENT')
    given = arguments.parse_args()
    with tempfile.TemporaryDirectory() as directory:
        lab = Phones(given.vorn_lab, directory)
        curve = lab.curve()
        tables = (sampling_table(lab, curve), drift_table(lab, curve), warmth_table(lab))
        lines = [line for table in tables for line in [*markdown(table), '']]
    print_or_check(lines, given.check)


if __name__ == '__main__':
    main()

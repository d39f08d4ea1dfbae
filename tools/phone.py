#!/usr/bin/env python3
"""Prints the tables of docs/phone.md: the simulated phone beside what is published of cells and phones.

    tools/phone.py build/release/lab/vorn-lab
    tools/phone.py build/release/lab/vorn-lab --check docs/phone.md
    tools/phone.py build/release/lab/vorn-lab --recording phone_day_23h.csv

With --check, fails when the document has other tables. With --recording, prints the resistance that the first hours
of a recorded day show, and what that says of the rest of it, instead. Takes some minutes."""
import argparse
import concurrent.futures
import csv
import math
import re
import statistics
import subprocess
import tempfile

from tables import Lab, markdown, print_or_check

HOUR_S = 3600
DAY_S = 86400
KELVIN = 273.15
GAS_CONSTANT = 8.314
FIRST_TRIP_H = 12000  # stress hours

# A phone that is used up once a day and charged every night.
USED_UP = """
[charger]
default_toc_mv = {top_mv}
obeys = false
[phone]
cycle_s = 600
[cell]
soc_pct = 90
[[phase]]
for = "{days} d"
ambient_c = 22
load_mw = {load_mw}
daily = [
    {{ at = "07:00", charger = "none" }},
    {{ at = "23:00", charger = "wall", screen = "off", load_mw = 120 }},
]
"""
# What is published: cycles, load and top of charge of the phone to compare with, capacity left.
DAILY, LIMITED = (1850, 4450), (1500, 4150)
LONGEST_STEP_S = 600  # a longer one was spent switched off
CYCLES = [
    ('owner, 293 cycles', 293, DAILY, '98 %'),
    ('owner, 397 cycles', 397, DAILY, '93 %'),
    ('owner, 425 cycles', 425, DAILY, '96 %'),
    ('owner, 600 cycles', 600, DAILY, '85 %'),
    ('recorded phone, 717 cycles', 717, DAILY, '86 %'),
    ('least by EU 2023/1670, 800 cycles', 800, DAILY, 'at least 80 %'),
    ('makers\' rating, 1000 cycles', 1000, DAILY, 'at least 80 %'),
    ('299 cycles, to 4450 mV', 299, (1550, 4450), '87 to 90 %'),
    ('299 cycles, to 80 %', 299, LIMITED, '94 %'),
]

# Capacity lost in a year at these temperatures: NCA at 55, 80, 100 %; NMC811 at 70, 90 %; common table at 40, 100 %.
STORAGE_MV = (3900, 4200, 4400)
STORAGE = [
    (25, '4.0 / 5.4 / 6.9', '10.2 / 10.6', '4 / 20'),
    (40, '6.7 / 8.9 / 11.1', '12.0 / 12.4', '15 / 35'),
    (55, '10.6 / 13.9 / 17.2', '13.9 / 14.4', '–'),
    (60, '12.3 / 16.0 / 19.7', '14.5 / 15.0', '25 / 40 in 3 months'),
]
STORED = """
[phone]
age_days = 365
age_mv = {mv}
age_c = {celsius}
[[phase]]
for = "11 min"
"""

# The size of the recorded phone: its cell has 3.5 Ah and is charged with 2 A.
RECORDED_SIZE = """
[cell]
capacity_mah = 3500
soc_pct = {soc_pct}
[charger]
wall_ma = 2000
wall_mw = 12000
cutoff_ma = 140
[[phase]]
for = "{hours} h"
charger = "{charger}"
screen = "off"
ambient_c = 22.5
load_mw = {load_mw}
[[phase]]
for = "3 h"
ambient_c = 22.5
load_mw = 30
screen = "off"
charger = "{after}"
"""

STEADY = """
[cell]
soc_pct = {soc_pct}
[thermal]
resistance_k_per_w = {k_per_w}
[[phase]]
for = "{hours} h"
ambient_c = {celsius}
load_mw = {load_mw}
"""

# An ordinary phone in an ordinary year; what a row of the last table changes comes first.
YEAR = """
start = 2026-01-01T00:00:00
seed = 3
[phone]
cycle_s = 60
[user]
habit = "night charger"
screen_h = 4
{weather}
[[phase]]
for = "365 d"
"""
TEMPERATE = '[weather]\nmean_c = {mean_c}\nindoor_least_c = {least_c}\nindoor_most_c = {most_c}'
SENSITIVITY = [  # what, degrees warmer, keys
    ('as it is', 0, {}),
    ('3 K colder', -3, {}),
    ('3 K warmer', 3, {}),
    ('gauge 10 mV low', 0, {'gauge.voltage_offset_mv': -10}),
    ('gauge 10 mV high', 0, {'gauge.voltage_offset_mv': 10}),
    ('cut-off C/30', 0, {'charger.cutoff_ma': 250}),
    ('cut-off C/15', 0, {'charger.cutoff_ma': 500}),
    ('rest current 0 mA', 0, {'charger.rest_ma': 0}),
    ('rest current 20 mA', 0, {'charger.rest_ma': 20}),
    ('thermal resistance 5 K/W', 0, {'thermal.resistance_k_per_w': 5}),
    ('thermal resistance 10 K/W', 0, {'thermal.resistance_k_per_w': 10}),
]


class Phones(Lab):
    """vorn-lab, with what is asked of simulated phones."""

    def rows(self, toml):
        """The phone's own columns of every cycle, as numbers."""
        with tempfile.NamedTemporaryFile('w', suffix='.toml', dir=self.directory, delete=False) as scenario:
            scenario.write(toml)
        program = [self.program, 'simulate', '--quiet', scenario.name, '--series', '-']
        names = ('sim_s', 'true_soc_pct', 'true_mv', 'true_ma', 'true_temp_c', 'capacity_left_pct')
        with subprocess.Popen(program, stdout=subprocess.PIPE, text=True) as child:
            lines = csv.reader(child.stdout)
            header = next(lines)
            columns = [header.index(name) for name in names]
            for line in lines:
                if len(line) == len(header):
                    yield [float(line[i]) for i in columns]

    def stress_hours(self, name, toml, keys):
        scenario = self.directory / f'{name}.toml'
        scenario.write_text(toml)
        root = self.directory / name
        sets = [word for key, value in keys.items() for word in ('--set', f'{key}={value}')]
        self.run('simulate', '--quiet', scenario, '--save-root', root, *sets)
        table = root / 'mnt/vendor/nvcfg/vorn/batt_stress'
        return float(re.search(r'stress hours (\d+)', self.run('state', 'show', table)).group(1))


def capacity_at(lab, load_mw, top_mv, wanted):
    """{cycles: (capacity left, days)} of a phone that is used up day by day."""
    found, moved_ah, last_s = {}, 0, 0
    toml = USED_UP.format(days=1400, load_mw=load_mw, top_mv=top_mv)
    for at_s, _, _, current_ma, _, left in lab.rows(toml):
        moved_ah += abs(current_ma) / 1000 * min(at_s - last_s, LONGEST_STEP_S) / HOUR_S
        last_s = at_s
        for cycles in wanted:
            if cycles not in found and moved_ah / 15 >= cycles:
                found[cycles] = (left, at_s / DAY_S)
        if len(found) == len(wanted):
            break
    return found


def cycle_table(lab, pool):
    phones = {phone: [cycles for _, cycles, other, _ in CYCLES if other == phone] for _, _, phone, _ in CYCLES}
    found = {phone: pool.submit(capacity_at, lab, *phone, wanted) for phone, wanted in phones.items()}
    yield ['', 'published', 'simulated', 'after']
    for name, cycles, phone, published in CYCLES:
        left, days = found[phone].result()[cycles]
        yield [name, published, f'{left:.1f} %', f'{days:.0f} d']


def storage_table(lab):
    yield ['°C', 'NCA at 55 / 80 / 100 %', 'NMC811 at 70 / 90 %', 'common table at 40 / 100 %',
           'simulated at 3.9 / 4.2 / 4.4 V']
    for celsius, *published in STORAGE:
        lost = []
        for mv in STORAGE_MV:
            *_, last = lab.rows(STORED.format(mv=mv, celsius=celsius))
            lost.append(f'{100 - last[5]:.1f}')
        yield [str(celsius), *published, ' / '.join(lost)]


def constant_s(warm, from_s, until_s):
    """Time constant of what falls from one moment to another, of {seconds: K above the air}."""
    return (until_s - from_s) / math.log(warm[from_s] / warm[until_s])


def fast_charge(lab):
    charge = list(lab.rows(RECORDED_SIZE.format(soc_pct=27, hours=1, charger='wall', load_mw=400, after='none')))
    rise = max(row[4] for row in charge) - 22.5
    end_s = HOUR_S
    warm = {int(row[0]) - end_s: row[4] - 22.5 for row in charge if row[0] >= end_s}
    yield ['cooling in the first 20 min after a fast charge', '1054 to 1431 s', f'{constant_s(warm, 0, 1200):.0f} s']
    yield ['then', '1700 to 4300 s', f'{constant_s(warm, 1200, 3600):.0f} s']
    yield ['rise while charging at about 2 A, 3.5 Ah', '14 to 15 K, held there', f'{rise:.1f} K']
    full = list(lab.rows(RECORDED_SIZE.format(soc_pct=80, hours=4, charger='wall', load_mw=30, after='wall')))
    high = [row[0] for row in full if row[3] >= 900][-1]
    low = [row[0] for row in full if row[3] >= 145][-1]
    yield ['taper from 0.9 A to 0.14 A', '62 min', f'{(low - high) / 60:.0f} min']
    rested = [row for row in full if row[0] >= low + 2400][0]
    yield ['below the top 40 min after full', '28 mV', f'{4450 - rested[2]:.0f} mV']


def step_energy(lab):
    """kJ/mol from the changes of the current within 10 s, as from the recording."""
    points = []
    for celsius in (9, 15, 18.5, 21.5, 24.5, 27.5, 31, 36):
        toml = STEADY.format(soc_pct=50, k_per_w=0.01, hours=1, celsius=celsius, load_mw=800) + \
            'burst_mw = 4500\nburst_pct = 20\n'
        rows = list(lab.rows(toml))
        steps = [(b[2] - a[2]) / (b[3] - a[3]) for a, b in zip(rows, rows[1:]) if abs(b[3] - a[3]) > 250]
        points.append((1 / (celsius + KELVIN), math.log(statistics.median(steps))))
    slope, _ = statistics.linear_regression(*zip(*points))
    return slope * GAS_CONSTANT / 1000


def year_temperatures(lab):
    toml = YEAR.format(weather=TEMPERATE.format(mean_c=10, least_c=21, most_c=26))
    degrees = sorted(row[4] for row in lab.rows(toml))
    return [degrees[int(len(degrees) * share)] for share in (0.05, 0.5, 0.95)]


def phone_table(lab, pool):
    year = pool.submit(year_temperatures, lab)
    yield ['', 'recorded', 'simulated']
    yield from fast_charge(lab)
    yield ['resistance of a step, 9 to 36 °C', '41 kJ/mol', f'{step_energy(lab):.0f} kJ/mol']
    for celsius in (0, -10):
        *_, held = lab.rows(STEADY.format(soc_pct=97, k_per_w=0.01, hours=9, celsius=celsius, load_mw=5600))
        *_, warm = lab.rows(STEADY.format(soc_pct=97, k_per_w=7, hours=9, celsius=celsius, load_mw=5600))
        yield [f'charge delivered at C/5, {celsius} °C: held there / in its phone', '–',
               f'{97 - held[1]:.0f} % / {97 - warm[1]:.0f} %']
    yield ['battery over the year, 5th / 50th / 95th percentile', '22 / 28 / 37 °C (38 winter days)',
           ' / '.join(f'{each:.1f}' for each in year.result()) + ' °C']


def sensitivity_table(lab, pool):
    def hours(number, warmer_k, keys):
        weather = TEMPERATE.format(mean_c=10 + warmer_k, least_c=21 + warmer_k, most_c=26 + warmer_k)
        return lab.stress_hours(f'year{number}', YEAR.format(weather=weather), keys)

    found = [pool.submit(hours, i, warmer_k, keys) for i, (_, warmer_k, keys) in enumerate(SENSITIVITY)]
    yield ['', 'stress hours in the first year', 'first trip after']
    for (name, _, _), each in zip(SENSITIVITY, found):
        yield [name, f'{each.result():.0f}', f'{FIRST_TRIP_H / each.result():.1f} years']


def resistance_of(steps):
    """(mΩ at 25 °C, kJ/mol) of (°C, mΩ), by the medians of bands 3 K wide."""
    bands = {}
    for celsius, mohm in steps:
        bands.setdefault(celsius // 3, []).append((celsius, mohm))
    points = [(1 / (statistics.mean(c for c, _ in band) + KELVIN), math.log(statistics.median(r for _, r in band)))
              for band in bands.values() if len(band) >= 5]
    slope, start = statistics.linear_regression(*zip(*points))
    return math.exp(start + slope / (25 + KELVIN)), slope * GAS_CONSTANT / 1000


def held_back_table(path, fit_h=15):
    """Resistance by the first hours of a recorded day, and what it says of the rest."""
    with open(path, newline='') as file:
        rows = [[float(row[name]) for name in ('elapsed_s', 'voltage_now', 'current_now', 'temp')]
                for row in csv.DictReader(file) if row['voltage_now'] and row['current_now'] and row['temp']]
    steps = [(b[0], (a[3] + b[3]) / 20, 1000 * (b[1] - a[1]) / (b[2] - a[2])) for a, b in zip(rows, rows[1:])
             if 0 < b[0] - a[0] <= 25 and abs(b[2] - a[2]) > 250000]
    mohm, energy = resistance_of([step[1:] for step in steps if step[0] < fit_h * HOUR_S])
    yield [f'first {fit_h} h: {mohm:.0f} mΩ at 25 °C, {energy:.0f} kJ/mol', 'steps', 'recorded', 'said']
    for low, high in ((5, 13), (13, 17), (17, 20), (20, 23), (23, 26), (26, 29), (29, 33), (33, 39)):
        band = [step[1:] for step in steps if step[0] >= fit_h * HOUR_S and low <= step[1] < high]
        celsius = statistics.mean(c for c, _ in band)
        said = mohm * math.exp(energy * 1000 / GAS_CONSTANT * (1 / (celsius + KELVIN) - 1 / (25 + KELVIN)))
        recorded = statistics.median(r for _, r in band)
        yield [f'{low} to {high} °C', str(len(band)), f'{recorded:.0f} mΩ', f'{said:.0f} mΩ']


def main():
    arguments = argparse.ArgumentParser(description=__doc__.split('\n', maxsplit=1)[0])
    arguments.add_argument('vorn_lab')
    arguments.add_argument('--check', metavar='DOCUMENT')
    arguments.add_argument('--recording', metavar='CSV')
    given = arguments.parse_args()
    if given.recording:
        print('\n'.join([*markdown(held_back_table(given.recording)), '']))
        return
    with tempfile.TemporaryDirectory() as directory, concurrent.futures.ThreadPoolExecutor(2) as pool:
        lab = Phones(given.vorn_lab, directory)
        tables = phone_table(lab, pool), cycle_table(lab, pool), storage_table(lab), sensitivity_table(lab, pool)
        lines = [line for table in tables for line in [*markdown(table), '']]
    print_or_check(lines, given.check)


if __name__ == '__main__':
    main()

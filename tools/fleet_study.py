#!/usr/bin/env python3
"""Prints the tables of docs/fleet-study.md: which share of many phones is lowered, and what the daemon changes.

    tools/fleet_study.py build/release/lab/vorn-lab [--phones N] [--check docs/fleet-study.md] [--keep DIR]

With --check, runs a small fleet only and compares its table with the document's. With --keep, goes on in DIR."""
import argparse
import csv
import io
import json
import pathlib
import re
import sys
import tempfile

from tables import Lab, markdown

POPULATION = pathlib.Path(__file__).resolve().parents[1] / 'scenarios' / 'fleet' / 'three_climates.toml'
# Between two cycles of the daemon: a phone then takes a seventh of the time.
CYCLE = 'phone.cycle_s=300'
YEAR_DAYS = 365


class Fleets(Lab):
    """vorn-lab, with what is asked of fleets."""

    def fleet(self, name, phones, *settings, population=POPULATION):
        words = [word for each in settings for word in ('--set', each)]
        self.run('fleet', 'run', population, '--out', name, '--phones', phones, '--quiet', *words)
        return name


def table(header, rows):
    return '\n'.join(markdown([header, *rows])) + '\n'


def curves(lab, fleet):
    return list(csv.DictReader(io.StringIO(lab.run('fleet', 'report', fleet, '--csv'))))


def share(row):
    low, high = 100 * float(row['low']), 100 * float(row['high'])
    if float(row['lowered']) == 0:
        return f'0 % (at most {high:.0f})'
    return f'{100 * float(row["lowered"]):.0f} % ({low:.0f} to {high:.0f})'


def lowered_table(lab, fleet):
    kinds = {}
    for row in curves(lab, fleet):
        kinds.setdefault((row['group'], row['kind']), []).append(row)
    count = max(1, round(float(next(iter(kinds.values()))[-1]['day']) / YEAR_DAYS))
    rows = []
    for (_, kind), points in kinds.items():
        ends = [min(points, key=lambda p, y=year: abs(float(p['day']) - y * YEAR_DAYS)) for year in range(1, count + 1)]
        number = sum(int(points[0][key]) for key in ('at_risk', 'events', 'censored', 'not_ok'))
        rows.append([kind or 'all', str(number), f'{float(points[-1]["effective"]):.0f}', *map(share, ends)])
    return table(['phones', 'number', 'worth', *(f'after {year} y' for year in range(1, count + 1))], rows)


def compared_table(lab, one, other):
    found = json.loads(lab.run('fleet', 'compare', one, other, '--json'))
    rows = []
    for each in found['figures']:
        if each['name'] not in ('lowered', 'stress_h', 'high_h', 'capacity_left_pct', 'timer_expiries'):
            continue
        scale = 100 if each['name'] == 'lowered' else 1
        worth = f'{each["worth_of_pairing"]:.3g}' if each['worth_of_pairing'] else '–'
        variances = [f'{scale**2 * each[key]:.3g}' for key in ('unpaired_variance', 'paired_variance')]
        rows.append([each['name'] + (' %' if scale > 1 else ''),
                     *(f'{scale * each[key]:.4g}' for key in ('a', 'b', 'difference')),
                     f'{scale * each["low"]:.3g} to {scale * each["high"]:.3g}', *variances, worth])
    return table(['', 'A', 'B', 'B − A', '95 %', 'variance unpaired', 'paired', 'ratio'], rows)


def influence_table(lab, fleet):
    page = lab.run('fleet', 'report', fleet, '--out', '-')
    body = re.search(r'What mattered most</h2>\n<table>(.*?)</table>', page, re.S)[1]
    rows = re.findall(r'<tr><td>(.*?)</td><td class="n">(.*?)</td><td class="n">(.*?)</td>', body)
    return table(['key', 'with the first trip', 'with the stress hours'], [list(row) for row in rows[:8]])


def small_table(lab):
    """Of a warm, hard-used month: what the gate can run."""
    text = POPULATION.read_text().replace('span = "3 years"', 'span = "40 d"')
    small = lab.directory / 'small.toml'
    small.write_text(text)
    with_daemon = lab.fleet('small-with', 12, CYCLE, population=small)
    without = lab.fleet('small-without', 12, CYCLE, 'charger.obeys=false', population=small)
    return compared_table(lab, with_daemon, without)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('program')
    parser.add_argument('--phones', type=int, default=300)
    parser.add_argument('--check')
    parser.add_argument('--keep')
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as directory:
        lab = Fleets(options.program, options.keep or directory)
        small = small_table(Fleets(options.program, directory))
        if options.check:
            if small not in pathlib.Path(options.check).read_text():
                sys.exit(f'{options.check} has another table than\n\n{small}')
            return
        with_daemon = lab.fleet('with', options.phones, CYCLE)
        without = lab.fleet('without', options.phones, CYCLE, 'charger.obeys=false')
        for title, body in [('lowered', lowered_table(lab, with_daemon)),
                            ('compared', compared_table(lab, with_daemon, without)),
                            ('influence', influence_table(lab, with_daemon)), ('small', small)]:
            print(f'## {title}\n\n{body}')


if __name__ == '__main__':
    main()

#!/usr/bin/env python3
"""Measures what a low-discrepancy sample (Sobol's, scrambled) would save against plain draws in a share of phones lowered.

    tools/sampling_study.py build/release/lab/vorn-lab [--fleets 48] [--phones 16]

The phones are those of scenarios/fleet/three_climates.toml, near their first trip so that forty days decide. Wants
Debian's python3-scipy, for its scrambled Sobol sequence."""
import argparse
import json
import math
import pathlib
import statistics
import tempfile
import tomllib

import numpy
from scipy.stats import beta, chi2, norm, qmc

from tables import Lab

POPULATION = pathlib.Path(__file__).resolve().parents[1] / 'scenarios' / 'fleet' / 'three_climates.toml'
SECTIONS = ('cell', 'ageing', 'thermal', 'charger', 'gauge', 'weather', 'user')
# The gap to the first trip is what such a phone wears in forty days, more or less.
NEAR = 'batt_stress = { "hours[7][6]" = 10880 }'


def value_at(draw, u):
    """What a share u of the population is below."""
    if draw['draw'] == 'uniform':
        return draw['from'] + (draw['to'] - draw['from']) * u
    if draw['draw'] == 'beta':
        return draw['from'] + (draw['to'] - draw['from']) * beta.ppf(u, draw['a'], draw['b'])
    if draw['draw'] == 'normal':
        law, of, back = norm(draw['mean'], draw['sd']), lambda x: x, lambda x: x
    else:
        sigma = draw['sigma_ln']
        middle = math.log(draw['median']) if 'median' in draw else math.log(draw['mean']) - sigma**2 / 2
        law, of, back = norm(middle, sigma), math.log, math.exp
    low = law.cdf(of(draw['least'])) if 'least' in draw else 0
    high = law.cdf(of(draw['most'])) if 'most' in draw else 1
    return back(law.ppf(low + u * (high - low)))


class Population:
    """The phones of a file, each from as many numbers between 0 and 1 as it has dimensions."""

    def __init__(self, path):
        self.all = tomllib.loads(path.read_text())
        self.groups = self.all['group']
        options = [option for group in self.groups.values() for option in group]
        self.keys = list(dict.fromkeys((section, key) for of in [self.all, *options] for section in SECTIONS
                                       for key, value in of.get(section, {}).items() if isinstance(value, dict)))
        self.dimensions = len(self.groups) + len(self.keys)

    def scenario(self, numbers, number):
        kinds = [self.kind(group, u) for group, u in zip(self.groups.values(), numbers)]
        chance = self.correlated(dict(zip(self.keys, numbers[len(self.groups):])))
        lines = [f'number = {number}', f'start = {self.all["start"].isoformat()}']
        for section in SECTIONS:
            values = dict(self.all.get(section, {}))
            for kind in kinds:
                values.update(kind.get(section, {}))
            lines.append(f'[{section}]')
            for key, value in values.items():
                drawn = value_at(value, chance[section, key]) if isinstance(value, dict) else value
                lines.append(f'{key} = {json.dumps(drawn)}')
        return '\n'.join([*lines, '[phone]', 'cycle_s = 900', '[files]', NEAR, '[[phase]]', 'for = "40 d"', ''])

    @staticmethod
    def kind(group, u):
        for option in group:
            u -= option['share_pct'] / 100
            if u < 0:
                return option
        return group[-1]

    def correlated(self, chance):
        for pair in self.all['correlate']:
            one, other = (tuple(key.split('.')) for key in pair['keys'])
            rho = 2 * math.sin(math.pi / 6 * pair['rank'])
            normal = rho * norm.ppf(chance[one]) + math.sqrt(1 - rho**2) * norm.ppf(chance[other])
            chance[other] = norm.cdf(normal)
        return chance


def share_lowered(lab, population, sample, first):
    names = []
    for i, numbers in enumerate(sample):
        names.append(f'{i}.toml')
        (lab.directory / names[-1]).write_text(population.scenario(numbers, first + i))
    runs = json.loads(lab.run('simulate', '--json', *names))['runs']
    return sum(bool(run['steps']) for run in runs) / len(runs)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('program')
    parser.add_argument('--fleets', type=int, default=48, help='replicates')
    parser.add_argument('--phones', type=int, default=16, help='of a fleet, a power of two')
    options = parser.parse_args()
    population = Population(POPULATION)
    shares = []
    with tempfile.TemporaryDirectory() as directory:
        lab = Lab(options.program, directory)
        for fleet in range(options.fleets):
            # Each time scrambled anew, and with the first point (A. Owen, arXiv 2008.08051).
            sobol = qmc.Sobol(population.dimensions, scramble=True, seed=fleet)
            sample = numpy.clip(sobol.random(options.phones), 1e-12, 1 - 1e-12)
            shares.append(share_lowered(lab, population, sample, fleet * options.phones))
    share = statistics.mean(shares)
    # Of plain draws the variance is known.
    plain, sobols = share * (1 - share) / options.phones, statistics.variance(shares)
    print(f'{options.fleets} fleets of {options.phones} phones, {population.dimensions} dimensions: '
          f'share lowered {share:.3f}, variance {sobols:.6f}, of plain draws {plain:.6f}')
    free = options.fleets - 1
    low, high = (plain / sobols * chi2.ppf(p, free) / free for p in (0.025, 0.975))
    print(f'ratio of variances {plain / sobols:.2f}, 95 % interval {low:.2f} to {high:.2f}')


if __name__ == '__main__':
    main()

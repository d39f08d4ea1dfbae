#!/usr/bin/env python3
"""sensitivity.py BUILD [N [SEED]]: builds vorn-lab with one random one-token fault in the daemon, over and over, and asks
whether the first ten lines of `vorn-lab diff` name the feature that has it, over the gallery and the tests' traces.

BUILD is a build directory with lab/vorn-lab in it; nothing of it or of the checkout is touched. Faults are drawn as
mutants.py draws them, N of them that show in any byte of any output; those listed as unable to show are passed over.
What serves several features is named by any of them. Exit status 1 when less than 90 % are named.
"""
import re
import sys
import tempfile
import time
from collections import Counter

from mutants import draw_faults
from one_line_builds import FIRST_LINES, GALLERY, LAB, diff, lab_with
from program import ROOT, TestProgram, fail

TRACES = ROOT / 'tests/cases/model'
GOAL_PCT = 90
# A fault may make it turn forever; the longest of the runs takes two seconds of a processor.
RUN_CPU_S = 8

FEATURES = ('core', 'top of charge', 'battery stress', 'estimator', 'precharge', 'charge timer', 'secondary thermal',
            'n-day pulldown', 'short detection', 'top-off')
# Whose a file is, by how its path begins; the rest is the core's or serves several.
OWNERS = {
    'src/stress/': 'battery stress', 'src/dyn_soc/': 'estimator', 'src/battery/': 'estimator',
    'src/precharge/': 'precharge', 'src/charge_mgr/': 'top of charge', 'src/monitors/charge_timer': 'charge timer',
    'src/monitors/secondary_thermal': 'secondary thermal', 'src/monitors/n_day_pulldown': 'n-day pulldown',
    'src/monitors/short_detect': 'short detection', 'src/monitors/topoff_ctrl': 'top-off',
}
SHARED = ('src/util/', 'src/core/daemon', 'src/core/sensor_inputs', 'src/core/persistent_files', 'src/core/number_text')
LINE_OF_FEATURE = re.compile(rf'^  ({"|".join(FEATURES)}) +\S', re.M)


def owners(path):
    """The features of which one is to be named."""
    if path.startswith(SHARED):
        return FEATURES
    return [feature for start, feature in OWNERS.items() if path.startswith(start)] or ['core']


def told_of(fault, source, program, kept):
    """What the comparison says of the fault: its status and its text; None when it does not compile."""
    sound = str(program.path)
    with tempfile.TemporaryDirectory(prefix='vorn-sensitivity-') as aside:
        path = lab_with(fault, source, program, aside)
        if path is None:
            return None
        limited = ('prlimit', f'--cpu={RUN_CPU_S}', sound, 'diff', sound, str(path), '--keep', kept)
        # One that turns forever everywhere need not do so on every input.
        first = diff(*limited, str(next(TRACES.glob('*.csv'))))[:2]
        return first if 'ended by a signal' in first[1] else diff(*limited, str(GALLERY), str(TRACES))[:2]


def judge(fault, status, text):
    """named, missed, ended (there is no comparison, and it says so), or silent (nothing of it is seen)."""
    if status == 0 and 'Some bytes differ' not in text:
        return 'silent'
    named = LINE_OF_FEATURE.findall('\n'.join(text.split('\n')[:FIRST_LINES]))
    if any(feature in owners(fault.path) for feature in named):
        return 'named'
    return 'ended' if status == 3 else 'missed'


def judge_first(count, faults, tell):
    """How many of the first that show, `count` of them, are named and so on; prints those that are not."""
    found = Counter()
    for fault in faults:
        if found['named'] + found['missed'] == count:
            break
        told = tell(fault)
        if told is None:
            continue
        what = judge(fault, *told)
        found[what] += 1
        print(f'{what} {fault.path}:{fault.line}', file=sys.stderr, flush=True)
        if what in ('missed', 'ended'):
            head = '\n'.join(told[1].split('\n')[:FIRST_LINES + 4])
            print(f'{what}, {" or ".join(owners(fault.path))}: {fault.path}:{fault.line}\n- {fault.before}\n'
                  f'+ {fault.after}\n{head}\n', flush=True)
    return found


def main():
    if not 2 <= len(sys.argv) <= 4:
        fail('usage: sensitivity.py BUILD [N [SEED]]')
    count, seed = int((sys.argv[2:3] or ['140'])[0]), int((sys.argv[3:4] or ['1'])[0])
    sources, listed, faults = draw_faults(seed)
    program = TestProgram(sys.argv[1], LAB)
    begin = time.monotonic()
    print(f'{count} faults that show, by seed {seed}', flush=True)
    with tempfile.TemporaryDirectory(prefix='vorn-sensitivity-') as kept:
        found = judge_first(count, faults, lambda fault: None if fault.name() in listed else told_of(
            fault, sources[fault.path], program, kept))
    shown = found['named'] + found['missed']
    pct = 100 * found['named'] / max(1, shown)
    print(f'{found["named"]} of {shown} named: {pct:.1f} %; {found["ended"]} more end the daemon, {found["silent"]} '
          f'show in nothing, {time.monotonic() - begin:.0f} s')
    sys.exit(0 if pct >= GOAL_PCT else 1)


if __name__ == '__main__':
    main()

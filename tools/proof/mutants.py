#!/usr/bin/env python3
"""mutants.py BUILD [N [SEED]]: plants N random one-token faults in src/, one at a time, and prints those that no
test notices.

BUILD is a build directory with tests/vorn_tests in it; what a fault changes is compiled aside. A fault that does not
compile is none; the next one is drawn. Faults that cannot show stand with their reason in cannot_show.txt. Exit
status 1 when less than 98 % of those that can show are noticed, 2 when it cannot be told.
"""
import os
import re
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from itertools import islice
from pathlib import Path

from faults import faults_by_line, in_drawn_order
from program import ROOT, TestProgram, fail

LIST = Path(__file__).with_name('cannot_show.txt')
# The tests in rounds, and no round for a fault that one before it noticed: those that notice most, those that take long.
CASES = '*Story.*:*Model.*'
SLOW = '*Scenario.*:LogStore.*:Session.*:Recordings.*'
ROUNDS = (CASES, f'-{CASES}:{SLOW}', SLOW)
GOAL_PCT = 98
# The seam is what the tests stand on, and main() runs in no test program.
LEFT_OUT = ('src/platform/', 'src/core/main.cpp')


def read_sources():
    paths = [str(p.relative_to(ROOT)) for p in sorted((ROOT / 'src').rglob('*')) if p.suffix in ('.cpp', '.h')]
    return {path: (ROOT / path).read_text() for path in paths if not path.startswith(LEFT_OUT)}


def read_list(known):
    """The faults that cannot show: three lines each, as Fault.name() gives them, then why."""
    entries = re.split(r'\n\n+', re.sub(r'^#.*\n', '', LIST.read_text(), flags=re.M).strip()) if LIST.exists() else []
    listed = {}
    for entry in filter(None, entries):
        lines = entry.split('\n')
        name, reason = '\n'.join(lines[:3]), '\n'.join(lines[3:])
        if name not in known or not reason:
            fail(f'{LIST.name}: no such fault, or no reason:\n{entry}')
        listed[name] = reason
    return listed


def draw_faults(seed):
    """The text of each source, the faults that cannot show with why, and all faults in the order of the seed."""
    sources = read_sources()
    lines = [line for path, text in sources.items() for line in faults_by_line(path, text)]
    return sources, read_list({fault.name() for line in lines for fault in line}), in_drawn_order(lines, seed)


def program_with(fault, source, program, aside, others=()):
    """The path of the program with the fault in it, and others of its objects; None when it does not compile."""
    changed = Path(aside) / fault.path
    changed.parent.mkdir(parents=True)
    changed.write_text(source[:fault.start] + fault.text + source[fault.end:])
    objects = dict(others)
    for number, out in enumerate(program.users_of(fault.path.__eq__)):
        objects[out] = Path(aside) / f'{number}.o'
        is_source = fault.path.endswith('.cpp')
        if not program.compiled(out, objects[out], first=[f'-I{aside}/src', f'-I{aside}'], source=is_source and changed):
            return None
    program.linked(Path(aside) / 'program', objects)
    return Path(aside) / 'program'


def round_passes(path, which, cpu_s=None):
    limit = ['prlimit', f'--cpu={cpu_s}'] if cpu_s else []
    with tempfile.TemporaryDirectory(prefix='vorn-mutant-') as aside:
        done = subprocess.run([*limit, path, '--gtest_brief=1', '--gtest_fail_fast', f'--gtest_filter={which}'],
                              cwd=aside, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return done.returncode == 0


def limits_of(path):
    """Twice the seconds of processor time that the sound program takes, and some: a fault may make it turn forever."""
    limits = {}
    for which in ROUNDS:
        before = os.times()
        if not round_passes(path, which):
            fail(f'{path} fails without any fault')
        after = os.times()
        limits[which] = 5 + 2 * int(after.children_user + after.children_system - before.children_user - before.children_system)
    return limits


def judge(program, fault, source, limits):
    """True when it is noticed, False when not, None when it does not compile."""
    with tempfile.TemporaryDirectory(prefix='vorn-mutant-') as aside:
        path = program_with(fault, source, program, aside)
        return None if path is None else not all(round_passes(path, *each) for each in limits.items())


def judge_first(count, faults, program, sources, listed, limits):
    """The first `count` faults that compile, each with True, False, or the reason why it cannot show."""
    judged = []
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        while len(judged) < count:
            batch = list(islice(faults, count - len(judged)))
            if not batch:
                break
            results = pool.map(
                lambda f: listed.get(f.name()) or judge(program, f, sources[f.path], limits), batch)
            for fault, result in zip(batch, results):
                if result is not None:
                    judged.append((fault, result))
                if result is False:
                    print(f'not noticed: {fault.path}:{fault.line}\n- {fault.before}\n+ {fault.after}\n', flush=True)
    return judged


def main():
    if not 2 <= len(sys.argv) <= 4:
        fail('usage: mutants.py BUILD [N [SEED]]')
    count, seed = int((sys.argv[2:3] or ['300'])[0]), int((sys.argv[3:4] or ['1'])[0])
    sources, listed, faults = draw_faults(seed)
    program = TestProgram(sys.argv[1])
    begin = time.monotonic()
    limits = limits_of(program.path)
    print(f'{count} faults by seed {seed}', flush=True)
    judged = judge_first(count, faults, program, sources, listed, limits)
    noticed = sum(result is True for _, result in judged)
    missed = sum(result is False for _, result in judged)
    pct = 100 * noticed / max(1, noticed + missed)
    print(f'{noticed} noticed, {missed} not, {len(judged) - noticed - missed} cannot show: {pct:.1f} % of those that can, '
          f'{time.monotonic() - begin:.0f} s')
    sys.exit(0 if pct >= GOAL_PCT else 1)


if __name__ == '__main__':
    main()

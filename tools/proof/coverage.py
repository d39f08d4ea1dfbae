#!/usr/bin/env python3
"""coverage.py BUILD: prints the branches of src/ that no test reaches.

BUILD is a build directory with tests/vorn_tests in it; what counts is compiled aside. What cannot be reached stands
with its reason in not_reached.txt: "path: the line" and below it, indented, why. Exit status 1 when less than 98 % of
the branches that can be are reached, or when a line of the list is reached after all or gone; 2 when it cannot be
told.
"""
import gzip
import json
import os
import re
import subprocess
import sys
import tempfile
from collections import defaultdict
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from program import ROOT, TestProgram, fail

LIST = Path(__file__).with_name('not_reached.txt')
GOAL_PCT = 98
COUNTING = ['--coverage', '-O0', '-U_FORTIFY_SOURCE']
# A boot's process ends by _exit(), which writes no counts of what has run in it: here it does.
COUNT_ON_EXIT = '''
void __gcov_dump(void);
void __real__exit(int status);
void __wrap__exit(int status) { __gcov_dump(); __real__exit(status); }
'''


def is_counted(path):
    return path.startswith('src/') and not path.startswith('src/platform/')


def run_counting(program, aside):
    """Runs the tests, so that the objects aside have their counts beside them."""
    counted = {out: f'{aside}/{number}.o' for number, out in enumerate(program.users_of(is_counted))}
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        done = pool.map(lambda item: program.compiled(*item, last=COUNTING), counted.items())
        if not all(done):
            fail('does not compile')
    subprocess.run(['cc', '-x', 'c', '-c', '-', '-o', f'{aside}/exit.o'], input=COUNT_ON_EXIT, text=True, check=True)
    program.linked(f'{aside}/program', counted, [f'{aside}/exit.o', '--coverage', '-Wl,--wrap=_exit'])
    if subprocess.run([f'{aside}/program', '--gtest_brief=1'], cwd=aside).returncode != 0:
        fail('the tests fail')


def counts_of(aside, directory):
    """{(path, line): [how often each branch was taken]}, over all the objects that a header went into."""
    counts = defaultdict(list)
    subprocess.run(['gcov', '--json-format', '--branch-probabilities', *map(str, sorted(Path(aside).glob('*.gcda')))],
                   cwd=aside, check=True, stdout=subprocess.DEVNULL)
    for report in Path(aside).glob('*.json.gz'):
        for file in json.load(gzip.open(report))['files']:
            path = os.path.relpath(directory / file['file'], ROOT)
            for line in file['lines'] if is_counted(path) else ():
                found = [each['count'] for each in line['branches'] if not each['throw']]
                known = counts[path, line['line_number']]
                known.extend([0] * (len(found) - len(known)))
                for i, count in enumerate(found):
                    known[i] += count
    return counts


def read_list():
    text = LIST.read_text() if LIST.exists() else ''
    return {m[1]: m[2].strip() for m in re.finditer(r'^(src/\S+: .*)\n((?: +.*\n?)+)', text, re.M)}


def judge(counts):
    """Prints what is not reached; whether that is little enough."""
    listed, unused = read_list(), set(read_list())
    total = reached = excused = 0
    for (path, number), branches in sorted(counts.items()):
        missing = branches.count(0)
        total += len(branches)
        reached += len(branches) - missing
        if missing == 0:
            continue
        line = f'{path}: {(ROOT / path).read_text().splitlines()[number - 1].strip()}'
        if line in listed:
            unused.discard(line)
            excused += missing
        else:
            print(f'{path}:{number}: {missing} of {len(branches)} not reached\n    {line.split(": ", 1)[1]}')
    for line in sorted(unused):
        print(f'listed, and reached or gone: {line}')
    pct = 100 * reached / max(1, total - excused)
    print(f'{reached} of {total} branches reached, {excused} cannot be: {pct:.1f} % of those that can')
    return pct >= GOAL_PCT and not unused


def main():
    if len(sys.argv) != 2:
        fail('usage: coverage.py BUILD')
    program = TestProgram(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix='vorn-coverage-') as aside:
        run_counting(program, aside)
        counts = counts_of(aside, program.directory)
    sys.exit(0 if judge(counts) else 1)


if __name__ == '__main__':
    main()

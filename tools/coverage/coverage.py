#!/usr/bin/env python3
"""coverage.py BUILD: prints the branches of src/ that no test reached in BUILD, a build directory with counts in it.

What cannot be reached stands with its reason in not_reached.txt: "path: the line" and below it, indented, why. Exit
status 1 when less than 98 % of the branches are reached, or when a line that is in the list is reached after all.
"""
import gzip
import json
import re
import subprocess
import sys
import tempfile
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
LIST = Path(__file__).with_name('not_reached.txt')
GOAL_PCT = 98


def counts_of(build):
    """{(path, line): [how often each branch was taken]}, over all the objects that a header went into."""
    counts = defaultdict(list)
    data = sorted(build.rglob('*.gcda'))
    with tempfile.TemporaryDirectory() as aside:
        subprocess.run(['gcov', '--json-format', '--branch-probabilities', *map(str, data)], cwd=aside, check=True,
                       stdout=subprocess.DEVNULL)
        for report in Path(aside).glob('*.json.gz'):
            for file in json.load(gzip.open(report))['files']:
                path = (build / file['file']).resolve()
                if not path.is_relative_to(ROOT / 'src') or 'platform' in path.parts:
                    continue
                for line in file['lines']:
                    found = [each['count'] for each in line['branches'] if not each['throw']]
                    known = counts[str(path.relative_to(ROOT)), line['line_number']]
                    known.extend([0] * (len(found) - len(known)))
                    for i, count in enumerate(found):
                        known[i] += count
    return counts


def read_list():
    text = LIST.read_text() if LIST.exists() else ''
    return {m[1]: m[2].strip() for m in re.finditer(r'^(src/\S+: .*)\n((?: +.*\n?)+)', text, re.M)}


def main():
    if len(sys.argv) != 2:
        sys.exit('usage: coverage.py BUILD')
    listed, unused = read_list(), set(read_list())
    counts = counts_of(Path(sys.argv[1]).resolve())
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
    sys.exit(0 if pct >= GOAL_PCT and not unused else 1)


if __name__ == '__main__':
    main()

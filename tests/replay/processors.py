#!/usr/bin/env python3
"""processors.py VORN_LAB EMULATOR OTHER_VORN_LAB: what two builds of vorn-lab, for two processors, make of the same traces.

Traces: the recordings beside the checkout (or in VORN_RECORDINGS), the scenarios' runs, the fuzzers' seeds. Events
and series must be alike byte by byte."""

import hashlib
import os
import pathlib
import subprocess
import sys
import tempfile

PROJECT = pathlib.Path(__file__).resolve().parents[2]
RECORDINGS = pathlib.Path(os.environ.get('VORN_RECORDINGS', PROJECT.parent / 'shared' / 'traces'))
SCENARIOS = ['damaged_files', 'failing_flash', 'lost_nodes', 'refused_properties', 'thermal_runaway', 'run_down']


def made_traces(lab, folder):
    for name in SCENARIOS:
        trace = folder / f'{name}.csv'
        subprocess.run([lab, 'simulate', '--quiet', PROJECT / 'scenarios' / f'{name}.toml', '--trace', trace],
                       check=True)
        yield trace


def start(lab, trace, output):
    has_vendor = 'cell_vendor_name' in trace.open().readline()
    command = [*lab, 'replay', trace, '--events', output / 'events', '--series', output / 'series', '--samples',
               *([] if has_vendor else ['--set', 'cell_vendor_name=ATL'])]
    return subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)


def compare(labs, trace, folder):
    """Rows replayed and bytes compared."""
    outputs = [folder / str(i) for i in range(len(labs))]
    for output in outputs:
        output.mkdir(exist_ok=True)
    runs = [start(lab, trace, output) for lab, output in zip(labs, outputs)]
    for run in runs:
        _, error = run.communicate()
        if run.returncode != 0:
            sys.exit(f'FAIL: {trace.name}: {error}')
    size = 0
    for name in ('events', 'series'):
        texts = [(output / name).read_bytes() for output in outputs]
        if len({hashlib.sha256(text).digest() for text in texts}) != 1:
            pairs = enumerate(zip(*(text.split(b'\n') for text in texts)), 1)
            line, found = next(((i, pair) for i, pair in pairs if pair[0] != pair[1]), (0, texts))
            sys.exit(f'FAIL: {trace.name}: line {line} of the {name}:\n  {found[0][:300]}\n  {found[1][:300]}')
        size += len(texts[0])
    rows = (outputs[0] / 'series').read_bytes().count(b'\n') - 1
    if rows < 1:
        sys.exit(f'FAIL: {trace.name}: nothing was replayed')
    return rows, size


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    lab, emulator, other = sys.argv[1:]
    recordings = sorted(RECORDINGS.glob('*.csv'))
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        traces = recordings + list(made_traces(lab, folder)) + sorted((PROJECT / 'fuzz/corpus/trace').glob('*.csv'))
        totals = [compare([[lab], [emulator, other]], trace, folder) for trace in traces]
    print(f'processors: {len(traces)} traces ({len(recordings)} recordings), {sum(rows for rows, _ in totals)} cycles; '
          f'{sum(size for _, size in totals)} bytes of events and series alike on both')


main()

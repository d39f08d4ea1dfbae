#!/usr/bin/env python3
"""one_line_builds.py BUILD: vorn-lab with one line of the daemon changed, four times, and what `vorn-lab diff` says of
each over the gallery, beside the build as it is.

BUILD is a build directory with lab/vorn-lab in it. Nothing of the checkout is touched. Exit status 1 when the first ten
lines of a comparison do not name what was changed, or when the build differs from itself in anything.
"""
import hashlib
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from faults import Fault
from mutants import program_with
from program import ROOT, TestProgram, fail

LAB = 'lab/vorn-lab'
IDENTITY = 'lab/identity.cpp'
IDENTITY_OBJECT = 'lab/CMakeFiles/vorn-lab.dir/identity.cpp.o'
GALLERY = ROOT / 'scenarios'
FIRST_LINES = 10

# What is changed, where, and what a release note would name.
CHANGES = {
    'a stress weight': ('src/stress/stress_bands.cpp', 'VOLT_EXPONENT_V = 125.7', 'VOLT_EXPONENT_V = 120.7',
                        r'battery stress|stress hours|stress_h'),
    "the charge timer's margin": ('src/monitors/charge_timer.cpp', 'static_cast<float>(s.margin_pct) / PERCENT',
                                  'static_cast<float>(s.margin_pct + 10) / PERCENT', r'charge timer .*(later by|limit)'),
    "the estimator's pull": ('src/dyn_soc/estimation.cpp', '(dt * (soc_v - limited.whole)).value',
                             '(dt * 2 * (soc_v - limited.whole)).value', r'estimator .*estimate off'),
    'a log text': ('src/dyn_soc/adaptation.cpp', 'prevented overflow', 'avoided an overflow',
                   r'log line in other words.*prevented overflow.*avoided an overflow'),
}


def lab_with(fault, source, program, aside):
    """The program with the fault in it, which says that its daemon is another one."""
    text = (program.directory / IDENTITY).read_text()
    digest = re.search(r'[0-9a-f]{16}', text)[0]
    changed = Path(aside) / 'identity.cpp'
    changed.write_text(text.replace(digest, hashlib.sha256(fault.name().encode()).hexdigest()[:16], 1))
    if not program.compiled(IDENTITY_OBJECT, Path(aside) / 'identity.o', source=changed):
        fail(f'cannot compile {IDENTITY}')
    return program_with(fault, source, program, aside, {IDENTITY_OBJECT: Path(aside) / 'identity.o'})


def fault_of(path, before, after):
    source = (ROOT / path).read_text()
    if source.count(before) != 1:
        fail(f'{path}: not there once: {before}')
    start = source.index(before)
    line = source.count('\n', 0, start)
    return Fault(path, line + 1, source.split('\n')[line].strip(), after, 1, start, start + len(before), after), source


def diff(*command):
    begin = time.monotonic()
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.returncode, done.stdout, time.monotonic() - begin


def main():
    if len(sys.argv) != 2:
        fail('usage: one_line_builds.py BUILD')
    sound = TestProgram(sys.argv[1], LAB)
    lab = str(sound.path)
    missed = 0
    for what, (path, before, after, words) in CHANGES.items():
        fault, source = fault_of(path, before, after)
        with tempfile.TemporaryDirectory(prefix='vorn-one-line-') as aside:
            program = lab_with(fault, source, sound, aside)
            if program is None:
                fail(f'{path} does not compile with {after}')
            status, text, seconds = diff(lab, 'diff', lab, str(program), str(GALLERY))
        head = '\n'.join(text.split('\n')[:FIRST_LINES])
        is_named = status == 1 and re.search(words, head) is not None
        missed += not is_named
        print(f'== {what}: {path}: {before} -> {after}\n{head}\n-- {"named" if is_named else "NOT NAMED"}, {seconds:.1f} s\n',
              flush=True)
    status, text, seconds = diff(lab, 'diff', lab, lab, str(GALLERY), '--always', '--exact')
    print(f'== nothing\n{text}-- {seconds:.1f} s')
    sys.exit(0 if missed == 0 and status == 0 else 1)


if __name__ == '__main__':
    main()

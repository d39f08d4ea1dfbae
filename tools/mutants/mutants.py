#!/usr/bin/env python3
"""mutants.py BUILD [N [SEED]]: plants N random one-token faults in src/, one at a time, and prints those that no
test notices.

BUILD is a build directory with tests/vorn_tests in it. Nothing of the checkout is touched: what a fault changes is
compiled aside and linked before the library it belongs to. A fault that does not compile is none; the next one is
drawn. Faults that cannot show stand with their reason in cannot_show.txt. Exit status 1 when less than 98 % of
those that can show are noticed, 2 when it cannot be told.
"""
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from itertools import islice
from pathlib import Path

from faults import faults_by_line, in_drawn_order

ROOT = Path(__file__).resolve().parents[2]
LIST = Path(__file__).with_name('cannot_show.txt')
PROGRAM = 'tests/vorn_tests'
SLOW = '*Scenario.*:LogStore.*:Session.*:Recordings.*'  # asked only about what the others do not notice
GOAL_PCT = 98
# The seam is what the tests stand on, and main() runs in no test program.
LEFT_OUT = ('src/platform/', 'src/core/main.cpp')


def fail(message):
    print(f'mutants: {message}', file=sys.stderr)
    sys.exit(2)


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


class Build:
    """How the test program is made, and how it is made with a fault in it."""

    def __init__(self, directory):
        self.directory = Path(directory).resolve()
        if not (self.directory / PROGRAM).exists():
            fail(f'{directory}/{PROGRAM} is not there')
        commands = json.loads((self.directory / 'compile_commands.json').read_text())
        self.compile = {self.object_of(each): shlex.split(each['command']) for each in commands}
        self.link = shlex.split(self.ninja('-t', 'commands', PROGRAM).strip().split('\n')[-1])
        self.link = self.link[self.link.index('&&') + 1:]
        self.link = self.link[:self.link.index('&&')]
        self.users = {}  # header or source -> the objects of the program that are compiled from it
        in_program = self.ninja('-t', 'inputs', PROGRAM)
        for block in self.ninja('-t', 'deps').split('\n\n'):
            head, *files = block.split('\n')
            out = head.split(':')[0]
            # The lab keeps the sound header: it takes most of the time and asks the daemon itself.
            if out not in in_program or out.startswith('lab/'):
                continue
            for file in files:
                path = os.path.relpath(self.directory / file.strip(), ROOT)
                self.users.setdefault(path, []).append(out)

    def ninja(self, *words):
        return subprocess.run(['ninja', '-C', self.directory, '--quiet', *words], check=True, text=True,
                              stdout=subprocess.PIPE).stdout

    @staticmethod
    def object_of(entry):
        words = shlex.split(entry['command'])
        return words[words.index('-o') + 1]

    def run(self, command, aside, seconds=None):
        try:
            return subprocess.run(command, cwd=aside, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                  timeout=seconds, text=True, errors='replace')
        except subprocess.TimeoutExpired:
            return None

    def program_with(self, fault, source, aside):
        """The path of the program with the fault in it; None when it does not compile."""
        changed = Path(aside) / fault.path
        changed.parent.mkdir(parents=True)
        changed.write_text(source[:fault.start] + fault.text + source[fault.end:])
        objects = {}
        for number, out in enumerate(self.users.get(fault.path, [])):
            command = list(self.compile[out])
            objects[out] = str(Path(aside) / f'{number}.o')
            command[command.index('-o') + 1] = objects[out]
            if fault.path.endswith('.cpp'):
                command[command.index('-c') + 1] = str(changed)
            command[1:1] = ['-w', f'-I{aside}/src', f'-I{aside}']
            if self.run(command, self.directory).returncode != 0:
                return None
        program = str(Path(aside) / 'program')
        link = [objects.pop(word, word) for word in self.link]
        at = link.index('-o')
        link[at:at + 2] = ['-o', program, *objects.values()]  # before the libraries that hold the sound ones
        linked = self.run(link, self.directory)
        if linked.returncode != 0:
            fail(f'cannot link:\n{linked.stdout}')
        return program

    def tests_pass(self, program, seconds=None):
        for which in (f'-{SLOW}', SLOW):
            with tempfile.TemporaryDirectory(prefix='vorn-mutant-') as aside:
                done = self.run([program, '--gtest_brief=1', '--gtest_fail_fast', f'--gtest_filter={which}'], aside, seconds)
            if done is None or done.returncode != 0:
                return False
        return True


def judge(build, fault, source, seconds):
    """True when it is noticed, False when not, None when it does not compile."""
    with tempfile.TemporaryDirectory(prefix='vorn-mutant-') as aside:
        program = build.program_with(fault, source, aside)
        return None if program is None else not build.tests_pass(program, seconds)


def judge_first(count, faults, build, sources, listed, seconds):
    """The first `count` faults that compile, each with True, False, or the reason why it cannot show."""
    judged = []
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        while len(judged) < count:
            batch = list(islice(faults, count - len(judged)))
            if not batch:
                break
            results = pool.map(
                lambda f: listed.get(f.name()) or judge(build, f, sources[f.path], seconds), batch)
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
    sources = read_sources()
    lines = [line for path, text in sources.items() for line in faults_by_line(path, text)]
    listed = read_list({fault.name() for line in lines for fault in line})
    build = Build(sys.argv[1])
    begin = time.monotonic()
    if not build.tests_pass(build.directory / PROGRAM):
        fail('the tests fail without any fault')
    seconds = 10 + 10 * (time.monotonic() - begin)
    print(f'{count} faults by seed {seed}', flush=True)
    judged = judge_first(count, in_drawn_order(lines, seed), build, sources, listed, seconds)
    noticed = sum(result is True for _, result in judged)
    missed = sum(result is False for _, result in judged)
    pct = 100 * noticed / max(1, noticed + missed)
    print(f'{noticed} noticed, {missed} not, {len(judged) - noticed - missed} cannot show: {pct:.1f} % of those that can, '
          f'{time.monotonic() - begin:.0f} s')
    sys.exit(0 if pct >= GOAL_PCT else 1)


if __name__ == '__main__':
    main()

"""A program of a build directory, the tests' if not another one, linked anew with some of its objects compiled in
another way.

Nothing of the build directory or of the checkout is touched.
"""
import json
import os
import re
import shlex
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
NAME = 'tests/vorn_tests'
# What a build says of optimisation and debug information only costs time here.
QUICK_TO_COMPILE = ['-w', '-O1', '-g0']
QUICK_TO_LINK = ['-fuse-ld=gold', '-Wl,--strip-debug']
ASKED = ('src/CMakeFiles/vorn_daemon.dir/', 'src/CMakeFiles/vorn_platform_virtual.dir/', 'tests/')
INCLUDED = re.compile(r'^#include "(.+)"', re.M)


def fail(message):
    print(f'{Path(sys.argv[0]).stem}: {message}', file=sys.stderr)
    sys.exit(2)


class TestProgram:
    def __init__(self, directory, name=NAME):
        self.directory = Path(directory).resolve()
        self.path = self.directory / name
        if not self.path.exists():
            fail(f'{directory}/{name} is not there')
        self._commands = {}  # object -> how it is compiled
        for entry in json.loads((self.directory / 'compile_commands.json').read_text()):
            words = shlex.split(entry['command'])
            self._commands[words[words.index('-o') + 1]] = words
        link = shlex.split(self._ninja('-t', 'commands', name).strip().split('\n')[-1])
        link = link[link.index('&&') + 1:]
        self._link = link[:link.index('&&')]
        self._files = {}  # object of the program -> what it is compiled from
        in_program = set(self._ninja('-t', 'inputs', name).split())
        for block in self._ninja('-t', 'deps').split('\n\n'):
            head, *files = block.split('\n')
            out = head.split(':')[0]
            if out in in_program:
                self._files[out] = {os.path.relpath(self.directory / file.strip(), ROOT) for file in files}

    def _ninja(self, *words):
        return subprocess.run(['ninja', '-C', self.directory, '--quiet', *words], check=True, text=True,
                              stdout=subprocess.PIPE).stdout

    def _run(self, command):
        return subprocess.run(command, cwd=self.directory, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def source_of(self, out):
        return self._commands[out][self._commands[out].index('-c') + 1]

    def users_of(self, is_wanted):
        """The objects that files of src/ go into, those whose path is_wanted: of the daemon all, of the tests those
        that name one. The lab and the other tests take most of the time and ask the daemon itself."""
        def takes_part(out, files):
            if out.startswith('tests/'):
                files = files & {f'src/{name}' for name in INCLUDED.findall(Path(self.source_of(out)).read_text())}
            return out.startswith(ASKED) and any(map(is_wanted, files))
        return [out for out, files in self._files.items() if takes_part(out, files)]

    def compiled(self, out, to, first=(), last=(), source=None):
        """Whether `out` compiles to the file `to`, with options before and behind its own, from another source."""
        command = [*self._commands[out], *QUICK_TO_COMPILE, *last]
        command[command.index('-o') + 1] = str(to)
        command[command.index('-c') + 1] = str(source or self.source_of(out))
        command[1:1] = first
        return self._run(command).returncode == 0

    def linked(self, to, objects, options=()):
        """Links the program `to`; `objects` (object -> file) take the place of the build's own."""
        objects = dict(objects)
        link = [str(objects.pop(word, word)) for word in self._link]
        at = link.index('-o')
        # The others before the libraries that hold the sound ones.
        link[at:at + 2] = ['-o', str(to), *QUICK_TO_LINK, *map(str, objects.values()), *options]
        done = self._run(link)
        if done.returncode != 0:
            fail(f'cannot link:\n{done.stdout}')

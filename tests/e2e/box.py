"""The real daemon on its literal paths, in the sandbox of sandbox.sh, seen from outside."""

import pathlib
import re
import shutil
import subprocess
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
PATIENCE_S = 60


class Box:
    """A phone's directories in a scratch directory; programs run in it by start()."""

    def __init__(self, *programs):
        self._scratch = tempfile.TemporaryDirectory()
        self.root = pathlib.Path(self._scratch.name) / 'box'
        self.programs = pathlib.Path(self._scratch.name) / 'program'
        self.programs.mkdir()
        for program in programs:
            shutil.copy(program, self.programs)
        subprocess.run(['cc', '-shared', '-fPIC', '-O2', '-o', self.programs / 'quick_time.so', HERE / 'quick_time.c'],
                       check=True)
        if self._shell('sandbox_make "$1"').wait() != 0:
            raise SystemExit('FAIL: no sandbox')
        self.battery = self.root / 'sys/class/power_supply/battery'
        self._processes = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self._processes:
            process.kill()
            process.wait()
        self._scratch.cleanup()

    def start(self, program, *arguments, under=()):
        """Runs one of the programs by the command `under`, returned as a Process once it is there."""
        outer = self._shell('sandbox_run "$@"', *under, f'/program/{program}', *arguments)
        self._processes.append(outer)
        return Process(outer, program)

    def _shell(self, text, *arguments):
        command = ['sh', '-c', f'PROGRAM_DIR="$0"; E2E={HERE}; . {HERE}/sandbox.sh; {text}', self.programs, self.root, *arguments]
        return subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, errors='replace')


class Process:
    """The process `name` below `outer`, and what it writes to standard error."""

    def __init__(self, outer, name):
        self.outer = outer
        self.lines = {}  # log line without its process id -> how often it came
        threading.Thread(target=self._listen, daemon=True).start()
        self._proc = wait_for(lambda: self._find(outer.pid, name), f'{name} to start')

    def _listen(self):
        for line in self.outer.stderr:
            text = re.sub(r'\( *\d+\)', '', line.rstrip('\n'))
            self.lines[text] = self.lines.get(text, 0) + 1

    def _find(self, pid, name):
        if self.outer.poll() is not None:
            raise SystemExit(f'{name} ended with {self.outer.returncode}: {list(self.lines)[-5:]}')
        proc = pathlib.Path('/proc', str(pid))
        if (proc / 'comm').read_text().strip() == name:
            return proc
        below = (proc / 'task' / str(pid) / 'children').read_text().split()
        return next((found for found in (self._find(child, name) for child in below) if found), None)

    def count(self, text):
        """Log lines that contain `text`."""
        return sum(times for line, times in list(self.lines.items()) if text in line)

    def sleeps(self):
        """How often it went to sleep by itself: the polls, give or take start-up."""
        return int(re.search(r'^voluntary_ctxt_switches:\s*(\d+)', (self._proc / 'status').read_text(), re.M)[1])

    def cpu_us(self):
        return int((self._proc / 'schedstat').read_text().split()[0]) / 1000

    def memory_kb(self):
        """(resident, private), pages of the program and its libraries included."""
        size = dict(re.findall(r'^(\w+):\s*(\d+) kB', (self._proc / 'smaps_rollup').read_text(), re.M))
        return int(size['Rss']), int(size['Private_Clean']) + int(size['Private_Dirty'])

    def standard_descriptors(self):
        """What 0, 1 and 2 lead to."""
        return [(self._proc / 'fd' / str(number)).readlink().as_posix() for number in range(3)]

    def descriptors(self):
        """Those beyond the standard ones that stay open: there at each of several looks."""
        looks = []
        for _ in range(10):
            looks.append({int(each.name) for each in (self._proc / 'fd').iterdir()})
            time.sleep(0.005)
        return sorted(set.intersection(*looks) - {0, 1, 2})


def wait_for(condition, what, patience_s=PATIENCE_S):
    end = time.monotonic() + patience_s
    while time.monotonic() < end:
        found = condition()
        if found:
            return found
        time.sleep(0.02)
    raise SystemExit(f'FAIL: waited {patience_s} s for {what}')

#!/usr/bin/env python3
"""good_citizen.py VORN [OTHER...]: what the real process asks of the device it runs on.

System calls, from strace: a cycle reads its eleven nodes and a property and sleeps; from the first to the last call
there is none that could wake a suspended device, and between two cycles no descriptor is open. Memory and binary
must keep within a budget. Cost per poll at the daemon's own pace, for a minute, beside other daemons that poll."""

import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

from box import Box, wait_for

# With room for another compiler. On a device the C library's pages are shared with everyone.
PRIVATE_BUDGET_KB = 300
BINARY_BUDGET_BYTES = 100_000

# A quiet cycle on a Linux host. The property is a file there; on a device it is a look into shared memory.
CYCLE = {'openat': 12, 'read': 12, 'close': 12, 'newfstatat': 1, 'clock_nanosleep': 1}
# Clocks are read in shared memory; here and there a host's do not offer that.
CLOCKS = {'clock_gettime', 'time'}
# All that the C library and the daemon call from start to end. Timers and alarms, wake locks, epoll, ioctl, sockets,
# threads and child processes are not among them.
ALL = {*CYCLE, *CLOCKS, 'write', 'fsync', 'poll', 'access', 'mkdir', 'rename', 'unlink', 'getpid', 'rt_sigaction', 'flock',
       'dup2', 'execve', 'brk', 'mmap', 'munmap', 'mprotect', 'pread64', 'arch_prctl', 'set_tid_address', 'set_robust_list', 'rseq',
       'prlimit64', 'getrandom'}

ARGUMENTS = {'earlyoom': ['-r', '0']}  # it polls, and does not report

KEPT = {'0', '1', '2'}

QUIET_CYCLES = 200
POLLED_S = 60


def fail(text):
    sys.exit(f'FAIL: {text}')


def call_of(line):
    return re.match(r'\w+', line)[0]


def cycles_of(trace):
    """The calls of each whole cycle, start-up left out."""
    cycles, calls = [], collections.Counter()
    for line in trace:
        calls[call_of(line)] += 1
        if 'nanosleep' in line:
            cycles.append(calls)
            calls = collections.Counter()
    return cycles[1:]


def strace(vorn, *environment, sleeps):
    with Box(vorn) as box:
        box.start(vorn.name, under=['strace', '-o', '/run/trace', *environment])
        path = box.root / 'run/trace'
        wait_for(lambda: path.read_text().count('nanosleep(') >= sleeps, f'{sleeps} cycles')
        *lines, unfinished = path.read_text().split('\n')
        return lines + [unfinished] if 'nanosleep(' in unfinished else lines


def check_calls(vorn):
    trace = strace(vorn, '-E', 'LD_PRELOAD=/program/quick_time.so', sleeps=QUIET_CYCLES + 2)
    foreign = {call_of(line) for line in trace} - ALL
    if foreign:
        fail(f'calls {sorted(foreign)}')
    cycles = [{name: count for name, count in each.items() if name not in CLOCKS} for each in cycles_of(trace)]
    usual = [each for each in cycles if each == CYCLE]
    if len(usual) < 0.9 * QUIET_CYCLES:  # others write their hourly files
        fail(f'only {len(usual)} of {len(cycles)} cycles are like {CYCLE}, others like {cycles[-1]}')
    open_now = set()
    for line in trace:
        if match := re.match(r'openat\(.*= (\d+)$', line):
            open_now.add(match[1])
        elif match := re.match(r'close\((\d+)', line):
            open_now.discard(match[1])
        elif 'nanosleep' in line and open_now - KEPT:
            fail(f'sleeps with descriptors {open_now} open')
    # Once at its own pace. Linux lets a relative sleep on this clock rest while the device is suspended.
    sleep = next(line for line in strace(vorn, sleeps=1) if 'nanosleep' in line)
    if not re.match(r'clock_nanosleep\(CLOCK_REALTIME, 0, \{tv_sec=10, tv_nsec=0\}', sleep):
        fail(f'sleeps by {sleep}')
    print(f'system calls: {sum(CYCLE.values())} a cycle ({", ".join(f"{n} {name}" for name, n in CYCLE.items())}) in '
          f'{len(usual)} of {len(cycles)} cycles; nothing that wakes a device; no descriptor open in any sleep')


def stripped_size(program):
    with tempfile.NamedTemporaryFile() as stripped:
        subprocess.run(['strip', '-o', stripped.name, program], check=True)
        return os.path.getsize(stripped.name)


def measure(program):
    """Cost of a poll at the program's own pace. The first second, start-up, is left out."""
    with Box(program) as box:
        process = box.start(program.name, *ARGUMENTS.get(program.name, []))
        time.sleep(1)
        cpu_us, sleeps = process.cpu_us(), process.sleeps()
        time.sleep(POLLED_S)
        polls = process.sleeps() - sleeps
        cpu_us = process.cpu_us() - cpu_us
        if polls < 3:
            fail(f'{program.name}: {polls} polls in {POLLED_S} s')
        resident_kb, private_kb = process.memory_kb()
        descriptors = process.descriptors()
    size = stripped_size(program)
    print(f'{program.parent.name}/{program.name}: {polls} polls in {POLLED_S} s, {cpu_us / polls:.0f} us of CPU each, '
          f'{cpu_us / POLLED_S * 86400 / 1e6:.1f} s a day; resident {resident_kb} kB, of which private {private_kb} kB; '
          f'{size} bytes stripped; descriptors between polls {descriptors or "none"}')
    return descriptors, private_kb, size


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    vorn, *others = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    check_calls(vorn)
    descriptors, private_kb, size = measure(vorn)
    if descriptors:
        fail(f'descriptors {descriptors} stay open')
    if private_kb > PRIVATE_BUDGET_KB:
        fail(f'{private_kb} kB of private memory, the budget is {PRIVATE_BUDGET_KB} kB')
    if size > BINARY_BUDGET_BYTES:
        fail(f'{size} bytes of binary, the budget is {BINARY_BUDGET_BYTES}')
    for other in others:
        measure(other)


main()

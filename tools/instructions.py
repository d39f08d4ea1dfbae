#!/usr/bin/env python3
"""Counts the instructions of a cycle with valgrind, part by part, and holds them against figures.

Usage: instructions.py BUILD [FIGURES]

BUILD has bench/vorn_instructions. Each of its runs is counted over two lengths: what the longer one has more, divided
by its further cycles, is a cycle without the start of the program. The parts are the daemon's own code, the virtual
device, the phone, the listener (all of the listening process) and the rest, which is the lab's course of time between
them. What a function of a library needs counts for its callers. Fails where a cycle needs more than FIGURES allow.
"""

import collections
import glob
import os
import re
import subprocess
import sys
import tempfile

CYCLES_PER_DAY = 8640
SHORT_DAYS, LONG_DAYS = 1, 3
RUNS = ("alone", "series", "report", "replay")
PARTS = ("daemon", "device", "phone", "listener", "rest")
MAKER = "bench::"  # makes the input of a run: no part of it
SPREADINGS = 30  # a library's calls within itself are not nested deeper


def objects(build):
    """The object files of each part."""
    lab = f"{build}/lab/CMakeFiles/vorn_lab.dir"
    return {
        "daemon": [f"{build}/src/libvorn_daemon.a"],
        "device": [f"{build}/src/libvorn_platform_virtual.a"],
        "phone": glob.glob(f"{lab}/phone/*.o"),
        "rest": glob.glob(f"{lab}/**/*.o", recursive=True) + glob.glob(f"{build}/bench/CMakeFiles/vorn_inst*/*.o"),
    }


def functions(build):
    """The part of each function that a part defines for itself: one that several have is a library's."""
    parts = {}
    for part, files in objects(build).items():
        listed = subprocess.run(["nm", "-C", "--defined-only", *files], capture_output=True, text=True, check=True)
        for name in re.findall(r"^[0-9a-f]+ [tT] (.+)$", listed.stdout, re.MULTILINE):
            parts.setdefault(plain(name), part)
    return parts


def plain(name):
    """Without what the compiler and callgrind add for copies and recursion."""
    return re.sub(r"( \[clone [^]]*\])+|'\d+$", "", name)


def read_profile(path):
    """Of each function its own instructions, and those of each of its callees on its behalf."""
    own, calls = collections.Counter(), collections.defaultdict(collections.Counter)
    caller = callee = None
    is_call = False
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            if line.startswith("fn="):
                caller = plain(line[3:-1])
            elif line.startswith("cfn="):
                callee = plain(line[4:-1])
            elif line.startswith("calls="):
                is_call = True
            elif line[:1] in "0123456789+-*" and caller:
                count = int(line.split()[1])
                if is_call:
                    calls[callee][caller] += count
                else:
                    own[caller] += count
                is_call = False
    return own, calls


def by_part(path, parts):
    own, callers = read_profile(path)
    sums = collections.Counter()
    for _ in range(SPREADINGS):
        passed_on = collections.Counter()
        for name, count in own.items():
            part = "input" if name.startswith(MAKER) else parts.get(name)
            whole = sum(callers[name].values())
            if part or not whole:
                sums[part or "rest"] += count
                continue
            for caller, share in callers[name].items():
                passed_on[caller] += count * share / whole
        own = passed_on
    sums["rest"] += sum(own.values())
    return sums


def count(build, run, days, parts):
    with tempfile.TemporaryDirectory() as folder:
        program = subprocess.Popen(
            ["valgrind", "-q", "--tool=callgrind", f"--callgrind-out-file={folder}/%p", "--compress-strings=no",
             "--compress-pos=no", f"{build}/bench/vorn_instructions", run, str(days)])
        if program.wait() != 0:
            sys.exit(f"instructions: the run '{run}' failed")
        sums = collections.Counter()
        for process in os.listdir(folder):
            of_process = by_part(f"{folder}/{process}", parts)
            if process == str(program.pid):
                sums["input"] += of_process.pop("input", 0)
                sums["listener"] += sum(of_process.values())
            else:
                sums += of_process
    return sums


def measure(build, run, parts):
    short, long = (count(build, run, days, parts) for days in (SHORT_DAYS, LONG_DAYS))
    cycles = (LONG_DAYS - SHORT_DAYS) * CYCLES_PER_DAY
    found = {part: round((long[part] - short[part]) / cycles) for part in PARTS}
    return found | {"all": sum(found.values())}


def read_figures(path):
    """Lines of a run, a part and the most instructions that it may need; '#' begins a comment."""
    with open(path, encoding="utf-8") as lines:
        rows = [line.split("#")[0].split() for line in lines]
    return {(row[0], row[1]): int(row[2]) for row in rows if row}


def main():
    build = sys.argv[1]
    figures = read_figures(sys.argv[2]) if len(sys.argv) > 2 else {}
    parts = functions(build)
    print(f"{'a cycle':10}" + "".join(f"{part:>10}" for part in (*PARTS, "all")))
    too_many = []
    for run in RUNS:
        found = measure(build, run, parts)
        print(f"{run:10}" + "".join(f"{found[part]:10}" for part in (*PARTS, "all")), flush=True)
        too_many += [f"{run}: {part} needs {found[part]} instructions a cycle, at most {most} may be"
                     for (of, part), most in figures.items() if of == run and found[part] > most]
    sys.exit("\n".join(too_many) or 0)


if __name__ == "__main__":
    main()

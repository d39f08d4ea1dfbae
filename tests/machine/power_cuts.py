#!/usr/bin/env python3
"""power_cuts.py VORN ASIDE PROCESSOR [CUTS [SEED]]: the power of a real kernel goes CUTS times (30).

ASIDE is the directory of the unpacked kernel and busybox, PROCESSOR amd64 or arm64. After each cut the daemon starts
again, publishes what its file says, and each state file holds what the daemon last wrote into it, or what it held less
than ten minutes before. A file that was seen whole is never missing or empty afterwards."""

import collections
import dataclasses
import pathlib
import random
import struct
import sys
import tempfile

from machine import Machine

EPOCH_S = 1790000000
HOUR_S = 3600
OFF_S = 7200  # between two boots
LATE_S = 600  # the kernel writes within 35 s; while the disk works, the machine's clock runs ahead
DISK_WRITES = 60  # about as many come with a start from the earlier layout and the minute after it

PRECHARGE_S = 30
EARLIER = {  # state files of the earlier layout
    'batt_stress': struct.pack('<99f', *(bucket / 4 for bucket in range(99))),
    'last_datetime': struct.pack('<q', EPOCH_S - HOUR_S),
    'charge_failures': struct.pack('<i', 3),
    'dyn_soc_params': struct.pack('<5i', 1, 700, 1000, 2500, 1000),
    'toc_clients': b'\x02',
    'last_battvolt': struct.pack('<i', 3800000),
    'batt_precharge_timer': struct.pack('<i', 600),
    'batt_precharge_counter': struct.pack('<i', 7),
}
DEFAULT_PARAMS = struct.pack('<5i', 1, 9000, 10000, 2000, 740)
BOOT_FILE = {'batt_precharge_uboottimer': struct.pack('<i', PRECHARGE_S)}
MISSING = None


@dataclasses.dataclass
class Cut:
    former: str = ''  # as FORMER of init.sh
    after_s: int = 60  # the power goes so long after the daemon's start
    at_write: int = 0  # or at this write to the disk, counted from power-on
    survives: float = 0  # share of the disk's cache

    def __str__(self):
        start = {'': 'goes on', 'new': 'new phone', 'earlier': 'earlier layout'}[self.former]
        when = f'at disk write {self.at_write}' if self.at_write else f'{self.after_s} s after the start'
        return f'{start}, {when}, {self.survives:.0%} of the cache survives'


def draw_cut(luck, number):
    """One in five after an hour, when the table is written; one in five by the disk's writes; else just started."""
    cut = Cut(former=['earlier', '', 'new', '', 'earlier', 'earlier', '', 'new', 'new', ''][number % 10],
              after_s=luck.randint(0, 45), survives=luck.choice([0, 0.5, 1]))
    if number % 5 == 1:
        cut.after_s += HOUR_S
    if number % 5 == 4:
        cut.at_write = luck.randint(1, DISK_WRITES)
    return cut


def content_of(text):
    return MISSING if text == 'missing' else bytes.fromhex(text[1:])


def hours(table):
    return sum(struct.unpack('<99f', table)) if table else 0


def may_come_next(name, before, now, time_s):
    """Whether the daemon, last seen to have written `before`, may have gone on to `now` by `time_s`."""
    if len(now) != len(EARLIER[name]):
        return False
    if name in ('toc_clients', 'charge_failures', 'dyn_soc_params'):
        return now in (EARLIER[name], DEFAULT_PARAMS)
    if name == 'batt_stress':
        table, old = (struct.unpack('<99f', each or bytes(396)) for each in (now, before))
        return all(new >= former for new, former in zip(table, old)) and hours(now) - hours(before) < 24
    layout = '<q' if name == 'last_datetime' else '<i'
    value, = struct.unpack(layout, now)
    last, = struct.unpack(layout, before or bytes(len(now)))
    return {'last_datetime': last <= value <= time_s, 'last_battvolt': 3900000 <= value <= 3910000,
            'batt_precharge_timer': value == last + PRECHARGE_S, 'batt_precharge_counter': value == last + 1}[name]


class Ledger:
    """What each state file may hold, from what the machine tells; what was lost, and what must not be."""

    def __init__(self):
        self.states = {name: [(0, MISSING)] for name in EARLIER}  # (uptime s, content), as seen since power-on
        self.earlier = {}  # what is migrated in this boot
        self.troubles = []
        self.failures = 0
        self.lost = collections.Counter()  # what -> how often
        self.hours_lost = 0
        self.up_s = 0  # when it was last heard of

    def read(self, lines, start_s):
        """One boot's console. Returns what the power cut before it has cost, or that it did not come to tell."""
        cut_s, costs, has_found = self.up_s, [], False
        for line in lines:
            word, *rest = line.split(' ')
            if word == 'trouble:' or 'EXT4-fs error' in line or 'Kernel panic' in line:
                self.troubles.append(line)
            if word in ('found', 'wrote', 'new', 'started', 'cut'):
                self.up_s = int(rest[0])
            if word == 'found':
                has_found = True
                costs += self._find(rest[1], content_of(rest[2]), cut_s, start_s)
            elif word == 'wrote' and self.states[rest[1]][-1][1] != content_of(rest[2]):
                self.states[rest[1]].append((self.up_s, content_of(rest[2])))
            elif word == 'new':
                self.earlier = EARLIER if rest[1] == 'earlier' else {}
                self.states = {name: [(self.up_s, MISSING)] for name in EARLIER}
            elif word == 'started':
                self._check_voltage(rest[1] if len(rest) > 1 else '')
        if not has_found:
            return 'the power went again before the files were seen'
        return ', '.join(costs) or 'nothing lost'

    def _find(self, name, content, cut_s, start_s):
        states = self.states[name]
        settled = max((i for i, (up_s, _) in enumerate(states) if up_s <= cut_s - LATE_S), default=0)
        may_be, newest = [state for _, state in states[settled:]], states[-1][1]
        migrated = self.earlier.get(name) if states[0][1] is MISSING else None
        costs = []
        if content in (MISSING, b'') and newest not in (MISSING, b''):
            costs.append(f'{name} is {"missing" if content is MISSING else "empty"}')
            self.troubles.append(costs[0])
        elif content != newest and content and content in (*may_be, migrated):
            costs.append(f'{name} is as before its last write')
        elif content and content != newest and not may_come_next(name, newest or migrated, content, start_s - OFF_S):
            self.troubles.append(f'{name} holds {content.hex()}, before that {newest and newest.hex()}')
        if name == 'batt_stress':
            self.hours_lost = max(self.hours_lost, hours(newest) - hours(content))
        self.lost.update(costs)
        self.states[name] = [(0, content)]
        return costs

    def _check_voltage(self, published):
        step = self.states['toc_clients'][-1][1]
        if step is MISSING and self.earlier:
            step = self.earlier['toc_clients']
        if published != str(4450 - 50 * (step or b'\0')[0]):
            self.troubles.append(f'publishes {published!r}, its file says step {step}')


def run(machine, cuts, luck):
    ledger, start_s, cut = Ledger(), EPOCH_S, None
    for number in range(cuts + 1):
        last, cut = cut, draw_cut(luck, number) if number < cuts else Cut()
        lines = machine.boot(cut.at_write, START=start_s, CUT=cut.after_s, FORMER=cut.former)
        cost = ledger.read(lines, start_s)
        if last:
            print(f'{number}: {last}: {cost}', flush=True)
        if ledger.troubles:
            print('FAIL:', *ledger.troubles, 'The console:', *lines, sep='\n  ')
            ledger.failures += 1
            ledger.troubles.clear()
        machine.lose_cache(luck, cut.survives)
        start_s += ledger.up_s + OFF_S
    return ledger


def main():
    if not 4 <= len(sys.argv) <= 6:
        sys.exit(__doc__)
    vorn, aside, processor = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
    cuts = int(sys.argv[4]) if len(sys.argv) > 4 else 30
    seed = int(sys.argv[5]) if len(sys.argv) > 5 else random.randrange(10**6)
    print(f'{processor}, seed {seed}')
    with tempfile.TemporaryDirectory() as scratch:
        machine = Machine(vorn, aside, processor, {**EARLIER, **BOOT_FILE}, pathlib.Path(scratch))
        ledger = run(machine, cuts, random.Random(seed))
    for what, times in sorted(ledger.lost.items()):
        print(f'{what}: {times} of {cuts} times')
    print(f'{cuts} power cuts, {ledger.failures} of them broke a promise; at most {ledger.hours_lost:.2f} hours of the '
          'stress table lost')
    return 1 if ledger.failures else 0


sys.exit(main())

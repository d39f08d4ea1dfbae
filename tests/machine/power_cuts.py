#!/usr/bin/env python3
"""power_cuts.py VORN ASIDE PROCESSOR [CUTS [SEED]]: the power of a real kernel goes CUTS times (30).

ASIDE is the directory of the unpacked kernel and busybox, PROCESSOR amd64 or arm64. After each cut the daemon starts
again, publishes what its file says, and each state file holds what the daemon last wrote into it, or what it held
before: where other programs have the disk flushed, less than ten minutes before. A file that was seen whole is never
missing or empty afterwards. Half of the cuts come to each of two phones, side by side."""

import collections
import concurrent.futures
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
PHONES = 2
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


STARTS = {'': 'goes on', 'new': 'new phone', 'earlier': 'earlier layout'}


@dataclasses.dataclass
class Cut:
    former: str = ''  # as FORMER of init.sh
    after_s: int = 60  # the power goes so long after the daemon's start
    at_write: int = 0  # or at this write to the disk, counted from power-on
    survives: float = 0  # share of the disk's cache
    others: bool = False  # have the disk flushed

    def __str__(self):
        when = f'at disk write {self.at_write}' if self.at_write else f'{self.after_s} s after the start'
        flushed = 'others flush' if self.others else 'nobody else flushes'
        return f'{STARTS[self.former]}, {when}, {self.survives:.0%} of the cache survives, {flushed}'


def draw_cut(luck, number):
    """One in five after an hour, when the table is written; one in five by the disk's writes; else just started."""
    cut = Cut(former=['earlier', '', 'new', '', 'earlier', 'earlier', '', 'new', 'new', ''][number % 10],
              after_s=luck.randint(0, 45), survives=luck.choice([0, 0.5, 1]), others=luck.random() < 0.5)
    if number % 5 == 1:
        cut.after_s += HOUR_S
    if number % 5 == 4:
        cut.at_write = luck.randint(1, DISK_WRITES)
    return cut


def content_of(text):
    return MISSING if text == 'missing' else bytes.fromhex(text[1:])


def hours(table):
    return sum(struct.unpack('<99f', table)) if table else 0


def seconds(time):
    return struct.unpack('<q', time)[0]


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
    """What each state file of one phone may hold, from what the machine tells; what was lost, and what must not be."""

    def __init__(self):
        self.states = {name: [(0, MISSING)] for name in EARLIER}  # (uptime s, content), as seen since power-on
        self.earlier = {}  # what is migrated in this boot
        self.is_made = False  # into another phone: its files go and come
        self.troubles = []
        self.hours = 0  # of the stress table, lost for good by the last cut; below 0: credited twice
        self.up_s = 0  # when it was last heard of
        self.others = False  # had the disk flushed when it was last heard of

    def read(self, lines, start_s, others):
        """One boot's console. Returns what the power cut before it has cost; None: it did not come to tell."""
        found = {}
        cut_s = self.up_s
        for line in lines:
            word, *rest = line.split(' ')
            if word == 'trouble:' or 'EXT4-fs error' in line or 'Kernel panic' in line:
                self.troubles.append(line)
            if word in ('found', 'wrote', 'making', 'new', 'started', 'cut'):
                self.up_s = int(rest[0])
            if word == 'found':
                found[rest[1]] = content_of(rest[2])
                if len(found) == len(EARLIER):
                    costs = self._find(found, cut_s, start_s)
                    self.others = others
            elif word == 'wrote' and self.states[rest[1]][-1][1] != content_of(rest[2]):
                self.states[rest[1]].append((self.up_s, content_of(rest[2])))
            elif word in ('making', 'new'):
                self.is_made = word == 'making'
                self.earlier = EARLIER if rest[1] == 'earlier' else {}
                self.states = {name: [(self.up_s, MISSING)] for name in EARLIER}
            elif word == 'started':
                self._check_voltage(rest[1] if len(rest) > 1 else '')
        return costs if len(found) == len(EARLIER) else None

    def _find(self, found, cut_s, start_s):
        costs = []
        self.hours = 0
        if self.is_made:
            self.earlier = {}
        else:
            for name, content in found.items():
                costs += self._find_file(name, content, cut_s if self.others else None, start_s)
            table, time = (self.states[name][-1][1] for name in ('batt_stress', 'last_datetime'))
            if table and time and found['last_datetime']:
                # A time that is older, too, has the next start credit once more what was lost.
                again_s = seconds(time) - seconds(found['last_datetime'])
                self.hours = hours(table) - hours(found['batt_stress']) - again_s / HOUR_S
        self.is_made = False
        self.states = {name: [(0, content)] for name, content in found.items()}
        return costs

    def _find_file(self, name, content, flushed_s, start_s):
        states = self.states[name]
        settled = 0
        if flushed_s:
            settled = max((i for i, (up_s, _) in enumerate(states) if up_s <= flushed_s - LATE_S), default=0)
        may_be, newest = [state for _, state in states[settled:]], states[-1][1]
        migrated = self.earlier.get(name) if states[0][1] is MISSING else None
        if content in (MISSING, b'') and newest not in (MISSING, b''):
            self.troubles.append(f'{name} is {"missing" if content is MISSING else "empty"}')
            return [self.troubles[-1]]
        if content == newest or not content:
            return []
        if content in (*may_be, migrated):
            return [] if newest is MISSING else [f'{name} is older']
        if not may_come_next(name, newest or migrated, content, start_s - OFF_S):
            self.troubles.append(f'{name} holds {content.hex()}, before that {newest and newest.hex()}')
        return []

    def _check_voltage(self, published):
        step = self.states['toc_clients'][-1][1]
        if step is MISSING and self.earlier:
            step = self.earlier['toc_clients']
        if published != str(4450 - 50 * (step or b'\0')[0]):
            self.troubles.append(f'publishes {published!r}, its file says step {step}')


class Tally:
    """The cuts of one kind."""

    def __init__(self):
        self.cuts = self.whole = self.older = self.unseen = self.broken = 0
        self.lost_h = self.twice_h = 0.0

    def add(self, costs, troubles, hours_lost):
        self.cuts += 1
        self.unseen += costs is None
        self.whole += costs == [] and not troubles
        self.older += bool(costs) and not troubles
        self.broken += bool(troubles)
        self.lost_h = max(self.lost_h, hours_lost)
        self.twice_h = max(self.twice_h, -hours_lost)

    def join(self, other):
        for name in ('cuts', 'whole', 'older', 'unseen', 'broken'):
            setattr(self, name, getattr(self, name) + getattr(other, name))
        for name in ('lost_h', 'twice_h'):
            setattr(self, name, max(getattr(self, name), getattr(other, name)))


def run(phone, machine, cuts, seed):
    """The cuts of one phone. Returns the tally of each kind."""
    ledger, start_s, cut = Ledger(), EPOCH_S, None
    tallies = collections.defaultdict(Tally)
    for number in range(cuts + 1):
        luck = random.Random(f'{seed} {phone} {number}')
        last, cut = cut, draw_cut(luck, number) if number < cuts else Cut()
        lines = machine.boot(cut.at_write, START=start_s, CUT=cut.after_s, FORMER=cut.former,
                             OTHERS='yes' if cut.others else '')
        costs = ledger.read(lines, start_s, cut.others)
        if last:
            what = 'the power went again before the files were seen' if costs is None else ', '.join(costs) or 'nothing lost'
            print(f'{phone}.{number}: {last}: {what}\n', end='', flush=True)
            tallies[STARTS[last.former], last.others].add(costs, ledger.troubles, ledger.hours)
        if ledger.troubles:
            print('\n  '.join(['FAIL:', *ledger.troubles, 'The console:', *lines]) + '\n', end='', flush=True)
            ledger.troubles.clear()
        machine.lose_cache(luck, cut.survives)
        start_s += ledger.up_s + OFF_S
    return tallies


def print_table(processor, seed, tallies):
    print()
    print(f'| {processor}, seed {seed} | cuts | all as last written | some older | not seen | broken | hours lost | twice |')
    print('|---|---|---|---|---|---|---|---|')
    for (start, others), each in sorted(tallies.items()):
        print(f'| {start}, {"others flush" if others else "nobody else flushes"} | {each.cuts} | {each.whole} | {each.older} '
              f'| {each.unseen} | {each.broken} | {each.lost_h:.1f} | {each.twice_h:.1f} |')


def main():
    if not 4 <= len(sys.argv) <= 6:
        sys.exit(__doc__)
    vorn, aside, processor = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
    cuts = int(sys.argv[4]) if len(sys.argv) > 4 else 30
    seed = int(sys.argv[5]) if len(sys.argv) > 5 else random.randrange(10**6)
    phones = min(PHONES, cuts)
    print(f'{processor}, seed {seed}', flush=True)

    def run_phone(phone):
        with tempfile.TemporaryDirectory() as scratch:
            machine = Machine(vorn, aside, processor, {**EARLIER, **BOOT_FILE}, pathlib.Path(scratch))
            return run(phone, machine, (cuts + phones - 1 - phone) // phones, seed)

    tallies = collections.defaultdict(Tally)
    with concurrent.futures.ThreadPoolExecutor(phones) as pool:
        for of_phone in pool.map(run_phone, range(phones)):
            for kind, each in of_phone.items():
                tallies[kind].join(each)
    print_table(processor, seed, tallies)
    broken = sum(each.broken for each in tallies.values())
    print(f'{cuts} power cuts, {broken} of them broke a promise')
    return 1 if broken else 0


sys.exit(main())

#!/usr/bin/env python3
"""The house keeps its floors: who may include whom, and what the daemon's code does without."""

import pathlib
import re
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]

# Each folder of src/ and the folders whose headers it may include beside its own. A feature knows another one only
# where it calls it.
REACH = {
    'platform': '',
    'util': 'platform',
    'battery': 'util',
    'charge_mgr': 'util',
    'precharge': 'util',
    'monitors': 'charge_mgr util',
    'stress': 'charge_mgr util',
    'dyn_soc': 'battery charge_mgr util',
    'core': 'battery charge_mgr dyn_soc monitors precharge stress util platform',
}
# The same for the rooms of lab/. All of them may see the daemon's headers; nobody sees lab/ from below.
LAB_REACH = {
    'io': '',
    'phone': '',
    'records': 'io',
    'session': 'io',
    'state': 'io',
    'recordings': 'io session state',
    'story': 'io records session state',
    'tally': 'io session state',
    'scenario': 'io phone records session state',
    'report': 'io session state story tally',
    'simulation': 'io phone recordings records scenario session state story tally',
    'evidence': 'io recordings records report session state story tally',
    'wiring': 'evidence io recordings session state',
    'compare': 'io recordings records report scenario session simulation state story tally',
    'yardstick': 'io phone recordings session',
    'fleet': 'compare io phone records report scenario session simulation state story tally',
    'cli': 'compare evidence fleet io recordings records report scenario session simulation state story tally wiring yardstick',
    'main.cpp': 'cli compare',
}
# Of the seam, the floors above see these three and none of its implementations.
SEAM = ['platform/android_log.h', 'platform/os.h', 'platform/properties.h']
# Standard headers that neither allocate nor throw nor write to a stream.
PLAIN_HEADERS = ('algorithm array bit cerrno climits cmath compare concepts cstdarg cstddef cstdint cstdio cstdlib cstring ctime '
                 'iterator limits numeric utility type_traits').split()

INCLUDE = re.compile(r'\s*#\s*include\s+([<"])([^>"]+)[>"]')
CONDITION = re.compile(r'\s*#\s*(if|ifdef|ifndef|elif)\b')
NOISE = re.compile(r'"(\\.|[^"\\])*"|//.*$')  # strings and comments
FORBIDDEN = re.compile(r'\b(new|(?<!= )delete|malloc|calloc|realloc|free|throw|try|catch|dynamic_cast|typeid|std::function|'
                       r'virtual|virtual_device|thread|mutex|FRIEND_TEST)\b|for_test')


def folder_of(path):
    return path.split('/')[0]


def is_platform_implementation(path):
    """An implementation of the seam is at home on its platform and may use what it finds there."""
    return path.count('/') == 2 and folder_of(path) == 'platform'


def may_include(path, header):
    own = folder_of(path)
    if own not in REACH or folder_of(header) not in [own, *REACH[own].split()]:
        return False
    is_own_implementation = is_platform_implementation(path) and header.rpartition('/')[0] == path.rpartition('/')[0]
    return folder_of(header) != 'platform' or header in SEAM or is_own_implementation


def faults(path, text):
    """What is wrong with a file of src/, its path relative to that."""
    found = []
    for number, line in enumerate(text.split('\n'), 1):
        place = f'{path}:{number}: '
        if match := INCLUDE.match(line):
            if match[1] == '"' and not may_include(path, match[2]):
                found.append(f'{place}may not include {match[2]}')
            if match[1] == '<' and not is_platform_implementation(path) and match[2] not in PLAIN_HEADERS:
                found.append(f'{place}is not a plain header: {match[2]}')
        elif not is_platform_implementation(path):
            if CONDITION.match(line):
                found.append(f'{place}asks the preprocessor where it runs')
            if match := FORBIDDEN.search(NOISE.sub('', line)):
                found.append(f'{place}says {match[0]}')
    return found


def faults_of_lab(path, text):
    """The arrows of a file of lab/ (its path relative to that) that leave its room for one it may not see."""
    reach = LAB_REACH.get(folder_of(path), '').split()
    return [f'{path}: may not include {match[2]}' for match in map(INCLUDE.match, text.split('\n'))
            if match and match[2].startswith('lab/') and folder_of(match[2][4:]) not in [folder_of(path), *reach]]


def circle_in(arrows):
    """Names along a circle in {name: names}; nothing when there is none."""
    done = set()

    def walk(name, road):
        if name in road:
            return road[road.index(name):]
        if name in done:
            return []
        circle = next(filter(None, (walk(each, [*road, name]) for each in arrows.get(name, ()))), [])
        done.add(name)
        return circle

    return next(filter(None, (walk(name, []) for name in arrows)), [])


def unit_of(path):
    return path.rpartition('.')[0]  # a .cpp and its .h are one


def sources(folder):
    return [path for path in (PROJECT / folder).rglob('*') if path.suffix in ('.h', '.cpp')]


class Includes(unittest.TestCase):
    def test_arrows_of_the_daemon_point_down(self):
        root = PROJECT / 'src'
        self.assertGreater(len(sources('src')), 50)
        self.assertEqual([], [fault for path in sources('src')
                              for fault in faults(path.relative_to(root).as_posix(), path.read_text())])

    def test_each_rule_finds_what_breaks_it(self):
        for path, line in [
                ('util/metrics.cpp', '#include "core/daemon.h"'),
                ('stress/bands.cpp', '#include "core/persistent_files.h"'),
                ('monitors/short_detect.cpp', '#include "platform/os.h"'),
                ('monitors/short_detect.cpp', '#include "stress/stress_feature.h"'),
                ('charge_mgr/charge_mgr.cpp', '#include "monitors/topoff_ctrl.h"'),
                ('battery/batt_info.cpp', '#include "dyn_soc/dyn_soc.h"'),
                ('core/daemon.cpp', '#include "lab/session/session.h"'),
                ('core/main.cpp', '#include "platform/virtual/device.h"'),
                ('platform/linux/log.cpp', '#include "platform/virtual/device.h"'),
                ('platform/os.h', '#include "util/log.h"'),
                ('elsewhere/new_feature.cpp', '#include "util/log.h"'),
                ('core/daemon.cpp', '#include <vector>'),
                ('core/daemon.cpp', '#include <unistd.h>'),
                ('util/log.h', '#ifdef __ANDROID__'),
                ('dyn_soc/dyn_soc.cpp', '  # if defined(SIMULATION)'),
                ('dyn_soc/dyn_soc.cpp', 'int* a = new int;'),
                ('core/persistent_files.cpp', 'void* b = realloc(a, 396);'),
                ('stress/trip.cpp', 'void reset_for_test();'),
                ('util/queue.h', 'virtual int size();')]:
            self.assertEqual(1, len(faults(path, line)), f'{path}: {line}')
        for path, text in [
                ('util/log.h', '#include "platform/android_log.h"'),
                ('core/wall_clock.cpp', '#include "platform/os.h"'),
                ('dyn_soc/update.cpp', '#include "battery/batt_info.h"\n#include <cmath>'),
                ('platform/virtual/platform.cpp', '#include "platform/virtual/device.h"\n#include <map>\n#if 1'),
                ('stress/trip.cpp', '// a new table\nLOG("try again");')]:
            self.assertEqual([], faults(path, text))

    def test_rooms_of_the_lab_stand_on_floors(self):
        self.assertEqual([], circle_in({room: reach.split() for room, reach in LAB_REACH.items()}))
        arrows = {}
        for path in sources('lab'):
            text, path = path.read_text(), path.relative_to(PROJECT / 'lab').as_posix()
            self.assertEqual([], faults_of_lab(path, text))
            includes = {unit_of(match[2][4:]) for match in map(INCLUDE.match, text.split('\n'))
                        if match and match[2].startswith('lab/')}
            arrows.setdefault(unit_of(path), set()).update(includes - {unit_of(path)})
        self.assertGreater(len(arrows), 50)
        self.assertEqual([], circle_in(arrows))
        self.assertEqual(['b', 'c'], circle_in({'a': ['b'], 'b': ['c'], 'c': ['b']}))
        self.assertEqual(1, len(faults_of_lab('session/boot.cpp', '#include "lab/story/story.h"')))
        self.assertEqual(1, len(faults_of_lab('attic/new.cpp', '#include "lab/io/text.h"')))

    def test_no_source_file_is_too_long_to_be_read(self):
        for path in sources('src') + sources('lab'):
            self.assertLess(path.read_text().count('\n'), 400, path)


class LogLines(unittest.TestCase):
    """A line that the daemon can write and docs/log.md does not explain, or the other way round."""

    def test_each_is_explained(self):
        call = re.compile(r'\bLOG_(?:INFO|ERROR|ERROR_BARE)\(\s*((?:"(?:[^"\\]|\\.)*"\s*)+)')
        written = set()
        for path in (PROJECT / 'src').rglob('*.cpp'):
            for format in call.findall(path.read_text()):
                text = ''.join(re.findall(r'"((?:[^"\\]|\\.)*)"', format))
                written.add(text.replace('\\n', '').replace('\\"', '"').rstrip(' -'))
        rows = re.findall(r'^\| <a id="[^"]+"></a>`[^`]+` \| `([^`]+)`', (PROJECT / 'docs/log.md').read_text(), re.MULTILINE)
        self.assertGreater(len(written), 80)
        self.assertEqual(sorted(written), sorted(rows))


if __name__ == '__main__':
    unittest.main()

#!/usr/bin/env python3
"""check_policy.py VORN: compiles the policy and holds it against what the daemon VORN does.

The files, nodes and properties come out of the binary itself, so that a path added to the daemon and forgotten
in the policy fails here. The rights are compared whole: one too few fails, and so does one too many. Last, each
of a list of wider policies must be refused by the limits. Needs m4, checkpolicy and setfiles."""

import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
POLICY = HERE.parent / 'sepolicy'
GUIDE = HERE.parents[2] / 'docs' / 'integration.md'

# Where the links below /sys/class lead on the board that genfs_contexts describes.
LINKS = [
    ('/sys/class/power_supply/battery/device/', '/sys/devices/platform/battery/'),
    ('/sys/class/power_supply/battery/', '/sys/devices/platform/battery/power_supply/battery/'),
    ('/sys/class/thermal/', '/sys/devices/virtual/thermal/'),
]

# What a file is used for, by where it lies, and the directories passed on the way to it.
FILE_RIGHTS = {
    '/sys/': {'open', 'read'},
    '/data/vendor/vorn/batt_': {'getattr', 'open', 'read'},
    '/data/vendor/vorn/mock_': {'create', 'getattr', 'open', 'read'},
    '/mnt/vendor/nvcfg/vorn/': {'create', 'getattr', 'open', 'read', 'write'},
}
# The files of the former layout, whose names are put together when they are looked for.
FORMER_FILES = ('vorn_data_file', 'file', {'getattr', 'open', 'read'})
DATA_WAY = [('system_data_root_file', 'dir', {'search'}), ('vendor_data_file', 'dir', {'search'}),
            ('vorn_data_file', 'dir', {'add_name', 'search', 'write'})]
WAY = {
    '/sys/': [('sysfs', 'dir', {'search'}), ('sysfs', 'lnk_file', {'read'})],
    '/data/vendor/vorn/batt_': DATA_WAY,
    '/data/vendor/vorn/mock_': DATA_WAY,
    '/mnt/vendor/nvcfg/vorn/': [('tmpfs', 'dir', {'search'}), ('mnt_vendor_file', 'dir', {'search'}),
                                ('vorn_nvcfg_file', 'dir', {'add_name', 'search', 'write'})],
}
READ_PROPERTIES = {'persist.vendor.vorn.toc', 'persist.vendor.vorn.batt_stress',
                   'persist.vendor.vorn.precharge_disable_charging.enabled'}
PLATFORM_PROPERTIES = {'sys.powerctl': 'powerctl_prop'}
STARTING = [('vorn_exec', 'file', {'entrypoint', 'execute', 'getattr', 'map', 'open', 'read'}),
            ('property_socket', 'sock_file', {'write'}), ('init', 'unix_stream_socket', {'connectto'})]

WIDER = [
    'allow vorn self:capability wake_alarm;',
    'allow vorn self:capability2 block_suspend;',
    'allow vorn self:process ptrace;',
    'allow vorn sysfs:file { open read };',
    'allow vorn vorn_battery_node:file write;',
    'allow vorn vorn_data_file:file write;',
    'allow vorn vorn_boot_file:file create;',
    'allow vorn vorn_mock_file:file write;',
    'allow hal_health_default vorn_mock_file:file write;',
    'allow hal_health_default vorn_data_file:dir add_name;',
    'allow vorn vorn_nvcfg_file:file unlink;',
    'allow vorn vorn_nvcfg_file:file execute;',
    'allow vorn vendor_data_file:dir { add_name write };',
    'allow vorn vendor_data_file:file { open read };',
    'allow vorn device:chr_file { open read };',
    'allow vorn self:netlink_kobject_uevent_socket create;',
    'allow vorn default_prop:property_service set;',
    'allow hal_health_default vorn_nvcfg_file:file read;',
]


def fail(text):
    sys.exit(f'check_policy: {text}')


def compile_policy(folder, addition='', as_cil=False):
    """The compiled policy's path, or None when the compiler refuses it."""
    (folder / 'addition.te').write_text(addition + '\n')
    parts = [HERE / 'macros.m4', HERE / 'base.te', POLICY / 'vorn.te', folder / 'addition.te',
             HERE / 'limits.te', HERE / 'tail.te', POLICY / 'genfs_contexts']
    source = folder / 'policy.conf'
    source.write_bytes(subprocess.run(['m4', '-s', *parts], check=True, stdout=subprocess.PIPE).stdout)
    output = folder / ('policy.cil' if as_cil else 'policy')
    command = ['checkpolicy', '-M', *(['-C'] if as_cil else ['-c', '30']), '-o', output, source]
    run = subprocess.run(command, capture_output=True, text=True)
    if run.returncode != 0 and not addition:
        fail(f'the policy does not compile:\n{run.stderr}')
    return output if run.returncode == 0 else None


def granted(cil):
    """What the compiled policy gives the daemon: (type, class) -> rights."""
    rights = {}
    for kind, class_name, names in re.findall(r'\(allow vorn (\w+) \((\w+) \(([\w ]+)\)\)\)', cil):
        rights.setdefault((kind, class_name), set()).update(names.split())
    return rights


def contexts(path):
    """(pattern, type) of each line of a contexts file."""
    lines = (line.split() for line in path.read_text().splitlines() if line and not line.startswith('#'))
    return [(words[-2] if words[0] == 'genfscon' else words[0],
             next(word for word in words if word.startswith('u:object_r:')).split(':')[2]) for words in lines]


def label(path):
    if not path.startswith('/sys/'):
        lines = contexts(POLICY / 'file_contexts')
        # A line for this very path wins over a pattern.
        found = [kind for name, kind in lines if name == path] or [
            kind for pattern, kind in lines if re.fullmatch(pattern, path)]
    else:
        for link, target in LINKS:
            if path.startswith(link):
                path = target + path[len(link):]
                break
        found = [kind for name, kind in contexts(POLICY / 'genfs_contexts') if '/sys' + name == path]
    if len(found) != 1:
        fail(f'{path} has {len(found)} labels')
    return found[0]


def needed(paths, properties):
    """What the daemon does, in the same form as granted()."""
    rights = {}

    def add(kind, class_name, names):
        rights.setdefault((kind, class_name), set()).update(names)

    for right in [*STARTING, FORMER_FILES]:
        add(*right)
    for path in paths:
        root = next((root for root in FILE_RIGHTS if path.startswith(root)), None)
        if root is None:
            fail(f'{path} lies in no directory that the policy knows')
        for right in WAY[root]:
            add(*right)
        add(label(path), 'file', FILE_RIGHTS[root])
    types = dict(contexts(POLICY / 'property_contexts')) | PLATFORM_PROPERTIES
    for name in properties:
        if name not in types:
            fail(f'property {name} has no label')
        add(types[name], 'property_service', {'set'})
        if name in READ_PROPERTIES:
            add(types[name], 'file', {'getattr', 'map', 'open', 'read'})
    for name in types.keys() - set(properties):
        fail(f'property {name} has a label, and the daemon does not know it')
    return rights


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    texts = {text.decode() for text in re.findall(rb'[\x20-\x7e]{4,}(?=\0)', pathlib.Path(sys.argv[1]).read_bytes())}
    paths = sorted(text for text in texts if re.match(r'/(sys|data|mnt)/.*[^/]$', text))
    properties = sorted(text for text in texts if re.fullmatch(r'((persist\.)?vendor|sys)\.[\w.]+', text))
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        binary = compile_policy(folder)
        subprocess.run(['setfiles', '-c', binary, POLICY / 'file_contexts'], check=True)
        have = granted(compile_policy(folder, as_cil=True).read_text())
        want = needed(paths, properties)
        for key in sorted(have.keys() | want.keys()):
            if have.get(key, set()) != want.get(key, set()):
                fail(f'{key[0]}:{key[1]}: the policy grants {sorted(have.get(key, []))}, '
                     f'the daemon needs {sorted(want.get(key, []))}')
        guide = GUIDE.read_text()
        for name in properties + [pathlib.PurePath(path).name for path in paths if path.startswith('/sys/')]:
            if name not in guide:
                fail(f'{GUIDE.name} does not say what {name} is')
        for line in WIDER:
            if compile_policy(folder, line) is not None:
                fail(f'the limits let this pass: {line}')
    print(f'policy: {sum(map(len, have.values()))} rights on {len(have)} kinds of object for {len(paths)} files and '
          f'{len(properties)} properties, none too few, none too many; {len(WIDER)} wider policies refused')


main()

"""A phone as an emulated machine: the static daemon on a Debian kernel, nodes on tmpfs, state on ext4 on a disk whose
write cache forgets. Each boot ends in a power cut.

The machine's clock counts its instructions and skips its sleeps, so an hour of the daemon takes seconds, and the
kernel's own times (a dirty page goes to the disk after 30 s, the journal after 5) pass at the same pace."""

import pathlib
import re
import shutil
import signal
import struct
import subprocess
import threading

HERE = pathlib.Path(__file__).resolve().parent
EMULATORS = {  # and their consoles
    'amd64': (['qemu-system-x86_64', '-M', 'q35', '-cpu', 'max'], 'ttyS0'),
    'arm64': (['qemu-system-aarch64', '-M', 'virt', '-cpu', 'cortex-a72'], 'ttyAMA0'),
}
MODULES = ['virtio_ring', 'virtio', 'virtio_pci_legacy_dev', 'virtio_pci_modern_dev', 'virtio_pci', 'virtio_blk']
ORDINARY = (HERE.parent / 'support/ordinary_device.def').read_text()
NODES = dict(re.findall(r'^VORN_NODE\("/sys/(.+)", "(.+)"\)$', ORDINARY, re.M))
NODES['class/power_supply/battery/voltage_now'] = '3900000'  # and on from there in init.sh
DISK_BYTES = 16 << 20
PAGE = 4096  # a flash page, which is there or not; a block of the file system
CACHED = struct.Struct('<QI')  # as disk.py writes it
BOOT_LIMIT_S = 600  # of processor time, so that a busy host may take as long as it needs


class Machine:
    def __init__(self, vorn, aside, processor, earlier, directory):
        """`aside` holds the unpacked kernel and busybox, `earlier` the state files of the earlier layout."""
        emulator, self._console = EMULATORS[processor]
        self._disk = directory / 'disk'
        self._make_disk(directory / 'files')
        self._make_initramfs(vorn, aside, earlier, directory / 'initramfs')
        self._command = [*emulator, '-m', '128', '-nographic', '-nodefaults', '-no-reboot', '-serial', 'stdio',
                         '-icount', 'shift=1,sleep=off', '-initrd', directory / 'initramfs.gz',
                         '-kernel', next(aside.glob('boot/vmlinuz*'))]

    def _make_disk(self, files):
        for each in 'mnt/vendor/nvcfg/vorn', 'data/vendor/vorn', 'var/lib':
            (files / each).mkdir(parents=True)
        with self._disk.open('wb') as image:
            image.truncate(DISK_BYTES)
        subprocess.run(['/sbin/mke2fs', '-q', '-t', 'ext4', '-b', str(PAGE), '-d', files, self._disk], check=True)

    @staticmethod
    def _make_initramfs(vorn, aside, earlier, root):
        def put(path, content):
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            (root / path).write_bytes(content)

        for each in 'dev', 'proc', 'sys', 'tmp', 'disk', 'mnt', 'data', 'var', 'run':
            (root / each).mkdir(parents=True)
        put('bin/busybox', next(aside.glob('**/bin/busybox')).read_bytes())
        put('bin/vorn', vorn.read_bytes())
        put('init', (HERE / 'init.sh').read_bytes())
        for program in 'bin/busybox', 'bin/vorn', 'init':
            (root / program).chmod(0o755)
        for module in MODULES:
            put(f'lib/{module}.ko', next(aside.glob(f'lib/modules/*/kernel/drivers/*/{module}.ko')).read_bytes())
        for path, text in NODES.items():
            put(f'nodes/{path}', f'{text}\n'.encode())
        for name, content in earlier.items():
            put(f'earlier/{name}', content)
        pack = f'find . | busybox cpio -o -H newc 2>/dev/null | gzip -1 >{root}.gz'
        subprocess.run(['sh', '-c', pack], cwd=root, check=True)
        shutil.rmtree(root)

    def boot(self, dies_at, **words):
        """Boots with `words` on the kernel's command line; the power goes at write `dies_at`, or when the machine asks
        for it. Returns the console's lines."""
        server = self._serve(dies_at)
        line = f'console={self._console} quiet panic=-1 ' + ' '.join(f'{name}={text}' for name, text in words.items())
        drive = f'file=nbd:unix:{self._disk}.socket,format=raw,if=virtio'
        machine = subprocess.Popen(['prlimit', f'--cpu={BOOT_LIMIT_S}:{BOOT_LIMIT_S + 9}', *self._command, '-append', line, '-drive', drive],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True, errors='replace')
        # The disk goes first, then the machine, which could still ask it to flush.
        watch = threading.Thread(target=lambda: (server.wait(), machine.kill()))
        watch.start()
        lines = []
        for line in machine.stdout:
            lines.append(line.strip())
            if line.startswith('cut '):
                server.kill()
        server.kill()
        watch.join()
        if machine.wait() == -signal.SIGXCPU:
            lines.append('trouble: the machine hangs')
        return lines

    def _serve(self, dies_at):
        socket = pathlib.Path(f'{self._disk}.socket')
        socket.unlink(missing_ok=True)
        server = subprocess.Popen(['nbdkit', '-f', '-U', socket, 'python', HERE / 'disk.py', f'image={self._disk}',
                                   f'cache={self._disk}.cache', f'dies_at={dies_at}'])
        while not socket.exists():
            if server.poll() is not None:
                raise SystemExit('FAIL: nbdkit does not start')
        return server

    def lose_cache(self, luck, share):
        """Of what the disk had in its cache when the power went, each page reaches it with probability `share`."""
        cached = pathlib.Path(f'{self._disk}.cache').read_bytes()
        with self._disk.open('r+b') as image:
            while len(cached) >= CACHED.size:
                offset, length = CACHED.unpack_from(cached)
                data, cached = cached[CACHED.size:CACHED.size + length], cached[CACHED.size + length:]
                for at in range(0, len(data), PAGE):
                    if luck.random() < share:
                        image.seek(offset + at)
                        image.write(data[at:at + PAGE])

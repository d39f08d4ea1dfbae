"""An nbdkit plugin: a disk with a write cache that forgets when the power goes.

What is written lies in the cache, a file beside the image, until the machine asks for a flush. Whoever cuts the power
decides what of the cache reached the image (power_cuts.py). Parameters: image=FILE cache=FILE dies_at=N, the power
goes at the Nth write, which is still in the cache."""

import os
import signal
import struct

import nbdkit

API_VERSION = 2
HEADER = struct.Struct('<QI')  # offset and length, before the bytes written
SECTOR = 512

parameters = {}
pending = {}  # sector -> its bytes, not yet flushed
writes = 0


def thread_model():
    return nbdkit.THREAD_MODEL_SERIALIZE_ALL_REQUESTS


def config(key, value):
    parameters[key] = value


def open(readonly):
    global image, cache
    image = os.open(parameters['image'], os.O_RDWR)
    cache = os.open(parameters['cache'], os.O_RDWR | os.O_CREAT | os.O_TRUNC, 0o644)
    return 1


def get_size(_):
    return os.fstat(image).st_size


def block_size(_):
    return SECTOR, 4096, 1 << 25


def can_write(_):
    return True


def can_flush(_):
    return True


def can_fua(_):
    return nbdkit.FUA_NATIVE


def pread(_, buffer, offset, flags):
    found = bytearray(os.pread(image, len(buffer), offset))
    for at in range(0, len(buffer), SECTOR):
        found[at:at + SECTOR] = pending.get((offset + at) // SECTOR, found[at:at + SECTOR])
    buffer[:] = found


def pwrite(_, buffer, offset, flags):
    global writes
    data = bytes(buffer)
    os.write(cache, HEADER.pack(offset, len(data)) + data)
    for at in range(0, len(data), SECTOR):
        pending[(offset + at) // SECTOR] = data[at:at + SECTOR]
    writes += 1
    if writes == int(parameters['dies_at']):
        os.kill(os.getpid(), signal.SIGKILL)
    if flags & nbdkit.FLAG_FUA:
        flush(_, 0)


def flush(_, flags):
    for sector, data in pending.items():
        os.pwrite(image, data, sector * SECTOR)
    pending.clear()
    os.ftruncate(cache, 0)
    os.lseek(cache, 0, os.SEEK_SET)

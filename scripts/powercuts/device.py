"""A file system on a device whose writes are kept, and what power cuts would have left of it."""

import os
import shutil
import struct
import subprocess
import time

HEAD = struct.Struct("=QQQ")
WRITTEN, FLUSHED = 0, 1
PIECE = 4096


class Impossible(Exception):
    """This machine, or this user, cannot do that."""


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        raise Impossible(" ".join(command) + ": " + done.stderr.strip())
    return done.stdout.strip()


def mounted(image, mount):
    """Mounts a copy of the file system, which replays its journal."""
    run("mount", "-o", "loop", image, mount)


def unmount(mount):
    for _ in range(50):
        if subprocess.run(["umount", mount], capture_output=True).returncode == 0:
            return
        time.sleep(0.1)
    raise Impossible("cannot unmount " + mount)


class RecordingDevice:
    """An ext4 file system, mounted at `mount`. Its device is a file of nbdkit's, by way of FUSE and
    a loop device, so that each write and each flush of the system's arrives there."""

    def __init__(self, folder, size):
        self.initial = os.path.join(folder, "initial")
        self.log = os.path.join(folder, "log")
        self.mount = os.path.join(folder, "mnt")
        self._fuse = os.path.join(folder, "fuse")
        self._server = self._loop = None
        plugin = os.path.join(folder, "recording_device.so")
        source = os.path.join(os.path.dirname(os.path.abspath(__file__)), "recording_device.cpp")
        run("g++", "-std=c++20", "-O2", "-shared", "-fPIC", "-o", plugin, source)
        with open(self.initial, "wb") as file:
            file.truncate(size)
        # Everything is written now: what the system did in the background would be in the log.
        run("mkfs.ext4", "-q", "-F", "-E", "lazy_itable_init=0,lazy_journal_init=0", self.initial)
        os.mkdir(self.mount)
        os.mkdir(self._fuse)
        self._start(plugin)

    def _start(self, plugin):
        file = os.path.join(self._fuse, "device")
        self._server = subprocess.Popen(
            ["nbdfuse", file, "--command", "nbdkit", "-s", "--exit-with-parent", plugin,
             "image=" + self.initial, "log=" + self.log],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        for _ in range(100):
            if os.path.exists(file):
                break
            if self._server.poll() is not None:
                raise Impossible("nbdfuse: " + self._server.stderr.read().strip())
            time.sleep(0.05)
        self._loop = run("losetup", "--find", "--show", file)
        # Names are written down each second, so that they often come before unsynchronised bytes.
        run("mount", "-o", "commit=1", self._loop, self.mount)

    def position(self):
        return os.path.getsize(self.log) if os.path.exists(self.log) else 0

    def settle(self):
        os.sync()

    def close(self):
        if os.path.ismount(self.mount):
            unmount(self.mount)
        if self._loop:
            subprocess.run(["losetup", "-d", self._loop], capture_output=True)
        if os.path.ismount(self._fuse):
            time.sleep(0.2)
            unmount(self._fuse)
        if self._server:
            self._server.wait(timeout=30)


class Recording:
    """The log of a device, and the device as it was at any position of it."""

    def __init__(self, initial, log):
        self._initial = initial
        with open(log, "rb") as file:
            self._log = file.read()
        self.records = []  # kind, position of the record's end, offset on the device, length
        at = 0
        while at < len(self._log):
            kind, offset, length = HEAD.unpack_from(self._log, at)
            at += HEAD.size + length
            self.records.append((kind, at, offset, length))

    def flushes(self, begin, end):
        return [at for kind, at, _, _ in self.records if kind == FLUSHED and begin < at <= end]

    def cuts(self, begin, end):
        """The positions between records, at which a cut is possible."""
        return [begin] + [at for _, at, _, _ in self.records if begin < at <= end]

    def write_device(self, path, cut, lot):
        """The device after a cut: it has what was flushed, and of what came after any part, in
        pieces of 4 KiB. A third of the cuts lose all of that, a third nothing."""
        shutil.copyfile(self._initial, path)
        before = [record for record in self.records if record[1] <= cut]
        flushed = max((i for i, record in enumerate(before) if record[0] == FLUSHED), default=-1)
        kept = lot.choice((0.0, 0.5, 1.0))
        with open(path, "r+b") as file:
            for i, (kind, end, offset, length) in enumerate(before):
                if kind != WRITTEN:
                    continue
                for at in range(0, length, PIECE):
                    if i < flushed or lot.random() < kept:
                        begin = end - length + at
                        file.seek(offset + at)
                        file.write(self._log[begin:min(begin + PIECE, end)])

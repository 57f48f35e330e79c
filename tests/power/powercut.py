#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Cuts the power of a small file system while a program writes to it, and looks at what is left.

    sudo tests/power/powercut.py save build/dev/bin/power_save_writer --cuts 60
    sudo tests/power/powercut.py library build/dev/bin/crash_writer --cuts 60

The file system is ext4 in an image file. A cut is its shutdown request without flushing the journal: what had not
reached the image by then is gone, as after a power cut of a disk that keeps what it acknowledged. It does not show a
disk that loses acknowledged writes or tears a sector.

Needs root, loop devices and mkfs.ext4. Every kind of check is a subcommand; a new one takes a Disk, starts its writer
with run_until_cut and examines the folder after disk.restore().
"""

import argparse
import fcntl
import os
import random
import select
import struct
import subprocess
import sys
import tempfile
import time

EXT4_IOC_SHUTDOWN = 0x8004587D  # _IOR('X', 125, __u32)
NO_LOG_FLUSH = 2


class Disk:
    """An ext4 file system in an image file, mounted while the object is entered."""

    def __init__(self, megabytes=64):
        self.folder = tempfile.TemporaryDirectory(prefix="penmark-power-")
        self.image = os.path.join(self.folder.name, "image")
        self.path = os.path.join(self.folder.name, "disk")
        self.megabytes = megabytes

    def __enter__(self):
        os.mkdir(self.path)
        with open(self.image, "wb") as image:
            image.truncate(self.megabytes << 20)
        subprocess.run(["mkfs.ext4", "-q", self.image], check=True)
        self._mount()
        return self

    def __exit__(self, *failure):
        subprocess.run(["umount", "-l", self.path], check=False)
        self.folder.cleanup()

    def _mount(self):
        subprocess.run(["mount", "-o", "loop", self.image, self.path], check=True)

    def cut(self):
        """From here on nothing reaches the image, and every write fails."""
        mount = os.open(self.path, os.O_RDONLY)
        try:
            fcntl.ioctl(mount, EXT4_IOC_SHUTDOWN, struct.pack("I", NO_LOG_FLUSH))
        finally:
            os.close(mount)

    def restore(self):
        """The power is back: mounts again, which replays the journal."""
        for _ in range(100):
            if subprocess.run(["umount", self.path], stderr=subprocess.DEVNULL, check=False).returncode == 0:
                break
            time.sleep(0.02)
        else:
            raise RuntimeError("cannot unmount " + self.path)
        self._mount()


def run_until_cut(disk, command, seconds):
    """Starts a writer, cuts the power that long after its first line, and returns the lines that it printed, as two
    lists: those read before the cut, which acknowledge what must be on the disk, and the few others.
    """
    writer = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    out = writer.stdout.fileno()
    before = b""
    end = time.monotonic() + 30
    try:
        while time.monotonic() < end:
            if not select.select([out], [], [], max(0.0, end - time.monotonic()))[0]:
                continue
            piece = os.read(out, 65536)
            if not piece:
                raise RuntimeError("the writer ended before the cut")
            if not before:
                end = time.monotonic() + seconds
            before += piece
        disk.cut()
    finally:
        writer.kill()
        after = writer.communicate()[0]
    known = before.count(b"\n")
    lines = (before + after).decode().split("\n")[:-1]
    return lines[:known], lines[known:]


def generation_of(content):
    """The generation whose text this is, whole; otherwise None. See SaveWriter.cpp."""
    first = content.split(b"\n", 1)[0]
    if not first.startswith(b"generation "):
        return None
    number = int(first.split()[1])
    return number if content == (first + b"\n") * (1 + number * 37 % 4000) else None


def read(path):
    with open(path, "rb") as file:
        return file.read()


def check_save(folder, kind, acknowledged, begun):
    """What is wrong with the folder after a cut; an empty list if nothing is."""
    problems = []
    if kind == "new":
        for name in os.listdir(folder):
            whole = generation_of(read(os.path.join(folder, name))) is not None
            if not whole and not name.startswith(".penmark-write-"):
                problems.append(f"{name} is torn")
        for number in range(1, acknowledged + 1):
            if not os.path.exists(os.path.join(folder, f"file.{number}")):
                problems.append(f"file.{number} was acknowledged and is missing")
        return problems
    held = generation_of(read(os.path.join(folder, "file")))
    beside = [generation_of(read(os.path.join(folder, name))) for name in os.listdir(folder) if name.startswith(".")]
    if kind == "hard-linked" and held is None:
        # Written in place: the old text, or the one after it, is whole beside it.
        if not any(number is not None and number >= acknowledged for number in beside):
            problems.append(f"the file is torn, and beside it are only {beside}")
    elif held is None:
        problems.append("the file is torn")
    elif not acknowledged <= held <= begun:
        problems.append(f"generation {acknowledged} was acknowledged, the file holds {held}")
    return problems


def save(options):
    failed = 0
    torn = 0
    leftovers = 0
    saves = 0
    for cut in range(options.cuts):
        kind = ("replaced", "new", "hard-linked")[cut % 3]
        with Disk() as disk:
            folder = os.path.join(disk.path, "folder")
            library = os.path.join(disk.path, "library")
            os.mkdir(folder)
            os.mkdir(library)
            file = os.path.join(folder, "file")
            if kind != "new":
                with open(file, "wb") as out:
                    out.write(b"generation 0\n")
            if kind == "hard-linked":
                os.link(file, os.path.join(disk.path, "other name"))
            os.sync()
            command = [os.path.abspath(options.writer), file, library] + (["new"] if kind == "new" else [])
            lines, later = run_until_cut(disk, command, random.uniform(0, options.seconds))
            disk.restore()
            acknowledged = len(lines)
            saves += acknowledged
            problems = check_save(folder, kind, acknowledged, acknowledged + len(later) + 1)
            leftovers += any(name.startswith(".") for name in os.listdir(folder))
            torn += kind == "hard-linked" and generation_of(read(file)) is None
            failed += bool(problems)
            for problem in problems:
                print(f"cut {cut} ({kind}, {acknowledged} saves acknowledged): {problem}")
    print(f"{options.cuts} cuts after {saves} saves: {failed} failed; {leftovers} left a hidden file; "
          f"{torn} hard-linked files torn with their text whole beside them")
    return verdict(failed, saves)


def verdict(failed, acknowledged):
    if acknowledged == 0:
        print("Nothing was acknowledged before any cut, so nothing was examined: allow more --seconds.")
        return 1
    return 1 if failed else 0


def library(options):
    """Every revision that was reported as stored is in the library after a cut, and the library is sound."""
    failed = 0
    revisions = 0
    journals = 0
    for cut in range(options.cuts):
        with Disk(megabytes=256) as disk:
            folder = os.path.join(disk.path, "library")
            command = [os.path.abspath(options.writer), "write", folder, str(random.getrandbits(31))]
            lines, _ = run_until_cut(disk, command, random.uniform(0, options.seconds))
            disk.restore()
            revisions += len(lines)
            journals += os.path.exists(os.path.join(folder, "recovery.sqlite-journal"))
            check = subprocess.run([os.path.abspath(options.writer), "check", folder], input="\n".join(lines) + "\n",
                                   capture_output=True, text=True, check=False)
            if check.returncode != 0:
                failed += 1
                print(f"cut {cut} ({len(lines)} revisions reported): {check.stdout}{check.stderr}".rstrip())
    print(f"{options.cuts} cuts after {revisions} revisions: {failed} failed; {journals} left a journal to play back")
    return verdict(failed, revisions)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(required=True)
    command = commands.add_parser("save", help="saves of original files")
    command.add_argument("writer", help="the program power_save_writer")
    command.add_argument("--cuts", type=int, default=60)
    command.add_argument("--seconds", type=float, default=0.3, help="the longest time before a cut")
    command.set_defaults(run=save)
    command = commands.add_parser("library", help="revisions stored in a library")
    command.add_argument("writer", help="the program crash_writer")
    command.add_argument("--cuts", type=int, default=60)
    command.add_argument("--seconds", type=float, default=0.3, help="the longest time before a cut")
    command.set_defaults(run=library)
    options = parser.parse_args()
    if os.geteuid() != 0:
        sys.exit("powercut.py mounts file systems and needs root.")
    sys.exit(options.run(options))


if __name__ == "__main__":
    main()

# SPDX-License-Identifier: GPL-3.0-or-later
"""A screen of its own for measuring a program from outside: what is on it and when, keys, memory, processor time.

Works on Linux with the Debian packages xvfb, python3-xlib and python3-numpy; openbox is used as window manager if it is
there. Nothing of it needs the program's help, so that any two programs can be compared.

Times are seconds of time.monotonic(), memory is in KiB, places are pixels.
"""

import atexit
import contextlib
import ctypes
import mmap
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import zlib

try:
    import numpy
    import Xlib.display
    import Xlib.error
    import Xlib.ext.xtest
    import Xlib.X
    import Xlib.XK
except ImportError as missing:
    sys.exit(f"The Python module {missing.name} is missing. Install the packages python3-numpy and python3-xlib, and "
             "start this with /usr/bin/python3.")


class Failure(Exception):
    """Why there is nothing to measure, as a sentence for whoever started it."""


def fail_on_signals():
    """Lets everything be cleaned up when this is ended from outside."""
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda number, _: sys.exit(128 + number))


def adopt_orphans():
    """Processes whose parent has ended become ours, so that none of them stays behind."""
    PR_SET_CHILD_SUBREAPER = 36
    ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


class Screen:
    """An X server that nobody sees, whose picture lies in memory shared with this process."""

    def __init__(self, width=1280, height=800, window_manager=True):
        if not shutil.which("Xvfb"):
            raise Failure("Xvfb is missing. Install the package xvfb.")
        # Not on a disk, where writing the picture back would take part in what is measured.
        shared = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="screen-", dir=shared))
        self.processes = []
        self.connection = None
        atexit.register(self.close)
        read, write = os.pipe()
        self._start(["Xvfb", "-displayfd", str(write), "-screen", "0", f"{width}x{height}x24", "-fbdir",
                     str(self.folder), "-nolisten", "tcp", "-noreset"], pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as numbers:
            number = numbers.readline().strip()
        if not number:
            raise Failure("Xvfb did not start: " + self._log())
        self.display = ":" + number
        self.pixels = self._map()
        self.connection = Xlib.display.Display(self.display)
        self.root = self.connection.screen().root
        self.root.warp_pointer(width - 1, height - 1)  # away from where windows appear
        self.connection.sync()
        if window_manager:
            self._manage_windows()

    def close(self):
        if self.connection:
            with contextlib.suppress(Exception):
                self.connection.close()
            self.connection = None
        for process in reversed(self.processes):
            process.terminate()
            try:
                process.wait(timeout=5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self.processes = []
        shutil.rmtree(self.folder, ignore_errors=True)

    def _start(self, command, **options):
        home = self.folder / "home"
        home.mkdir(exist_ok=True)
        environment = {"PATH": os.environ.get("PATH", "/usr/bin"), "HOME": str(home), "LANG": "C.UTF-8",
                       "DISPLAY": getattr(self, "display", "")}
        with open(self.folder / "log", "ab") as log:
            self.processes.append(subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=log,
                                                   stderr=log, **options))

    def _log(self):
        return (self.folder / "log").read_text(errors="replace").strip() or "it said nothing"

    def _map(self):
        """The picture, as rows of 32-bit pixels that change under one's eyes."""
        with open(self.folder / "Xvfb_screen0", "rb") as file:
            memory = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        words = struct.unpack(">25I", memory[:100])  # the header of an X window dump
        header, version, width, height, bits, row, colours = (words[i] for i in (0, 1, 4, 5, 11, 12, 19))
        if version != 7 or bits != 32:
            raise Failure(f"Xvfb keeps its picture in an unknown form (version {version}, {bits} bits a pixel).")
        start = header + 12 * colours
        return numpy.frombuffer(memory, numpy.uint32, row // 4 * height, start).reshape(height, row // 4)[:, :width]

    def _manage_windows(self):
        if not shutil.which("openbox"):
            print("openbox is not installed: measuring without a window manager.", file=sys.stderr)
            return
        self._start(["openbox", "--sm-disable"])
        ready = self.connection.intern_atom("_NET_SUPPORTING_WM_CHECK")
        end = time.monotonic() + 10
        while not self.root.get_full_property(ready, Xlib.X.AnyPropertyType):
            if time.monotonic() > end or self.processes[-1].poll() is not None:
                raise Failure("openbox did not start: " + self._log())
            time.sleep(0.02)
        time.sleep(0.3)  # it paints and grabs a little longer

    def windows(self):
        """(window, left, top, width, height) of all that are shown, the largest first."""
        listed = self.root.get_full_property(self.connection.intern_atom("_NET_CLIENT_LIST"), Xlib.X.AnyPropertyType)
        if listed:
            candidates = [self.connection.create_resource_object("window", number) for number in listed.value]
        else:
            candidates = self.root.query_tree().children
        found = []
        for window in candidates:
            try:
                if window.get_attributes().map_state != Xlib.X.IsViewable:
                    continue
                size = window.get_geometry()
                place = window.translate_coords(self.root, 0, 0)
                # What this answers is where the root's origin lies as seen from the window.
                found.append((window, -place.x, -place.y, size.width, size.height))
            except Xlib.error.XError:
                continue  # gone meanwhile
        return sorted(found, key=lambda each: each[3] * each[4], reverse=True)

    def window_box(self):
        """(rows, columns) of the largest window, as slices of `pixels`."""
        found = self.windows()
        if not found:
            raise Failure("The program shows no window.")
        _, left, top, width, height = found[0]
        return slice(max(top, 0), max(top + height, 0)), slice(max(left, 0), max(left + width, 0))

    def focus(self):
        """Gives the largest window the keyboard, where no window manager has."""
        if len(self.processes) < 2:
            self.windows()[0][0].set_input_focus(Xlib.X.RevertToParent, Xlib.X.CurrentTime)
            self.connection.sync()

    def key(self, name, down):
        code = self.connection.keysym_to_keycode(Xlib.XK.string_to_keysym(name))
        if not code:
            raise Failure(f"The keyboard of the screen has no key {name}.")
        kind = Xlib.X.KeyPress if down else Xlib.X.KeyRelease
        Xlib.ext.xtest.fake_input(self.connection, kind, code)
        self.connection.flush()

    def stroke(self, *names):
        """Presses the keys in this order and releases them."""
        for name in names:
            self.key(name, True)
        for name in reversed(names):
            self.key(name, False)

    def save(self, path):
        write_png(path, self.pixels)


def write_png(path, pixels):
    red, green, blue = (pixels >> 16 & 255, pixels >> 8 & 255, pixels & 255)
    rows = numpy.zeros((pixels.shape[0], 1 + 3 * pixels.shape[1]), numpy.uint8)
    for number, colour in enumerate((red, green, blue)):
        rows[:, 1 + number::3] = colour
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n")
        for kind, content in ((b"IHDR", struct.pack(">IIBBBBB", pixels.shape[1], pixels.shape[0], 8, 2, 0, 0, 0)),
                              (b"IDAT", zlib.compress(rows.tobytes(), 6)), (b"IEND", b"")):
            file.write(struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content)))


class Home:
    """A home folder that nothing was ever written to. On the disk of `folder`, or of the temporary files."""

    def __init__(self, folder=None):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="home-", dir=folder))
        atexit.register(shutil.rmtree, self.path, ignore_errors=True)
        self.folders = {"XDG_CONFIG_HOME": ".config", "XDG_DATA_HOME": ".local/share", "XDG_CACHE_HOME": ".cache",
                        "XDG_STATE_HOME": ".local/state", "XDG_RUNTIME_DIR": "run"}
        for name in self.folders.values():
            (self.path / name).mkdir(mode=0o700, parents=True)

    def environment(self, display):
        foreign = {"WAYLAND_DISPLAY", "QT_IM_MODULE", "QT_STYLE_OVERRIDE", "PENMARK_DATA_ROOT", "DESKTOP_STARTUP_ID",
                   "XDG_ACTIVATION_TOKEN", "XDG_CURRENT_DESKTOP", "SESSION_MANAGER"}
        result = {name: value for name, value in os.environ.items() if name not in foreign}
        result.update({name: str(self.path / folder) for name, folder in self.folders.items()})
        # A bus that is not there answers at once; without an address one might be started for the purpose.
        bus = f"unix:path={self.path}/run/bus"
        result.update(HOME=str(self.path), DISPLAY=display, QT_QPA_PLATFORM="xcb", DBUS_SESSION_BUS_ADDRESS=bus)
        return result


class Program:
    """A running command with all that it starts. Use as a context: at its end nothing of it runs any more."""

    def __init__(self, command, environment):
        self.log = tempfile.TemporaryFile()
        self.started = time.monotonic()
        try:
            self.process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=self.log,
                                            stderr=self.log, start_new_session=True)
        except OSError as error:
            raise Failure(f"{command[0]}: {error.strerror}") from None
        atexit.register(self.end)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end()

    def check(self):
        """Raises Failure once the program has ended."""
        if self.process.poll() is not None:
            self.log.seek(0)
            said = self.log.read().decode(errors="replace").strip()
            status = self.process.returncode
            raise Failure(f"The program ended by itself with status {status}. It said: {said or 'nothing'}")

    def tree(self):
        """The process and its descendants."""
        found = [self.process.pid]
        for process in found:
            with contextlib.suppress(OSError):
                for thread in os.listdir(f"/proc/{process}/task"):
                    with contextlib.suppress(OSError), open(f"/proc/{process}/task/{thread}/children") as file:
                        found += map(int, file.read().split())
        return found

    def memory(self):
        """(Pss, Rss) of the tree in KiB."""
        sums = {"Pss:": 0, "Rss:": 0}
        for process in self.tree():
            with contextlib.suppress(OSError), open(f"/proc/{process}/smaps_rollup") as file:
                for line in file:
                    words = line.split()
                    if words[0] in sums:
                        sums[words[0]] += int(words[1])
        return sums["Pss:"], sums["Rss:"]

    def processor_time(self):
        """Seconds that the tree has computed, those of children that have ended included."""
        total = 0.0
        for process in self.tree():
            with contextlib.suppress(OSError):
                total += process_clock(process)
                with open(f"/proc/{process}/stat") as file:
                    ended = file.read().rpartition(")")[2].split()[13:15]
                total += sum(map(int, ended)) / os.sysconf("SC_CLK_TCK")
        return total

    def background_time(self):
        """Seconds that threads other than the process's first have computed, ended ones included."""
        process = self.process.pid
        with open(f"/proc/{process}/task/{process}/schedstat") as file:
            return process_clock(process) - int(file.read().split()[0]) / 1e9

    def end(self, patience=20):
        """Asks the program to end as a session's end would, and sees to it that it does."""
        atexit.unregister(self.end)
        rest = self.tree()[1:] if self.process.poll() is None else []
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(timeout=patience)
            except subprocess.TimeoutExpired:
                print(f"The program did not end within {patience} s after SIGTERM and was killed.", file=sys.stderr)
                rest += self.tree()[1:]
                self.process.kill()
                self.process.wait()
        for process in rest:
            with contextlib.suppress(OSError):
                if os.getsid(process) == self.process.pid:  # still the one that was seen, not a number used again
                    os.kill(process, signal.SIGKILL)
                    os.waitpid(process, 0)  # it is ours now
        self.log.close()


def process_clock(process):
    """Seconds that a process's threads have computed, in a resolution that /proc does not have."""
    return time.clock_gettime((~process << 3) | 2)


class Recording:
    """What was on a screen, each change as (time, processor time of the program, pixels)."""

    large = 400  # pixels; fewer are a caret that blinks

    def __init__(self, screen, program):
        self.screen = screen
        self.program = program
        self.before = screen.pixels.copy()
        self.frames = []
        self.memory = []  # (time, Pss, Rss)

    def until_quiet(self, quiet, patience=60, memory_every=None):
        """Records until nothing large has changed for `quiet` seconds since something first did."""
        last = self.before
        changed = None  # when something large last did
        next_memory = 0
        end = time.monotonic() + patience
        while True:
            now = time.monotonic()
            # A letter is higher than four rows: looking at each fourth finds it, and takes little of the processor.
            if not numpy.array_equal(self.screen.pixels[::4], last[::4]):
                picture = self.screen.pixels.copy()
                if numpy.count_nonzero(picture != last) > self.large:
                    changed = now
                last = picture
                self.frames.append((now, self.program.processor_time(), picture))
            elif changed and memory_every and now > max(changed + 0.5, next_memory):
                self.memory.append((now, *self.program.memory()))
                next_memory = now + memory_every
            if changed and now - changed > quiet:
                return
            if not self.frames or now - self.frames[-1][0] > 0.1:
                self.program.check()
            if now > end:
                raise Failure(f"Nothing was painted within {patience} s." if changed is None else
                              f"The picture did not come to rest within {patience} s.")
            time.sleep(0.001)

    def first_with_ink(self, share, still):
        """The first frame that shows this share of the last one's ink, and the first after which all do.

        Ink is what differs from the most frequent colour around it, in fields of 64 by 32 pixels, so that panels of
        another colour do not count. What changed in the last `still` seconds does not count either: it blinks.
        """
        rows, columns = self.screen.window_box()
        final = self.frames[-1][2][rows, columns]
        counted = ink(final)
        for moment, _, picture in self.frames:
            if moment > time.monotonic() - still:
                counted &= picture[rows, columns] == final
        total = numpy.count_nonzero(counted)
        if total < 50:
            raise Failure("There is next to nothing in the window.")
        first = lasting = None
        for frame in self.frames:
            there = numpy.count_nonzero((frame[2][rows, columns] == final) & counted) >= share * total
            lasting = (lasting or frame) if there else None
            first = first or lasting
        return first, lasting


def ink(picture, width=64, height=32):
    """Where pixels differ from the most frequent colour of their field."""
    result = numpy.zeros(picture.shape, bool)
    for top in range(0, picture.shape[0], height):
        for left in range(0, picture.shape[1], width):
            field = picture[top:top + height, left:left + width]
            colours, counts = numpy.unique(field, return_counts=True)
            result[top:top + height, left:left + width] = field != colours[counts.argmax()]
    return result

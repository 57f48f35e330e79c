#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Measures a program whose times are known: this file, which started with a folder is a window that paints in two
steps, has a caret that blinks, and answers keys after a while. It notes when it did what.

Exits with 77, for "skipped", where something to measure with is missing.
"""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

BENCH = pathlib.Path(__file__).resolve().parent.parent.parent / "bench"
HALF_DONE, DONE = 0.2, 0.5  # s after which half and all of the text is there
ANSWER = 0.03  # s from a key to its letter
BALLAST = 64  # MiB
WORKED_BY_CHILD = 0.3  # s of processor time


def started():
    """When this process was made, by the system's own notes, in seconds of time.monotonic() and to a hundredth."""
    ticks = int(pathlib.Path("/proc/self/stat").read_text().rpartition(")")[2].split()[19])
    since_boot = ticks / os.sysconf("SC_CLK_TCK")
    return since_boot - time.clock_gettime(time.CLOCK_BOOTTIME) + time.monotonic()


class Window:
    """What is measured. Rows of bars stand for text; the caret blinks in a line below them."""

    def __init__(self, notes, blink):
        self.blink = blink
        import Xlib.display
        from Xlib import X
        self.X = X
        self.notes = notes
        self.display = Xlib.display.Display()
        screen = self.display.screen()
        self.window = screen.root.create_window(100, 100, 800, 600, 0, screen.root_depth, background_pixel=0xffffff,
                                                event_mask=X.KeyPressMask | X.ExposureMask)
        self.window.set_wm_name("Measured")
        self.context = self.window.create_gc(foreground=0x202020)
        self.window.map()
        self.text = 0
        self.ballast = bytearray(os.urandom(1 << 20) * BALLAST)
        work = f"import time\nwhile time.process_time() < {WORKED_BY_CHILD}: pass"
        child = subprocess.Popen([sys.executable, "-c", work])
        threading.Thread(target=child.wait, daemon=True).start()

    def fill(self, colour, left, top, width, height):
        self.context.change(foreground=colour)
        self.window.fill_rectangle(self.context, left, top, width, height)

    def paint(self, rows):
        for row in rows:
            for word in range(12):
                self.fill(0x202020, 40 + 60 * word, 40 + 30 * row, 40, 12)

    def note(self, number):
        with open(self.notes, "a", encoding="utf-8") as file:
            file.write(f"{number}\n")

    def show_caret(self, on):
        self.fill(0x202020 if on else 0xffffff, 40 + 12 * self.text, 500, 2, 16)

    def run(self):
        begin = time.monotonic()
        steps = [(begin + HALF_DONE, range(7)), (begin + DONE, range(7, 14))]
        signal.signal(signal.SIGTERM, lambda *_: os._exit(0))
        blink, on = begin + 1, False
        answers = []
        while True:
            while self.display.pending_events():
                event = self.display.next_event()
                if event.type == self.X.KeyPress:
                    back = self.display.keycode_to_keysym(event.detail, 0) == 0xff08
                    answers.append((time.monotonic() + ANSWER, back))
            now = time.monotonic()
            if answers and now > answers[0][0]:
                self.key(answers.pop(0)[1])
            if steps and now > steps[0][0]:
                self.paint(steps.pop(0)[1])
                self.display.sync()
                if not steps:
                    self.note(1000 * (time.monotonic() - started()))
            if now > blink:
                on, blink = not on, now + self.blink
                self.show_caret(on)
                self.display.sync()
            time.sleep(0.001)

    def key(self, back):
        self.show_caret(False)
        self.text -= back
        self.fill(0xffffff if back else 0x204080, 40 + 12 * self.text, 500, 9, 16)
        self.text += not back
        self.show_caret(True)
        self.display.sync()


class MeasuringTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.notes = self.folder / "notes"
        self.before = self.left_behind()

    def tearDown(self):
        self.assertEqual(self.left_behind() - self.before, set())

    def left_behind(self):
        """Processes and folders of the measuring."""
        found = {str(path) for place in (self.folder, "/dev/shm") for path in pathlib.Path(place).glob("*-*")}
        for process in filter(str.isdigit, os.listdir("/proc")):
            try:
                if str(self.folder).encode() in pathlib.Path("/proc", process, "environ").read_bytes():
                    found.add(process)
            except OSError:
                pass
        return found

    def measure(self, script, *options, command=None, status=0):
        command = command or [sys.executable, __file__, str(self.notes)]
        environment = dict(os.environ, TMPDIR=str(self.folder))
        result = subprocess.run([sys.executable, BENCH / script, *options, "--", *command], env=environment,
                                capture_output=True, text=True, timeout=120)
        if "is missing. Install" in result.stderr:
            print("Skipped: " + result.stderr)
            os._exit(77)
        self.assertEqual(result.returncode, status, result.stdout + result.stderr)
        return result

    def test_finds_the_picture_the_memory_and_the_work(self):
        picture = self.folder / "picture.png"
        output = self.measure("startup.py", "-n", "2", "--screenshot", picture).stdout
        rows = [line for line in output.splitlines() if re.match(" *(new home|run)", line)]
        for row, noted in zip(rows, self.notes.read_text().split(), strict=True):
            with self.subTest(row):
                painted, pss, rss, _, _, worked, worked_later = map(float, row.split()[2:])
                self.assertAlmostEqual(painted, float(noted), delta=25)
                self.assertGreater(min(pss, rss), BALLAST)
                self.assertLess(pss, BALLAST + 60)
                self.assertGreater(worked_later, 1000 * WORKED_BY_CHILD)  # a child that has ended by then
                self.assertLess(worked, worked_later)
        self.assertEqual(picture.read_bytes()[:8], b"\x89PNG\r\n\x1a\n")

    def test_times_keys_and_not_the_caret(self):
        for options in ([], ["--no-window-manager"]):
            with self.subTest(options):
                # It blinks within the time of an answer.
                command = [sys.executable, __file__, self.notes, "hurried"]
                output = self.measure("keys.py", "-k", "25", *options, command=command).stdout
                _, count, median, most, _ = output.splitlines()[1].split()
                self.assertEqual(count, "25")
                self.assertGreater(float(median), 1000 * ANSWER)
                self.assertLess(float(median), 1000 * ANSWER + 15)
                self.assertLess(float(median), float(most) + 0.001)

    def test_says_what_is_wrong(self):
        cases = [("startup.py", ["sh", "-c", "echo no; exit 4"], "ended by itself with status 4. It said: no"),
                 ("keys.py", ["/does/not/exist"], "No such file"),
                 ("keys.py", [sys.executable, __file__, self.notes, "deaf"], "changed nothing in the line")]
        for script, command, sentence in cases:
            with self.subTest(sentence):
                self.assertIn(sentence, self.measure(script, command=command, status=1).stderr)


if __name__ == "__main__":
    if len(sys.argv) > 1 and not sys.argv[1].startswith("-") and "." not in sys.argv[1]:
        window = Window(sys.argv[1], 0.02 if "hurried" in sys.argv else 0.3)
        if "deaf" in sys.argv:
            window.key = lambda back: None
        window.run()
    unittest.main()

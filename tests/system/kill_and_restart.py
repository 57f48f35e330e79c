#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Types into Penmark on a screen of its own, ends it at random moments, and compares what the library holds with what
was typed and when.

After SIGKILL everything must be there that was typed more than 5 seconds before, or before a pause that had lasted for
1.5 seconds; after SIGTERM, everything. Whatever is there must be the beginning of what was typed, and texts of earlier
rounds must stay as they were. Needs Xvfb and xdotool.
"""

import argparse
import collections
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

LATEST_WHILE_TYPING = 5.0  # seconds after which a character must be stored, whatever is typed meanwhile
LATEST_IN_PAUSE = 1.5  # and once nothing more is typed
DELIVERY = 0.25  # that a key may take from the X server into the program
LETTERS = "abcdefghijklmnopqrstuvwxyz"

Keys = collections.namedtuple("Keys", "text begin end")  # sent in one go, and the times of that


class Lost(Exception):
    """A promise that was not kept."""


class Screen:
    """An X server that nobody sees."""

    def __init__(self, folder):
        read, write = os.pipe()
        self.log = open(folder / "screen.log", "wb")
        self.server = subprocess.Popen(["Xvfb", "-displayfd", str(write), "-screen", "0", "1280x800x24", "-nolisten", "tcp"],
                                       pass_fds=[write], stdout=self.log, stderr=self.log)
        os.close(write)
        with os.fdopen(read) as numbers:
            number = numbers.readline().strip()
        if not number:
            sys.exit("Xvfb did not start; see " + self.log.name)
        self.display = ":" + number

    def close(self):
        self.server.terminate()
        self.server.wait()
        self.log.close()

    def xdotool(self, *words):
        return subprocess.run(["xdotool", *words], env=dict(os.environ, DISPLAY=self.display), capture_output=True,
                              text=True)

    def focus_window(self, process, patience=30):
        """Waits for the program's window and gives it the keyboard, as a window manager would."""
        end = time.monotonic() + patience
        while time.monotonic() < end:
            windows = self.xdotool("search", "--onlyvisible", "--name", " - Penmark$").stdout.split()
            if windows:
                self.xdotool("windowfocus", "--sync", windows[-1])
                return
            if process.poll() is not None:
                raise Lost(f"The program ended by itself with status {process.returncode}.")
            time.sleep(0.05)
        raise Lost(f"No window within {patience} seconds.")


class Typist:
    """Types words in bursts, key by key and with pauses, until told to stop."""

    def __init__(self, screen, choose, marker):
        self.screen = screen
        self.choose = choose
        self.sent = []
        self.stopped = threading.Event()
        self.thread = threading.Thread(target=self.run, args=(marker,))

    def run(self, marker):
        self.send(marker + "\n")
        while not self.stopped.is_set():
            manner = self.choose.random()
            if manner < 0.4:  # a burst
                for _ in range(self.choose.randint(1, 6)):
                    self.send(self.words(self.choose.randint(5, 40)))
            elif manner < 0.8:  # key by key
                for key in self.words(self.choose.randint(5, 30)):
                    self.send(key)
                    if self.stopped.wait(self.choose.uniform(0.01, 0.3)):
                        return
            else:
                self.stopped.wait(self.choose.uniform(0.3, 4))

    def words(self, length):
        """Nothing that an editor might complete, indent or replace."""
        text = ""
        while len(text) < length:
            text += "".join(self.choose.choices(LETTERS, k=self.choose.randint(1, 9)))
            text += self.choose.choice("    \n")
        return text

    def send(self, text):
        if not self.stopped.is_set():
            # What is under way when the program ends may or may not arrive.
            begin = time.monotonic()
            self.sent.append(Keys(text, begin, float("inf")))
            commands = []
            for number, line in enumerate(text.split("\n")):
                commands += ["key", "Return"] if number > 0 else []
                commands += ["type", "--delay", "2", "--args", "1", line] if line else []
            result = self.screen.xdotool(*commands)
            if result.returncode != 0:
                raise RuntimeError("xdotool: " + result.stderr)
            self.sent[-1] = Keys(text, begin, time.monotonic())

    def text(self):
        return "".join(keys.text for keys in self.sent)

    def owed(self, end):
        """How many characters a library must hold after the program was killed at this time."""
        owed = length = 0
        for keys, following in zip(self.sent, self.sent[1:] + [None]):
            length += len(keys.text)
            pause_end = end if following is None else min(end, following.begin)
            if end - keys.end > LATEST_WHILE_TYPING + DELIVERY or pause_end - keys.end > LATEST_IN_PAUSE + DELIVERY:
                owed = length
        return owed

    def sent_before(self, end):
        return sum(len(keys.text) for keys in self.sent if end - keys.end > DELIVERY)


class Trial:
    def __init__(self, arguments, folder):
        self.arguments = arguments
        self.folder = folder
        self.library = folder / "library"
        self.choose = random.Random(arguments.seed)
        self.found = {}  # by document, what was found in its round
        self.screen = Screen(folder)
        self.environment = dict(os.environ, DISPLAY=self.screen.display, QT_QPA_PLATFORM="xcb", QT_IM_MODULE="none")
        self.environment.pop("WAYLAND_DISPLAY", None)
        for name in ("XDG_RUNTIME_DIR", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"):
            self.environment[name] = str(folder / name)
            (folder / name).mkdir(mode=0o700)

    def ctl(self, *words):
        result = subprocess.run([self.arguments.ctl, "--library", self.library, *words], env=self.environment,
                                capture_output=True)
        if result.returncode != 0:
            raise Lost(f"penmarkctl {' '.join(words)}: {result.stderr.decode()}{result.stdout.decode()}")
        return result.stdout.decode()

    def texts(self):
        if not (self.library / "recovery.sqlite").exists():
            return {}
        listed = [json.loads(line)["id"] for line in self.ctl("documents", "--json", "--all").splitlines()]
        return {document: self.ctl("cat", document) for document in listed}

    def round(self, number):
        marker = f"round{number:04d}"
        with open(self.folder / "program.log", "ab") as log:
            program = subprocess.Popen([self.arguments.program, "--library", self.library, "--no-restore", "--new-draft"],
                                       env=self.environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        typist = Typist(self.screen, random.Random(self.choose.random()), marker)
        try:
            self.screen.focus_window(program)
            typist.thread.start()
            time.sleep(self.choose.uniform(0.2, self.arguments.seconds))
            if program.poll() is not None:
                raise Lost(f"The program ended by itself with status {program.returncode}.")
            end = time.monotonic()
            program.send_signal(self.arguments.signal)
            status = program.wait(timeout=30)
        finally:
            typist.stopped.set()
            if typist.thread.is_alive():
                typist.thread.join()
            if program.poll() is None:
                program.kill()
                program.wait()
        if self.arguments.signal == signal.SIGTERM and status != 0:
            raise Lost(f"SIGTERM ended the program with status {status}.")
        return self.compare(marker, typist, end)

    def compare(self, marker, typist, end):
        if self.ctl("verify") != "ok\n":
            raise Lost("The library is damaged.")
        texts = self.texts()
        for document, text in self.found.items():
            if texts.get(document) != text:
                raise Lost(f"Document {document} of an earlier round is no longer as it was.")
        typed = typist.text()
        owed = typist.sent_before(end) if self.arguments.signal == signal.SIGTERM else typist.owed(end)
        mine = {document: text for document, text in texts.items() if document not in self.found and text}
        if len(mine) > 1:
            raise Lost("One draft became several: " + ", ".join(mine))
        stored = next(iter(mine.values()), "")
        if not typed.startswith(stored):
            at = len(os.path.commonprefix([typed, stored]))
            raise Lost(f"The library holds what was not typed, from character {at} on: "
                       f"{stored[at:at + 60]!r} instead of {typed[at:at + 60]!r}")
        if len(stored) < owed:
            raise Lost(f"{owed - len(stored)} characters are missing: of {len(typed)} typed, {owed} must be there, and "
                       f"{len(stored)} are.")
        self.found.update(mine)
        return f"{marker}: {len(typed)} typed, {owed} owed, {len(stored)} stored"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("--ctl", type=pathlib.Path, help="penmarkctl; the one beside the program unless given")
    parser.add_argument("--rounds", type=int, default=10, metavar="N")
    parser.add_argument("--seconds", type=float, default=12, help="the longest that a round types (default 12)")
    parser.add_argument("--signal", choices=["KILL", "TERM"], default="KILL")
    parser.add_argument("--seed", type=int, help="to type and end at the same moments again")
    parser.add_argument("--keep", action="store_true", help="leave the folder with library and logs in any case")
    arguments = parser.parse_args()
    arguments.program = arguments.program.resolve()
    arguments.ctl = (arguments.ctl or arguments.program.with_name("penmarkctl")).resolve()
    arguments.signal = signal.Signals["SIG" + arguments.signal]
    if arguments.seed is None:
        arguments.seed = random.randrange(2**32)
    print(f"seed {arguments.seed}", flush=True)

    folder = pathlib.Path(tempfile.mkdtemp(prefix="penmark-kill-"))
    trial = Trial(arguments, folder)
    failed = True
    try:
        for number in range(arguments.rounds):
            print(trial.round(number), flush=True)
        failed = False
    except Lost as problem:
        print(f"FAILED in round {number}: {problem}")
    finally:
        trial.screen.close()
        if failed or arguments.keep:
            print(f"Library and logs are in {folder}")
        else:
            shutil.rmtree(folder)
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()

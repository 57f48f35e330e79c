#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Measures how long it takes from a key press to changed pixels in the line that is typed in.

Starts the command on an X server and in a home folder of its own, waits until it has come to rest, finds the caret by
its blinking, and types: letters up to a handful, then as many Backspaces, so that the caret stays in its line. What
changes in no more columns than the caret has does not count as an answer.

    --at-end         types in a new line at the end of the text, not where the caret is at first
    --during-store   types in such a rhythm that a text is stored while keys are pressed: a pause of 1.4 s, after which
                     edits are stored, then 6 s without one, in which they are stored after 4.7 s. Presses are also
                     listed apart in whose time threads other than the window's computed for at least 1 ms.

Needs the packages xvfb, python3-xlib and python3-numpy, and uses openbox if it is there.
"""

import argparse
import random
import sys
import time

import numpy

import screen as screens

LETTERS = "mwnhkuaoed"  # wide enough to be told from a caret
AT_ONCE = 20  # letters before they are taken back
REACH = 400  # pixels to the right of the caret that are watched
PATIENCE = 5  # s, for an answer
BUSY = 0.001  # s of other threads
EXTRA_COLUMNS = 3  # beyond the caret's that an answer changes


class Line:
    """The line with the caret, as rows and columns of the screen."""

    def __init__(self, screen, top, bottom, left, width):
        self.caret_width = width
        self.box = slice(top, bottom), slice(max(left - 4, 0), min(left + REACH, screen.pixels.shape[1]))
        self.pixels = screen.pixels[self.box]

    def answered(self, before):
        columns = numpy.count_nonzero((self.pixels != before).any(axis=0))
        return columns > self.caret_width + EXTRA_COLUMNS


def find_caret(screen, program, patience=10):
    """The line of the one thing in the window that blinks: high, narrow, and gone and back at least twice."""
    rows, columns = screen.window_box()
    window = screen.pixels[rows, columns]
    changes = []
    last = window.copy()
    end = time.monotonic() + patience
    while time.monotonic() < end:
        time.sleep(0.02)
        program.check()
        if numpy.array_equal(window, last):
            continue
        picture = window.copy()
        high, wide = numpy.nonzero(picture != last)
        last = picture
        changes.append((high.min(), high.max() + 1, wide.min(), wide.max() + 1))
        top, bottom, left, right = changes[-1]
        if changes.count(changes[-1]) >= 3 and right - left <= 4 and bottom - top >= 8:
            return Line(screen, rows.start + top, rows.start + bottom, columns.start + left, right - left)
    raise screens.Failure("No caret blinks in the window. Does the program start with a text that has the focus?")


def rhythm(during_store, choose):
    """Pauses before presses, in seconds, without end."""
    while True:
        if during_store:
            yield 1.4 + choose.uniform(0, 0.05)
            end = time.monotonic() + 6
            while time.monotonic() < end:
                yield choose.uniform(0.02, 0.09)
        else:
            yield choose.uniform(0.05, 0.4)


def press(screen, program, line, key):
    """(ms until the line had changed, whether the program was busy besides)"""
    before = line.pixels.copy()
    computed = program.background_time()
    begin = time.monotonic()
    screen.key(key, True)
    while not line.answered(before):
        if time.monotonic() - begin > PATIENCE:
            program.check()
            raise screens.Failure(f"The key {key} changed nothing in the line within {PATIENCE} s.")
        time.sleep(0.0001)
    took = time.monotonic() - begin
    busy = program.background_time() - computed >= BUSY
    screen.key(key, False)
    return 1000 * took, busy


def type_keys(screen, program, line, arguments):
    choose = random.Random(arguments.seed)
    pauses = rhythm(arguments.during_store, choose)
    answers = []
    typed = 0
    taking_back = False
    while len(answers) < arguments.keys:
        time.sleep(next(pauses))
        taking_back = typed > 0 and (taking_back or typed == AT_ONCE)
        key = "BackSpace" if taking_back else choose.choice(LETTERS)
        answers.append(press(screen, program, line, key))
        typed += -1 if taking_back else 1
    return answers


def show(name, times):
    if times:
        median, most = numpy.percentile(times, (50, 95))
        print(f"{name:>28} {len(times):6} {median:10.2f} {most:10.2f} {max(times):10.2f}")
    else:
        print(f"{name:>28} {0:6}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter,
                                     usage="%(prog)s [options] -- COMMAND [ARGUMENT...]")
    parser.add_argument("-k", "--keys", type=int, default=200, help="how many presses (default 200)")
    parser.add_argument("--at-end", action="store_true")
    parser.add_argument("--during-store", action="store_true")
    parser.add_argument("--seed", type=int, default=1, help="of the random pauses and letters")
    parser.add_argument("--screenshot", metavar="PNG", help="keep the picture after the last key")
    parser.add_argument("--folder", metavar="DIR", help="make the home folder in this one, on its disk")
    parser.add_argument("--no-window-manager", action="store_true")
    parser.add_argument("command", nargs="+", metavar="COMMAND", help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.keys < 1:
        parser.error("at least one key")

    screens.fail_on_signals()
    screens.adopt_orphans()
    screen = screens.Screen(window_manager=not arguments.no_window_manager)
    environment = screens.Home(arguments.folder).environment(screen.display)
    with screens.Program(arguments.command, environment) as program:
        screens.Recording(screen, program).until_quiet(2)
        screen.focus()
        if arguments.at_end:
            screen.stroke("Control_L", "End")
            screen.stroke("Return")
            time.sleep(2)
        line = find_caret(screen, program)
        answers = type_keys(screen, program, line, arguments)
        if arguments.screenshot:
            screen.save(arguments.screenshot)
    print(f"{'ms from press to pixels':>28} {'keys':>6} {'median':>10} {'95 %':>10} {'longest':>10}")
    show("all", [took for took, _ in answers])
    if arguments.during_store:
        show("while other threads worked", [took for took, busy in answers if busy])
        if not any(busy for _, busy in answers):
            raise screens.Failure("No press fell into a store. Is the text large enough, and the number of keys?")


if __name__ == "__main__":
    try:
        main()
    except screens.Failure as failure:
        sys.exit(str(failure))
    except KeyboardInterrupt:
        sys.exit(130)

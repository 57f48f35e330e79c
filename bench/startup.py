#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Measures how long a program takes until its first window is painted, and the memory it takes then.

Starts an X server of its own and the command in a home folder of its own, which is new at the first run and kept for
the others. The time runs from just before the process is made to the first picture with 98 % of the last picture's ink,
that is, of the pixels that differ from what surrounds them. Memory is that of the program and its children; "cpu" is
the time they computed, until that picture and until 5 s later.

Needs the packages xvfb, python3-xlib and python3-numpy, and uses openbox if it is there.
"""

import argparse
import statistics
import sys
import time

import screen as screens

SHARE = 0.98  # of the ink
LATER = (1, 5)  # seconds after the picture at which memory is looked at


def measure(screen, command, environment):
    """One row of the table: ms, MiB and ms."""
    with screens.Program(command, environment) as program:
        recording = screens.Recording(screen, program)
        # Memory is looked at all along, since the picture that counts is known only when all is at rest.
        recording.until_quiet(LATER[-1] + 0.5, memory_every=0.2)
        (painted, computed, _), (rested, _, _) = recording.first_with_ink(SHARE, still=LATER[-1] - 1)
        row = [1000 * (painted - program.started)]
        for later in LATER:
            _, pss, rss = min(recording.memory, key=lambda sample: abs(sample[0] - painted - later))
            row += [pss / 1024, rss / 1024]
        row += [1000 * computed, 1000 * program.processor_time()]
        if rested > painted:
            print(f"The picture below was lost again, and there for good at {1000 * (rested - program.started):.1f} ms.")
        return row, recording.frames[-1][2]


def show(name, row):
    widths = (11, 9, 9, 9, 9, 11, 9)
    print(f"{name:>12}", *(f"{value:{width}.1f}" for value, width in zip(row, widths)), flush=True)


def wait_until_gone(screen, empty):
    """The next program must not find pixels of the last one."""
    end = time.monotonic() + 10
    while not (screen.pixels == empty).all():
        if time.monotonic() > end:
            raise screens.Failure("The program has ended and something of it is still on the screen.")
        time.sleep(0.05)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter,
                                     usage="%(prog)s [options] -- COMMAND [ARGUMENT...]")
    parser.add_argument("-n", "--runs", type=int, default=6, help="how often, the first time included (default 6)")
    parser.add_argument("--screenshot", metavar="PNG", help="keep the last picture of the last run")
    parser.add_argument("--folder", metavar="DIR", help="make the home folder in this one, on its disk")
    parser.add_argument("--no-window-manager", action="store_true")
    parser.add_argument("command", nargs="+", metavar="COMMAND", help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.runs < 1:
        parser.error("at least one run")

    screens.fail_on_signals()
    screens.adopt_orphans()
    screen = screens.Screen(window_manager=not arguments.no_window_manager)
    environment = screens.Home(arguments.folder).environment(screen.display)
    empty = screen.pixels.copy()
    print(f"{'':>12} {'painted ms':>11} {'Pss 1 s':>9} {'Rss 1 s':>9} {'Pss 5 s':>9} {'Rss 5 s':>9} "
          f"{'cpu then ms':>11} {'5 s later':>9}   (memory in MiB)")
    rows = []
    for number in range(arguments.runs):
        row, picture = measure(screen, arguments.command, environment)
        show("new home" if number == 0 else f"run {number + 1}", row)
        rows.append(row)
        wait_until_gone(screen, empty)
    if arguments.runs > 1:
        show(f"median 2-{arguments.runs}", [statistics.median(column) for column in zip(*rows[1:])])
    if arguments.screenshot:
        screens.write_png(arguments.screenshot, picture)


if __name__ == "__main__":
    try:
        main()
    except screens.Failure as failure:
        sys.exit(str(failure))
    except KeyboardInterrupt:
        sys.exit(130)

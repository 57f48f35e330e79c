#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Fills a library with documents to measure with.

    bench/make_library.py FOLDER COUNT

FOLDER becomes the library; one that has documents already gets more, and other ones with another --seed. The texts
are prose, notes and source from gen_corpus.py, of 200 bytes to 20 KB, most of them short, the same ones for the same
seed and count. They come in through `penmarkctl import`, so that what is measured is a library that the program wrote
itself; all of them are of the day on which this runs. 10,000 take about a minute on a quiet machine.
"""

import argparse
import math
import pathlib
import random
import subprocess
import sys
import tempfile
import time

import gen_corpus

KINDS = {"prose": ".txt", "markdown": ".md", "source": ".cpp"}
SMALLEST, LARGEST = 200, 20_000  # bytes
BATCH = 500


def texts(kind, choose):
    """One text after the other, each with a first line of its own to be called by."""
    parts = getattr(gen_corpus, kind + "_parts")(choose)
    while True:
        # Equally many between 200 and 400 bytes as between 10 and 20 KB.
        size = math.exp(choose.uniform(math.log(SMALLEST), math.log(LARGEST)))
        text = ""
        while len(text) < size:
            text += next(parts)
        yield text[:int(size)] + "\n"


def write_files(folder, first, count, sources, choose):
    for number in range(first, first + count):
        kind = choose.choices(list(KINDS), (5, 3, 2))[0]
        words = f"{choose.choice(gen_corpus.ADJ)} {choose.choice(gen_corpus.NOUNS)}"
        (folder / f"{number:06} {words}{KINDS[kind]}").write_text(next(sources[kind]), encoding="utf-8")


def main():
    beside = pathlib.Path(__file__).resolve().parent.parent / "build/release/bin/penmarkctl"
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("count", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--ctl", type=pathlib.Path, default=beside, help="penmarkctl (build/release/bin/penmarkctl)")
    arguments = parser.parse_args()
    if not arguments.ctl.exists():
        sys.exit(f"{arguments.ctl} is not there. Build it with: cmake --build --preset release --target penmarkctl")

    choose = random.Random(arguments.seed)
    sources = {kind: texts(kind, random.Random(choose.random())) for kind in KINDS}
    begin = time.monotonic()
    for first in range(0, arguments.count, BATCH):
        count = min(BATCH, arguments.count - first)
        with tempfile.TemporaryDirectory(prefix="library-") as folder:
            write_files(pathlib.Path(folder), first, count, sources, choose)
            result = subprocess.run([arguments.ctl, "--library", arguments.folder, "import", folder],
                                    capture_output=True, text=True)
        stored = len(result.stdout.split())
        if result.returncode != 0 or stored != count:
            sys.exit(f"Of {count} documents {stored} were stored (status {result.returncode}):\n{result.stderr}")
        print(f"\r{first + count:,} of {arguments.count:,} documents, {time.monotonic() - begin:.0f} s", end="",
              flush=True, file=sys.stderr)
    print(file=sys.stderr)


if __name__ == "__main__":
    try:
        main()
    except KeyboardInterrupt:
        sys.exit(130)

#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the texts of a Penmark library to plain files, with nothing but Python's standard library.

The library is only read. Whatever is damaged is named on standard error and passed over, and the exit status is then 1.
docs/library-format.md describes the tables, docs/lzfse.md the compression.
"""

import argparse
import datetime
import functools
import hashlib
import json
import os
import pathlib
import re
import shutil
import sqlite3
import struct
import sys
import tempfile

CHUNK_SIZE = 65536
SCHEMA_VERSION = 4
EPOCH = datetime.datetime(2001, 1, 1, tzinfo=datetime.timezone.utc)


class Damaged(Exception):
    """Something is not what it should be; `partial` is what could be read of it nevertheless."""

    def __init__(self, reason, partial=b""):
        super().__init__(reason)
        self.partial = partial


def require(condition, reason):
    if not condition:
        raise Damaged(reason)


# ---- LZFSE ----

RUNS = [(value, 0) for value in range(16)] + [(16, 2), (20, 3), (28, 5), (60, 8)]
MATCHES = [(value, 0) for value in range(16)] + [(16, 3), (24, 5), (56, 8), (312, 11)]
DISTANCES = [(((4 + symbol % 4) << symbol // 4) - 4, symbol // 4) for symbol in range(64)]
LITERALS = [(byte, 0) for byte in range(256)]


def decode_lzfse(stream, limit=CHUNK_SIZE):
    """The bytes of a stream; Damaged unless it is exact to the last bit and gives at most `limit` bytes."""
    out = bytearray()
    at = 0
    try:
        while stream[at : at + 4] != b"bvx$":
            require(stream[at : at + 4] in BLOCKS, "a block of unknown kind")
            (raw_size,) = struct.unpack_from("<I", stream, at + 4)
            target = len(out) + raw_size
            require(target <= limit, "more bytes than expected")
            at = BLOCKS[stream[at : at + 4]](stream, at, out, raw_size)
            require(at <= len(stream) and len(out) == target, "a block of the wrong size")
        require(at + 4 == len(stream), "bytes after the end")
    except (Damaged, struct.error, IndexError) as error:
        reason = str(error) if isinstance(error, Damaged) else "cut off"
        raise Damaged("the compressed stream is damaged: " + reason, bytes(out[:limit])) from None
    return bytes(out)


def decode_stored(stream, at, out, raw_size):
    out += stream[at + 8 : at + 8 + raw_size]
    return at + 8 + raw_size


def append_match(out, distance, size):
    start = len(out) - distance
    require(distance > 0 and start >= 0, "a distance before the beginning")
    if distance >= size:
        out += out[start : start + size]
    else:
        out += (out[start:] * (size // distance + 1))[:size]


def decode_lzvn(stream, at, out, raw_size):
    (size,) = struct.unpack_from("<I", stream, at + 8)
    end = at + 12 + size
    ops = stream[at + 12 : end]
    limit = len(out) + raw_size
    distance = 0
    i = 0
    while ops[i] != 0x06:
        op = ops[i]
        run = op >> 6
        match = (op >> 3 & 7) + 3
        if op in (0x0E, 0x16):  # does nothing
            run, match, i = 0, 0, i + 1
        elif op >= 0xE0:  # only literals or only a match
            count, i = (op & 15, i + 1) if op & 15 else (ops[i + 1] + 16, i + 2)
            run, match = (count, 0) if op < 0xF0 else (0, count)
        elif 0xA0 <= op < 0xC0:
            pair = ops[i + 1] | ops[i + 2] << 8
            run, match, distance, i = op >> 3 & 3, (op << 2 & 28 | pair & 3) + 3, pair >> 2, i + 3
        elif 0x70 <= op < 0x80 or op >= 0xD0 or (op & 0xC7) == 0x06:
            raise Damaged("an undefined opcode")
        elif op & 7 == 6:  # the distance before
            i += 1
        elif op & 7 == 7:
            distance, i = ops[i + 1] | ops[i + 2] << 8, i + 3
        else:
            distance, i = (op & 7) << 8 | ops[i + 1], i + 2
        require(i + run <= size and len(out) + run + match <= limit, "an opcode that goes too far")
        out += ops[i : i + run]
        i += run
        if match:
            append_match(out, distance, match)
    require(ops[i:] == b"\x06" + bytes(7), "bytes after the last opcode")
    return end


# Codes of frequencies by the number of 1 bits they begin with: first frequency, length of the prefix, further bits.
FREQUENCY_CODES = [(0, 1, 1), (2, 2, 1), (4, 3, 2), (8, 4, 4), (24, 4, 10)]
LEADING_ONES = [0, 1, 0, 2, 0, 1, 0, 3, 0, 1, 0, 2, 0, 1, 0, 4]  # by the lowest four bits


def read_frequencies(packed):
    bits = int.from_bytes(packed, "little")
    left = 8 * len(packed)
    frequencies = []
    for _ in range(360):
        first, prefix, size = FREQUENCY_CODES[LEADING_ONES[bits & 15]]
        frequencies.append(first + (bits >> prefix & (1 << size) - 1))
        bits >>= prefix + size
        left -= prefix + size
    require(0 <= left < 8 and bits == 0, "a frequency table of the wrong size")
    return frequencies


def state_table(frequencies, states, symbols, used):
    """For each state: bits to pull, their mask, how many of them are extra bits, their mask, base, next state."""
    total = sum(frequencies)
    require(total == states or (total < states and not used), "frequencies of the wrong sum")
    table = []
    for frequency, (base, extra) in zip(frequencies, symbols):
        most = states.bit_length() - frequency.bit_length()
        longer = (2 * states >> most) - frequency  # so many states pull that many bits, the others one less
        for j in range(frequency):
            if j < longer:
                bits, following = most, (frequency + j << most) - states
            else:
                bits, following = most - 1, j - longer << most - 1
            table.append((bits + extra, (1 << bits + extra) - 1, extra, (1 << extra) - 1, base, following))
    return table


class BackwardBits:
    """Bits that are pulled from the end of the data."""

    def __init__(self, data, unused):
        require(not data or data[-1] >> 8 - unused == 0, "bits after the end")
        swapped = data[::-1] + bytes(8 + -len(data) % 8)
        self.words = iter(struct.unpack(f">{len(swapped) // 8}Q", swapped))
        self.held = next(self.words)
        self.left = 64 - unused  # bits of `held` that are not pulled yet
        self.unread = 8 * len(data) - unused

    def decode(self, table, state):
        """The value of a state, and the next state. Behind the data there are zeros; `unread` is then negative."""
        bits, mask, extra, extra_mask, base, following = table[state]
        if self.left < bits:
            self.held = (self.held & (1 << self.left) - 1) << 64 | next(self.words, 0)
            self.left += 64
        self.left -= bits
        self.unread -= bits
        pulled = self.held >> self.left & mask
        return base + (pulled & extra_mask), following + (pulled >> extra)


def split_bits(word, *sizes):
    fields = []
    for size in sizes:
        fields.append(word & (1 << size) - 1)
        word >>= size
    return fields


def decode_packed(stream, at, out, _raw_size):
    first, second, third = struct.unpack_from("<3Q", stream, at + 8)
    literals, literal_size, triples, literal_bits, spare = split_bits(first, 20, 20, 20, 3, 1)
    *literal_states, triple_size, triple_bits, spare2 = split_bits(second, 10, 10, 10, 10, 20, 3, 1)
    header_size, *triple_states, spare3 = split_bits(third, 32, 10, 10, 10, 2)
    require(spare == spare2 == spare3 == 0 and 32 <= header_size <= 662, "a damaged header")
    frequencies = read_frequencies(stream[at + 32 : at + header_size])
    sizes, unused = (literal_size, triple_size), (7 - literal_bits, 7 - triple_bits)
    return decode_compressed(
        stream, at + header_size, out, (literals, triples), sizes, unused, literal_states, triple_states, frequencies
    )


def decode_unpacked(stream, at, out, _raw_size):
    fields = struct.unpack_from("<5Ii4Hi3H361H", stream, at + 8)
    require(fields[0] == fields[3] + fields[4] and fields[374] == 0, "a damaged header")
    unused = (-fields[5], -fields[10])
    return decode_compressed(
        stream, at + 772, out, fields[1:3], fields[3:5], unused, fields[6:10], fields[11:14], fields[14:374]
    )


def decode_compressed(stream, at, out, counts, sizes, unused, literal_states, triple_states, frequencies):
    """Pairs are of the literals and of the triples; a triple is a run of literals, a match and its distance."""
    middle, end = at + sizes[0], at + sum(sizes)
    require(counts[0] % 4 == 0 and counts[0] <= 40000 and counts[1] <= 10000, "too many literals or triples")
    require(all(0 <= bits <= 7 for bits in unused), "unused bits of the wrong number")
    limits = (1024, 1024, 1024, 1024, 64, 64, 256)
    require(all(state < top for state, top in zip((*literal_states, *triple_states), limits)), "a state out of range")
    require(sizes[1] >= 8 and end <= len(stream) and not any(stream[middle : middle + 8]), "no room for triples")

    letters = state_table(frequencies[104:], 1024, LITERALS, counts[0])
    bits = BackwardBits(stream[at:middle], unused[0])
    states = list(literal_states)
    literals = bytearray()
    for i in range(counts[0]):
        byte, states[i & 3] = bits.decode(letters, states[i & 3])
        literals.append(byte)
    require(bits.unread == 0 and not any(states), "literals that do not end with their bits")

    runs = state_table(frequencies[:20], 64, RUNS, counts[1])
    matches = state_table(frequencies[20:40], 64, MATCHES, counts[1])
    distances = state_table(frequencies[40:104], 256, DISTANCES, counts[1])
    bits = BackwardBits(stream[middle + 8 : end], unused[1])
    run_state, match_state, distance_state = triple_states
    used = distance = 0
    for _ in range(counts[1]):
        run, run_state = bits.decode(runs, run_state)
        match, match_state = bits.decode(matches, match_state)
        newer_distance, distance_state = bits.decode(distances, distance_state)
        distance = newer_distance or distance
        out += literals[used : used + run]
        used += run
        if match:
            append_match(out, distance, match)
    require(bits.unread == 0, "triples that do not end with their bits")
    require(run_state == match_state == distance_state == 0, "triples that do not end in state 0")
    require(used <= len(literals) <= used + 3, "more or fewer literals than used")
    return end


BLOCKS = {b"bvx-": decode_stored, b"bvxn": decode_lzvn, b"bvx1": decode_unpacked, b"bvx2": decode_packed}


# ---- the library ----


def sha256(data):
    return hashlib.sha256(data).hexdigest()


def as_text(value):
    """A column as text; a damaged row may hold anything."""
    return value.decode("utf-8", "replace") if isinstance(value, bytes) else str(value)


def connect(database, options):
    connection = sqlite3.connect(database.absolute().as_uri() + "?" + options, uri=True, isolation_level=None)
    connection.text_factory = as_text
    # Writes nothing, but has SQLite read a file that was cut off as far as it goes, instead of not at all.
    connection.execute("PRAGMA writable_schema=ON")
    connection.execute("SELECT count(*) FROM sqlite_master").fetchone()
    return connection


def open_database(database, workspace):
    """A connection that does not write to the library."""
    try:
        return connect(database, "mode=ro")
    except sqlite3.OperationalError as error:
        journal = database.with_name(database.name + "-journal")
        if journal.exists():
            print("A change was interrupted; it is undone in a copy of the database.", file=sys.stderr)
            for file in (database, journal):
                shutil.copyfile(file, workspace / file.name)
            return connect(workspace / database.name, "mode=rw")
        print(f"Opened without locks ({error}): nothing may write to the library meanwhile.", file=sys.stderr)
        return connect(database, "immutable=1")


class Revision:
    def __init__(self, number, identifier, document, content_hash, record):
        self.number = number  # of its row: revisions of one moment are ordered by it
        self.id, self.document = as_text(identifier).upper(), as_text(document).upper()
        self.hash = as_text(content_hash)
        try:
            self.created = EPOCH + datetime.timedelta(seconds=record["createdAt"])
        except (KeyError, TypeError, ValueError, OverflowError):
            self.created = EPOCH

    def age(self):
        return self.created, self.number

    def date_text(self):
        return self.created.strftime("%Y-%m-%d %H.%M.%S")


class Library:
    """The rows of the database as far as they can be read; what cannot is passed to `report`."""

    def __init__(self, connection, report):
        self.connection = connection
        self.report = report
        self.chunk = functools.lru_cache(maxsize=256)(self.read_chunk)
        (version,) = connection.execute("PRAGMA user_version").fetchone()
        if version > SCHEMA_VERSION:
            report(f"schema {version} is newer than this program, which may miss something")
        self.content = {as_text(key): number for number, key in self.rows("content", "hash")}
        self.chunks = {as_text(key): number for number, key in self.rows("chunks", "hash")}
        self.documents = {
            as_text(key).upper(): self.record(value, f"document {key}")
            for _, key, value in self.rows("documents", "id,json")
        }
        self.revisions = [
            Revision(*columns, self.record(value, f"revision {columns[1]}"))
            for *columns, value in self.rows("revisions", "id,document_id,hash,json")
        ]

    def record(self, value, what):
        try:
            record = json.loads(as_text(value))
        except ValueError:
            record = None
        if isinstance(record, dict):
            return record
        self.report(what + ": its record is damaged")
        return {}

    def rows(self, table, columns):
        """All rows that can be read, each behind its number. Around damaged pages they are looked up one by one."""
        found = {}
        select = f"SELECT rowid,{columns} FROM {table} "
        try:
            for row in self.connection.execute(select + "ORDER BY rowid"):
                found[row[0]] = row
            return found.values()
        except sqlite3.DatabaseError as error:
            reason = error
        try:  # the index of the keys stands on pages of its own and numbers the rows
            index = self.connection.execute(f"SELECT rowid FROM {table} INDEXED BY sqlite_autoindex_{table}_1")
            wanted = {number for number, in index}
        except sqlite3.DatabaseError:
            last = max(found, default=0)
            wanted = set(range(last + 1, last + 100_000))
        for number in sorted(wanted - found.keys()):
            try:
                for row in self.connection.execute(select + "WHERE rowid=?", [number]):
                    found[number] = row
            except sqlite3.DatabaseError:
                continue
        self.report(f"table {table}: {reason}; {len(found)} rows could be read")
        return found.values()

    def body(self, table, number):
        try:
            (body,) = self.connection.execute(f"SELECT body FROM {table} WHERE rowid=?", [number]).fetchone()
        except (sqlite3.DatabaseError, TypeError) as error:
            raise Damaged(f"its row cannot be read: {error}") from None
        return body if isinstance(body, bytes) else str(body).encode("utf-8", "replace")

    def read_chunk(self, chunk_hash):
        require(chunk_hash in self.chunks, "missing")
        data = decode_lzfse(self.body("chunks", self.chunks[chunk_hash]))
        if sha256(data) != chunk_hash:
            raise Damaged("other bytes than its hash says", data)
        return data

    def manifest(self, content_hash):
        """The hashes of a text's chunks, as far as they can be made out, and what is wrong with the manifest."""
        body, problem = b"", "its row in content is missing"
        if content_hash in self.content:
            try:
                body = self.body("content", self.content[content_hash])
                hashes = json.loads(body)
                if isinstance(hashes, list) and all(isinstance(each, str) for each in hashes):
                    return hashes, []
                problem = "its manifest is damaged"
            except Damaged as error:
                problem = str(error)
            except ValueError:
                problem = "its manifest is damaged"
        if content_hash in self.chunks:  # a text of one chunk has the hash of that chunk
            return [content_hash], [problem]
        return re.findall("[0-9a-f]{64}", body.decode("ascii", "replace")), [problem]

    def text(self, content_hash, what):
        """The verified text. Damaged with what is left of it, and with marks where something is not."""
        hashes, problems = self.manifest(content_hash)
        pieces = []
        for number, chunk_hash in enumerate(hashes, 1):
            try:
                pieces.append(self.chunk(chunk_hash))
            except Damaged as error:
                problems.append(f"chunk {number} of {len(hashes)}: {error}")
                mark = f"\n[Penmark: {problems[-1]}. Up to {CHUNK_SIZE} bytes are missing or wrong from here]\n"
                pieces += [mark.encode(), error.partial, b"\n[Penmark: to here]\n"]
        text = b"".join(pieces)
        if sha256(text) != content_hash:
            raise Damaged("; ".join(problems) or "other bytes than its hash says", text)
        if problems:
            self.report(f"{what}: {problems[0]}; its text is complete nevertheless")
        return text


# ---- the files ----


def file_name(title):
    """A name that every file system takes, at most 150 bytes long."""
    name = re.sub(r'[\x00-\x1f\x7f/\\:*?"<>|]+', "_", title).strip(" .") or "Untitled"
    stem, suffix = os.path.splitext(name)
    if not suffix or len(suffix.encode("utf-8", "replace")) > 20:
        stem, suffix = name, ".txt"
    return stem.encode("utf-8", "replace")[:130].decode("utf-8", "ignore") + suffix


class Recovery:
    def __init__(self, library, output, report):
        self.library = library
        self.output = output
        self.report = report
        self.written = 0
        self.taken = {}  # by path: how many files were given it already

    def write(self, path, text, created=None):
        path.parent.mkdir(parents=True, exist_ok=True)
        while True:
            number = self.taken[path] = self.taken.get(path, 0) + 1
            free = path if number == 1 else path.with_name(f"{path.stem} {number}{path.suffix}")
            try:
                with open(free, "xb") as file:
                    file.write(text)
                break
            except FileExistsError:  # a file system may take two names for one
                continue
        if created:
            os.utime(free, (created.timestamp(), created.timestamp()))
        self.written += 1

    def write_text(self, path, content_hash, what, created=None):
        """Whether the text was sound; otherwise what is left of it goes into a file of another name."""
        try:
            self.write(path, self.library.text(content_hash, what), created)
            return True
        except Damaged as error:
            self.report(f"{what}: {error}")
            if error.partial:
                self.write(path.with_name(path.name + ".damaged.txt"), error.partial, created)
            return False

    def write_document(self, identifier, record, revisions, with_history):
        title = record.get("displayTitle") or record.get("title")
        title = title if isinstance(title, str) else "Document " + identifier[:8]
        what = f"“{title}” ({identifier})"
        name = file_name(title)
        stem, suffix = os.path.splitext(name)
        head = str(record.get("head") or "").upper()
        # The head comes first; if something is wrong with it, the newest of the others.
        revisions = sorted(revisions, key=Revision.age, reverse=True)
        revisions.sort(key=lambda revision: revision.id != head)
        if head and (not revisions or revisions[0].id != head):
            self.report(f"{what}: its newest revision is missing; {len(revisions)} others are there")
        folder = self.output / "Discarded" if record.get("deleted") else self.output
        tried = set()
        for revision in revisions:
            if revision.hash not in tried:
                tried.add(revision.hash)
                earlier = f"{stem} (earlier, {revision.date_text()}){suffix}"
                is_newest = revision.id == (head or revisions[0].id)
                if self.write_text(folder / (name if is_newest else earlier), revision.hash, what, revision.created):
                    break
        for revision in revisions if with_history else []:
            folder = self.output / "History" / f"{name} {identifier[:8]}"
            path = folder / f"{revision.date_text()} {revision.id[:8]}{suffix}"
            self.write_text(path, revision.hash, f"{what}, revision {revision.id}", revision.created)

    def write_unreferenced(self):
        """Texts that no revision names, and chunks that no text names."""
        folder = self.output / "Unreferenced"
        named = {revision.hash for revision in self.library.revisions}
        for content_hash in sorted(self.library.content.keys() - named):
            self.write_text(folder / f"{content_hash[:16]}.txt", content_hash, f"text {content_hash}")
        named.update(self.library.content)
        for content_hash in self.library.content:
            named.update(self.library.manifest(content_hash)[0])
        for chunk_hash in sorted(self.library.chunks.keys() - named):
            try:
                self.write(folder / f"chunk {chunk_hash[:16]}.txt", self.library.chunk(chunk_hash))
            except Damaged as error:
                self.report(f"chunk {chunk_hash}: {error}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("library", type=pathlib.Path, help="the library's folder, or better a copy of it")
    parser.add_argument("output", type=pathlib.Path, help="a folder that is not there yet, or empty")
    parser.add_argument("--history", action="store_true", help="write every revision of each document as well")
    parser.add_argument("--all", action="store_true", help="write discarded documents as well")
    arguments = parser.parse_args()
    database = arguments.library / "recovery.sqlite"
    output = arguments.output.resolve()
    if not database.is_file():
        parser.error(f"{arguments.library} holds no recovery.sqlite")
    if arguments.library.resolve() in (output, *output.parents):
        parser.error("the output may not be inside the library")
    output.mkdir(parents=True, exist_ok=True)
    if any(output.iterdir()):
        parser.error(f"{arguments.output} is not empty")

    problems = []

    def report(problem):
        problems.append(problem)
        print("Damaged: " + problem, file=sys.stderr)

    left_out = 0
    with tempfile.TemporaryDirectory(prefix=".copy-", dir=output) as workspace:
        try:
            connection = open_database(database, pathlib.Path(workspace))
        except sqlite3.DatabaseError as error:
            sys.exit(f"Damaged: the database cannot be opened at all: {error}")
        library = Library(connection, report)
        recovery = Recovery(library, output, report)
        by_document = {identifier: [] for identifier in library.documents}
        for revision in library.revisions:
            by_document.setdefault(revision.document, []).append(revision)
        for identifier, revisions in by_document.items():
            if identifier not in library.documents:
                report(f"document {identifier}: its record is missing; {len(revisions)} revisions are there")
            record = library.documents.get(identifier, {})
            if record.get("deleted") and not arguments.all:
                left_out += 1
            else:
                recovery.write_document(identifier, record, revisions, arguments.history)
        recovery.write_unreferenced()
        connection.close()
    originals = arguments.library / "External originals"
    if originals.is_dir():
        shutil.copytree(originals, output / originals.name)

    print(f"{recovery.written} texts are in {arguments.output}.")
    if left_out:
        print(f"{left_out} discarded documents were left out; --all writes them as well.")
    sys.exit(f"{len(problems)} things are damaged; see above." if problems else 0)


if __name__ == "__main__":
    main()

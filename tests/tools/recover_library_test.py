# SPDX-License-Identifier: GPL-3.0-or-later
"""Recovers libraries that penmarkctl made, sound and damaged ones. PENMARKCTL is the path of the program."""

import contextlib
import csv
import hashlib
import importlib.util
import json
import os
import pathlib
import random
import shutil
import sqlite3
import struct
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
SCRIPT = SOURCE / "tools" / "recover-library.py"
VECTORS = SOURCE / "tests" / "data" / "lzfse"
CHUNK = 65536


def prose(size, seed):
    """Text that compresses about as well as what people write."""
    choose = random.Random(seed)
    words = ["".join(choose.choices("etaoinshrdlu", k=choose.randint(1, 9))) for _ in range(300)]
    text = " ".join(choose.choices(words, k=size // 2)) + "\n"
    return text.encode()[:size]


def noise(size):
    """Text that hardly compresses."""
    choose = random.Random(7)
    return "".join(chr(choose.randrange(0x4E00, 0x9FA0)) for _ in range(size // 3)).encode()


# Each title is the name of the file that the text must be found in.
TEXTS = {
    "empty.txt": b"",
    "one byte.txt": b"x",
    "greeting.txt": "Grüße\n".encode(),
    "verse.txt": b"to be or not to be, that is to be; " * 12,
    "letter.txt": prose(5000, 1),
    "one byte less than a chunk.txt": prose(CHUNK - 1, 2),
    "a chunk.txt": prose(CHUNK, 3),
    "one byte more than a chunk.txt": prose(CHUNK + 1, 4),
    "five chunks.txt": prose(4 * CHUNK + 321, 5),
    "the same chunk again.txt": b"0123456789abcde\n" * (3 * CHUNK // 16),
    "characters across chunks.txt": b"a" + "é日😀".encode() * 25000,
    "noise.txt": noise(CHUNK + 4000),
}
VERSIONS = [b"first\n", b"second, " * 1000, b"first\n", b"", b"last\n"]


class Writer:
    """Puts texts into a library by the program itself."""

    def __init__(self, library):
        self.library = library

    def run(self, *arguments, text=b""):
        command = [os.environ["PENMARKCTL"], "--library", self.library, *arguments]
        return subprocess.run(command, input=text, stdout=subprocess.PIPE, check=True).stdout.decode().strip()

    def new(self, title, *versions):
        document = self.run("new", "--title", title, text=versions[0])
        for text in versions[1:]:
            self.run("write", document, text=text)
        return document


def recover(library, output, *options):
    return subprocess.run(
        [sys.executable, SCRIPT, library, output, *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True
    )


def files(folder):
    return {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def sha256(data):
    return hashlib.sha256(data).hexdigest()


class LibraryTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.original = pathlib.Path(temporary.name) / "original"
        writer = Writer(cls.original)
        for title, text in TEXTS.items():
            writer.new(title, text)
        cls.versioned = writer.new("versions.md", *VERSIONS)
        cls.discarded = writer.new("discarded.txt", b"thrown away\n")
        writer.run("discard", cls.discarded)
        cls.expected = {**TEXTS, "versions.md": VERSIONS[-1]}

    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        self.library = self.folder / "library"
        self.output = self.folder / "output"
        shutil.copytree(self.original, self.library)

    @contextlib.contextmanager
    def database(self):
        with contextlib.closing(sqlite3.connect(self.library / "recovery.sqlite")) as connection, connection:
            yield connection

    def recover(self, *options):
        """What was written, and what was reported."""
        self.result = recover(self.library, self.output, *options)
        self.assertNotIn("Traceback", self.result.stderr)
        return files(self.output), self.result.stderr

    def assert_damaged(self, report, *words):
        self.assertEqual(self.result.returncode, 1)
        for word in words:
            self.assertIn(word, report)

    def assert_same(self, found, expected):
        # By digest: showing how two long texts differ would take minutes.
        self.assertEqual({name: sha256(text) for name, text in found.items()},
                         {name: sha256(text) for name, text in expected.items()})

    def assert_intact_but(self, found, *damaged):
        # No file may look sound that is not.
        self.assert_same({name: text for name, text in found.items() if name in self.expected},
                         {name: text for name, text in self.expected.items() if name not in damaged})

    def assert_sound_if_there(self, found):
        shown = self.expected.keys() & found.keys()
        self.assert_same({name: found[name] for name in shown}, {name: self.expected[name] for name in shown})
        return shown


class SoundLibraryTest(LibraryTest):
    def test_the_texts_take_all_forms_that_are_written(self):
        with self.database() as connection:
            forms = {body[:4] for body, in connection.execute("SELECT body FROM chunks")}
        self.assertEqual(forms, {b"bvx-", b"bvxn", b"bvx2"})

    def test_newest_texts_come_back_byte_for_byte(self):
        found, report = self.recover()
        self.assertEqual((self.result.returncode, report), (0, ""))
        self.assert_same(found, self.expected)
        self.assertIn("1 discarded documents were left out", self.result.stdout)

    def test_history_and_discarded_documents_come_back_when_asked_for(self):
        found, _ = self.recover("--history", "--all")
        self.assertEqual(self.result.returncode, 0)
        self.assertEqual(found["Discarded/discarded.txt"], b"thrown away\n")
        history = [text for name, text in sorted(found.items()) if name.startswith("History/versions.md ")]
        # Names order revisions by second only.
        self.assertCountEqual(history, VERSIONS)
        self.assertEqual(len([name for name in found if name.startswith("History/discarded.txt ")]), 2)

    def test_the_head_is_the_newest_whatever_the_clock_said(self):
        with self.database() as connection:
            earlier = "json_set(CAST(json AS TEXT),'$.createdAt',0)"
            connection.execute(f"UPDATE revisions SET json={earlier} WHERE hash=?", [sha256(b"last\n")])
        found, _ = self.recover()
        self.assert_same(found, self.expected)

    def test_nothing_is_written_to_the_library(self):
        before = files(self.library)
        self.recover("--history", "--all")
        self.assert_same(files(self.library), before)

    def test_titles_become_names_that_do_not_clash(self):
        writer = Writer(self.library)
        for title in ("../up/a: b?", "letter.txt", "letter 2.txt", "LETTER.TXT", "...", "e\u0301" * 200):
            writer.new(title, title.encode())
        found, _ = self.recover()
        self.assertEqual(self.result.returncode, 0)
        self.assertEqual(found["_up_a_ b_.txt"], b"../up/a: b?")
        self.assertEqual(found["letter 2.txt"], b"letter.txt")
        self.assertEqual(found["letter 2 2.txt"], b"letter 2.txt")
        self.assertEqual(found["Untitled.txt"], b"...")
        self.assertEqual(len(found), len(self.expected) + 6)

    def test_files_come_back_as_utf8(self):
        file = self.folder / "wide.txt"
        file.write_bytes("\ufeffBreite Zeichen: ä€😀\r\n".encode("utf-16-le"))
        Writer(self.library).run("open", file)
        found, _ = self.recover()
        self.assertEqual(found["wide.txt"], "Breite Zeichen: ä€😀\r\n".encode())

    def test_originals_of_others_are_copied(self):
        (self.library / "External originals").mkdir()
        (self.library / "External originals" / "1-theirs.txt").write_bytes(b"theirs")
        found, _ = self.recover()
        self.assertEqual(found["External originals/1-theirs.txt"], b"theirs")

    def test_an_interrupted_change_is_undone_in_a_copy(self):
        # Copied in the middle of a change that has reached the file, the library looks as after a crash.
        crashed = self.folder / "crashed"
        with contextlib.closing(sqlite3.connect(self.library / "recovery.sqlite", isolation_level=None)) as connection:
            connection.execute("PRAGMA cache_size=1")
            connection.execute("BEGIN")
            connection.execute("UPDATE chunks SET body=zeroblob(9)")
            connection.execute("UPDATE documents SET json='{}'")
            shutil.copytree(self.library, crashed)
        before = files(crashed)
        self.assertTrue(before["recovery.sqlite"] != files(self.original)["recovery.sqlite"])
        self.assertIn("recovery.sqlite-journal", before)
        self.library = crashed
        found, _ = self.recover()
        self.assert_same(found, self.expected)
        self.assert_same(files(crashed), before)

    def test_a_used_folder_is_refused(self):
        self.output.mkdir()
        (self.output / "letter.txt").write_bytes(b"mine")
        for output in (self.output, self.library / "inside"):
            self.assertEqual(recover(self.library, output).returncode, 2)
        self.assertEqual(files(self.output), {"letter.txt": b"mine"})
        self.assert_same(files(self.library), files(self.original))


class DamagedLibraryTest(LibraryTest):
    def chunk_hashes(self, title):
        text = TEXTS[title]
        return [sha256(text[at : at + CHUNK]) for at in range(0, len(text), CHUNK)]

    def test_a_flipped_byte_in_a_chunk_costs_that_chunk(self):
        title = "five chunks.txt"
        chunk = self.chunk_hashes(title)[2]
        with self.database() as connection:
            (body,) = connection.execute("SELECT body FROM chunks WHERE hash=?", [chunk]).fetchone()
            middle = len(body) // 2
            body = body[:middle] + bytes([body[middle] ^ 0x10]) + body[middle + 1 :]
            connection.execute("UPDATE chunks SET body=? WHERE hash=?", [body, chunk])
        found, report = self.recover()
        self.assert_damaged(report, title, "chunk 3 of 5")
        self.assert_intact_but(found, title)
        left = found[title + ".damaged.txt"]
        self.assertTrue(left.startswith(TEXTS[title][: 2 * CHUNK] + b"\n[Penmark: chunk 3 of 5"))
        self.assertTrue(left.endswith(b"]\n" + TEXTS[title][3 * CHUNK :]))

    def test_a_chunk_that_decodes_to_other_bytes_is_found_out(self):
        title = "five chunks.txt"
        with self.database() as connection:
            connection.execute(
                "UPDATE chunks SET body=(SELECT body FROM chunks WHERE hash=?) WHERE hash=?",
                [self.chunk_hashes("a chunk.txt")[0], self.chunk_hashes(title)[1]],
            )
        found, report = self.recover()
        self.assert_damaged(report, title, "chunk 2 of 5: other bytes than its hash says")
        self.assert_intact_but(found, title)

    def test_a_missing_chunk_leaves_the_others(self):
        title = "the same chunk again.txt"
        with self.database() as connection:
            connection.execute("DELETE FROM chunks WHERE hash=?", [self.chunk_hashes("five chunks.txt")[0]])
            connection.execute("DELETE FROM chunks WHERE hash=?", [self.chunk_hashes(title)[0]])
        found, report = self.recover()
        self.assert_damaged(report, "chunk 1 of 5: missing", "chunk 3 of 3: missing")
        self.assert_intact_but(found, title, "five chunks.txt")
        self.assertTrue(found["five chunks.txt.damaged.txt"].endswith(b"]\n" + TEXTS["five chunks.txt"][CHUNK:]))

    def test_a_broken_manifest_is_read_as_far_as_it_goes(self):
        title = "five chunks.txt"
        hashes = self.chunk_hashes(title)
        cut_off = json.dumps(hashes)[:200]  # in the third hash
        manifests = {title: cut_off.encode(), "letter.txt": b"\xff", "a chunk.txt": b"{}"}
        with self.database() as connection:
            for damaged, manifest in manifests.items():
                connection.execute("UPDATE content SET body=? WHERE hash=?", [manifest, sha256(TEXTS[damaged])])
        found, report = self.recover()
        self.assert_damaged(report, *manifests)
        self.assert_intact_but(found, title)  # a text of one chunk is found by its hash alone
        self.assertTrue(found[title + ".damaged.txt"].startswith(TEXTS[title][: 2 * CHUNK]))

    def test_lost_rows_of_content_cost_texts_of_several_chunks_only(self):
        with self.database() as connection:
            connection.execute("DELETE FROM content")
        found, report = self.recover()
        self.assert_damaged(report)
        self.assert_intact_but(found, *(title for title, text in TEXTS.items() if len(text) > CHUNK))
        pieces = {text for name, text in found.items() if name.startswith("Unreferenced/chunk ")}
        self.assertTrue({TEXTS["five chunks.txt"][at : at + CHUNK] for at in range(0, 5 * CHUNK, CHUNK)} <= pieces)

    def test_the_newest_sound_revision_comes_in_place_of_a_damaged_one(self):
        with self.database() as connection:
            connection.execute("DELETE FROM chunks WHERE hash=?", [sha256(VERSIONS[-1])])
        found, report = self.recover()
        self.assert_damaged(report, "versions.md", self.versioned)
        self.assert_intact_but(found, "versions.md")
        (earlier,) = (text for name, text in found.items() if name.startswith("versions (earlier, "))
        self.assertEqual(earlier, VERSIONS[-2])

    def test_texts_of_lost_revisions_are_found(self):
        with self.database() as connection:
            connection.execute("DELETE FROM revisions WHERE hash=?", [sha256(TEXTS["letter.txt"])])
            connection.execute("DROP INDEX revisions_by_date")  # through which SQLite would see what comes next
            connection.execute("UPDATE revisions SET json=? WHERE hash=?", [b"\xff{", sha256(TEXTS["noise.txt"])])
        found, report = self.recover()
        self.assert_damaged(report, "letter.txt", "its record is damaged")
        self.assert_intact_but(found, "letter.txt")
        self.assertTrue(any(TEXTS["letter.txt"] == found[name] for name in found if name.startswith("Unreferenced/")))

    def test_texts_of_lost_documents_are_found(self):
        with self.database() as connection:
            documents = dict(connection.execute("SELECT hash,document_id FROM revisions"))
            letter, noisy = (documents[sha256(TEXTS[title])] for title in ("letter.txt", "noise.txt"))
            connection.execute("DELETE FROM documents WHERE id=?", [letter])
            connection.execute("UPDATE documents SET json=? WHERE id=?", [b'{"id":', noisy])
        found, report = self.recover()
        self.assert_damaged(report, letter, noisy)
        self.assert_intact_but(found, "letter.txt", "noise.txt")
        self.assertTrue(found[f"Document {letter[:8]}.txt"] == TEXTS["letter.txt"])
        self.assertTrue(found[f"Document {noisy[:8]}.txt"] == TEXTS["noise.txt"])

    def test_a_damaged_page_costs_what_stands_on_it(self):
        with self.database() as connection:
            older = [(-number, f"older {number}", json.dumps({"title": 250 * "-"})) for number in range(1, 60)]
            connection.executemany("INSERT INTO documents(rowid,id,json) VALUES(?,?,?)", older)
            (page_size,) = connection.execute("PRAGMA page_size").fetchone()
            (root,) = connection.execute("SELECT rootpage FROM sqlite_master WHERE name='documents'").fetchone()
        with open(self.library / "recovery.sqlite", "r+b") as file:
            file.seek((root - 1) * page_size)
            page = file.read(page_size)
            self.assertEqual(page[0], 5)  # it refers to other pages, first to that of the oldest rows
            (entry,) = struct.unpack_from(">H", page, 12)
            (first,) = struct.unpack_from(">I", page, entry)
            file.seek((first - 1) * page_size)
            file.write(bytes(page_size))
        found, report = self.recover()
        self.assert_damaged(report, "table documents")
        self.assert_intact_but(found)

    def test_a_file_that_was_cut_off_gives_what_is_left(self):
        database = self.library / "recovery.sqlite"
        whole = database.read_bytes()
        sound = {}
        for size in (len(whole) - 4096, len(whole) * 3 // 4, len(whole) // 2, len(whole) // 4 + 77, 2000, 50):
            with self.subTest(size=size):
                database.write_bytes(whole[:size])
                self.output = self.folder / f"output {size}"
                found, report = self.recover()
                self.assert_damaged(report, "Damaged: ")
                sound[size] = len(self.assert_sound_if_there(found))
        self.assertGreater(sound[len(whole) - 4096], len(self.expected) // 2)  # a single page is missing

    def test_no_damage_of_pages_makes_it_stop_or_lie(self):
        database = self.library / "recovery.sqlite"
        whole = database.read_bytes()
        for seed in range(6):
            with self.subTest(seed=seed):
                choose = random.Random(seed)
                damaged = bytearray(whole)
                for _ in range(choose.choice([1, 3, 10])):
                    at = choose.randrange(1, len(whole) // 4096) * 4096
                    damaged[at : at + 64] = choose.randbytes(64)
                database.write_bytes(damaged)
                self.output = self.folder / f"output {seed}"
                found, _ = self.recover("--all")
                self.assert_sound_if_there(found)


class StreamTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        specification = importlib.util.spec_from_file_location("recover_library", SCRIPT)
        cls.script = importlib.util.module_from_spec(specification)
        specification.loader.exec_module(cls.script)

    def rows(self, name):
        with open(VECTORS / name, encoding="utf-8", newline="") as file:
            rows = list(csv.reader(file, delimiter="\t", quoting=csv.QUOTE_NONE))[1:]
        self.assertGreater(len(rows), 100)
        return rows

    def test_good_streams_decode(self):
        for name, size, digest in self.rows("good.tsv"):
            with self.subTest(name):
                stream = (VECTORS / "good" / (name + ".lzfse")).read_bytes()
                self.assertEqual(sha256(self.script.decode_lzfse(stream, int(size))), digest)
                if int(size) > 0:
                    with self.assertRaises(self.script.Damaged):
                        self.script.decode_lzfse(stream, int(size) - 1)

    def test_bad_streams_are_refused(self):
        for name, verdict, _, stream in self.rows("bad.tsv"):
            with self.subTest(name):
                # The others show no damage in the format, but must not make it fail in another way.
                refused = self.assertRaises if verdict == "refuse" else contextlib.suppress
                with refused(self.script.Damaged):
                    self.script.decode_lzfse(bytes.fromhex(stream), 1 << 22)

    def test_a_truncated_stream_gives_what_came_before(self):
        stream = (VECTORS / "good" / "hand-all-blocks.lzfse").read_bytes()
        whole = self.script.decode_lzfse(stream, 1 << 22)
        with self.assertRaises(self.script.Damaged) as caught:
            self.script.decode_lzfse(stream[:-1], 1 << 22)
        self.assertTrue(caught.exception.partial == whole)


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""Tests of the reader: what it reads in the golden stores, and in the worked example of the documents.

  reader_test.py               runs the tests
  reader_test.py --update      writes the texts in expected/ again
"""

import pathlib
import re
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
try:
    import kvls
    import kvls_content
    import kvls_dump
except ModuleNotFoundError as missing:
    sys.exit(f"reader_test: {missing}: {sys.executable} needs the packages python3-xxhash and python3-lz4")

EXPECTED = HERE / "expected"
GOLDEN = HERE.parent / "golden"
DOCUMENT = HERE.parents[1] / "docs" / "store-format.md"


def dump(path):
    with kvls.Store(path) as store:
        return "\n".join(kvls_dump.dump(store)) + "\n"


class GoldenStores(unittest.TestCase):
    maxDiff = 4000

    def test_each_has_the_expected_content(self):
        stores = sorted(GOLDEN.glob("*.kvs"))
        self.assertEqual({path.stem for path in stores}, {path.stem for path in EXPECTED.glob("*.txt")})
        for path in stores:
            with self.subTest(store=path.name):
                self.assertEqual(dump(path), (EXPECTED / f"{path.stem}.txt").read_text())

    def test_each_changed_byte_of_a_record_is_refused(self):
        path = GOLDEN / "format-1.kvs"
        sound, whole = path.read_bytes(), dump(path)
        record = sound.index(bytes.fromhex("01028280900306"))  # object 1 of the document's example, 51 bytes
        for i in range(record, record + 51):
            damaged = bytearray(sound)
            damaged[i] ^= 1
            self.assertNotEqual(content_of(bytes(damaged)), whole, f"byte {i}")


def content_of(data):
    """What the reader finds in the bytes of a store: its dump, or why it refuses them."""
    with tempfile.NamedTemporaryFile(suffix=".kvs") as file:
        file.write(data)
        file.flush()
        try:
            return dump(file.name)
        except (kvls.Damaged, kvls.sqlite3.Error) as error:
            return f"refused: {error}"


def hex_of_document(first_line):
    """The bytes of the part of a code block in the document that a line begins, up to the next empty line."""
    text = DOCUMENT.read_text()
    lines = text[text.index(f"\n{first_line}\n") + len(first_line) + 2 :].split("\n")
    code = ""
    for line in lines:
        if not line or line.startswith("```"):
            return bytes.fromhex(code)
        code += re.match(r"(?:[0-9A-F]{2} ?)+", line).group()


class WorkedExample(unittest.TestCase):
    def test_pack_and_shapes_are_read_as_the_document_says(self):
        data = b"".join(hex_of_document(part) for part in ("pack 0", "object 1", "object 3"))
        shapes = {}
        for number in (1, 2):
            cursor = kvls.Cursor(hex_of_document(f"shape {number}"))
            shapes[number] = kvls_content.Shape(cursor)
            cursor.end("the shape")
        rows = list(kvls_content.read_pack(0, data))
        self.assertEqual([row[:3] for row in rows], [(1, 2, 2), (3, 2, 1)])
        bolt, holes = (kvls_content.Record(*row[:3], shapes[row[2]], kvls.Cursor(row[3])) for row in rows)
        self.assertEqual([(part.id, part.class_id, part.version) for part in bolt.parts],
                         [(1, 0x640002, 3), (2, 0x640001, 1)])
        self.assertEqual([field.value for part in bolt.parts for field in part.fields], [0.05, 3, b"M8"])
        self.assertEqual(holes.content.elements, [3, -1])

    def test_each_changed_byte_of_the_pack_is_refused(self):
        data = b"".join(hex_of_document(part) for part in ("pack 0", "object 1", "object 3"))
        for i in range(len(data)):
            damaged = bytearray(data)
            damaged[i] ^= 4
            with self.assertRaises(kvls.Damaged, msg=f"byte {i}"):
                list(kvls_content.read_pack(0, bytes(damaged)))


def update():
    for path in sorted(GOLDEN.glob("*.kvs")):
        (EXPECTED / f"{path.stem}.txt").write_text(dump(path))


if __name__ == "__main__":
    if sys.argv[1:] == ["--update"]:
        update()
    else:
        unittest.main()

#!/usr/bin/env python3
"""Tests of the reader: what it reads in the golden stores, in a store that the library has just made, and in
the examples of the document.

  reader_test.py               runs the tests
  reader_test.py --update      writes the texts in expected/ again

The environment variable STORE_EVERYTHING has the path of the program that makes the store.
"""

import os
import pathlib
import random
import re
import shutil
import subprocess
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
MADE = "store_everything"  # the name of its expected text
FLIPS = 100


def dump(path):
    with kvls.Store(path) as store:
        return "\n".join(kvls_dump.dump(store)) + "\n"


def outcome(path):
    """What the reader finds in a store: its dump, or why it refuses the store."""
    try:
        return dump(path)
    except (kvls.Damaged, kvls.sqlite3.Error) as error:
        return f"refused: {error}"


def run_maker(command, path):
    """What store_everything prints."""
    program = os.environ.get("STORE_EVERYTHING")
    if not program:
        raise RuntimeError("STORE_EVERYTHING must be the path of the program store_everything")
    run = subprocess.run([program, command, path], capture_output=True, text=True)
    if run.returncode != 0:
        raise RuntimeError(f"{program} {command} {path}: {run.returncode}\n{run.stdout}{run.stderr}")
    return run.stdout


def without_times(text):
    """A dump without what is different each time a store is made."""
    return re.sub(r"^(save \d+) at \d+", r"\1", re.sub(r"^uuid .*\n", "", text, flags=re.M), flags=re.M)


def objects_of(text):
    """The objects in a dump, without the save that wrote them, the number of their shape, and a count that
    only older formats have."""
    text = re.sub(r"^    #1 .*\n", "", text, flags=re.M)
    text = text[text.index("\nobject ") :]
    return re.sub(r"^(object \d+) save .*", r"\1", re.sub(r"\nsave (?s:.)*", "\n", text), flags=re.M)


class GoldenStores(unittest.TestCase):
    maxDiff = 4000

    def test_each_has_the_expected_content(self):
        stores = sorted(GOLDEN.glob("*.kvs"))
        texts = {path.stem for path in EXPECTED.glob("*.txt")}
        self.assertEqual({path.stem for path in stores} | {MADE}, texts)
        for path in stores:
            with self.subTest(store=path.name):
                self.assertEqual(dump(path), (EXPECTED / f"{path.stem}.txt").read_text())

    def test_each_changed_byte_of_a_record_is_refused(self):
        sound = (GOLDEN / "format-1.kvs").read_bytes()
        record = sound.index(bytes.fromhex("01028280900306"))  # object 1 of the document's example, 51 bytes
        with tempfile.TemporaryDirectory() as folder:
            for i in range(record, record + 51):
                damaged = bytearray(sound)
                damaged[i] ^= 1
                path = pathlib.Path(folder, "damaged.kvs")
                path.write_bytes(damaged)
                self.assertRegex(outcome(path), "^refused: object 1 ", f"byte {i}")

    def test_upgraded_ones_have_the_same_objects(self):
        with tempfile.TemporaryDirectory() as folder:
            for path in sorted(GOLDEN.glob("*.kvs")):
                with self.subTest(store=path.name), kvls.Store(path) as store:
                    if store.format == 4:
                        continue
                    copy = pathlib.Path(folder, path.name)
                    shutil.copyfile(path, copy)
                    run_maker("upgrade", copy)
                    upgraded = dump(copy)
                    self.assertTrue(upgraded.startswith("format 4\n"))
                    self.assertEqual(objects_of(upgraded), objects_of(dump(path)))


class MadeStore(unittest.TestCase):
    maxDiff = 4000

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.path = pathlib.Path(folder.name, "made.kvs")
        cls.printed = run_maker("make", cls.path)
        cls.store = kvls.Store(cls.path)
        cls.addClassCleanup(cls.store.close)
        cls.records = {record.id: record for record in cls.store.check_all()}

    def under(self, root):
        """The record under a root."""
        return self.records[self.store.roots[root.encode()][0]]

    def field(self, record, name):
        """The value of a field; the record of an object that the field holds."""
        for part in record.parts:
            for field in part.fields:
                if self.store.name_of(field.key) == name.encode():
                    owned = isinstance(field.value, kvls.Owned)
                    return self.records[field.value] if owned else field.value
        return self.fail(f"object {record.id} has no field {name}")

    def content(self, root, field):
        return self.field(self.under(root), field).content

    def test_has_the_expected_content(self):
        self.assertEqual(without_times(dump(self.path)), (EXPECTED / f"{MADE}.txt").read_text())

    def test_library_has_counted_the_same(self):
        store = self.store
        rows = (self.records, store._blocks, store.classes, store.shapes, store.roots, store.saves)
        names = ("objects", "blocks", "classes", "shapes", "roots", "saves")
        lines = ["sound 1", "sum 1", *(f"{name} {len(row)}" for name, row in zip(names, rows))]
        self.assertEqual(self.printed.splitlines(), lines)

    def test_has_every_form_of_the_format(self):
        codecs, contents, tags = set(), set(), set()
        for key, (table, row) in self.store._blocks.items():
            data = self.store._row_data(table, row)
            codecs.add((dict(kvls.unpack_row(row, data))[key] if table == "block" else data)[-9])
        for shape in self.store.shapes.values():
            contents.add(shape.content)
            tags.update(field.tag for part in shape.parts for field in part.fields)
        self.assertEqual(codecs, {0, 1, 2 + 16, 2 + 32, 2 + 48, 2 + 64})
        self.assertEqual(contents, set(range(10)) - {5})  # 5 is of older formats
        self.assertEqual(tags, set(range(2, 21)))
        maps = [record.content for record in self.records.values() if isinstance(record.content, kvls.Map)]
        lists = [record.content for record in self.records.values() if isinstance(record.content, kvls.List)]
        self.assertEqual({content.element_type for content in lists}, set(range(1, 16)))
        self.assertEqual({content.key_type for content in maps} - {0}, {1, 2, 3, 4})
        self.assertEqual({content.directory.depth for content in maps if content.in_blocks}, {1, 2})
        self.assertIn(0, {record.shape_number for record in self.records.values()})
        self.assertIn(("moved_block", 1), {(table, row) for table, row in self.store._blocks.values()})

    def test_lists_have_the_elements_that_were_written(self):
        for root, count in (("short lists", 6), ("long lists", 3000)):
            expected = {
                "m_Bools": [i % 3 == 0 for i in range(count)],
                "m_Strings": [None if i % 3 == 0 else b"a" * (i % 7) for i in range(count)],
                "m_Floats": [i / 8 for i in range(count)],
                "m_Doubles": [i / 2 for i in range(count)],
                "m_UInts": [4_000_000_000 + i for i in range(count)],
                "m_Ints": [-i for i in range(count)],
            }
            for name, elements in expected.items():
                self.assertEqual(self.content(root, name).elements, elements, f"{root}, {name}")
        array = [i % 100 for i in range(12 * 2048)]
        for i in (0, 4, 8):
            array[i * 2048 + 9] = -i - 1
        self.assertEqual(self.content("bulk", "m_Ints").elements, array)

    def test_arrays_have_the_elements_that_were_written(self):
        def cut(number, bits, signed):
            number %= 2**bits
            return number - 2**bits if signed and number >= 2 ** (bits - 1) else number

        def squares(make, count):
            return [make(i * i, i) for i in range(count)]

        integers = {8: (8, True), 9: (8, False), 10: (16, True), 11: (16, False), 12: (64, True),
                    13: (64, False)}
        makes = {t: lambda square, i, form=form: cut(square, *form) for t, form in integers.items()}
        makes[14] = makes[15] = lambda square, i: complex(square, -i)
        arrays = {(t, ""): (6, [2, 3], b"") for t in makes}
        arrays.update({(8, ""): (6, [2, 3], b"mm"), (10, ""): (6, [3, 1, 2], b"kN/m"),
                       (11, ""): (0, [0], b"mm"), (13, ""): (6, [6], b""), (14, ""): (6, [2, 3], b"V"),
                       (8, " in blocks"): (3000, [3000], b""), (10, " in blocks"): (3000, [30, 100], b"mm"),
                       (13, " in blocks"): (3000, [100, 30], b""), (15, " in blocks"): (3000, [3000], b"V")})
        for (element_type, where), (count, extents, unit) in arrays.items():
            content = self.content(f"array {element_type}{where}", "m_List")
            self.assertEqual(content.element_type, element_type)
            self.assertEqual(content.elements, squares(makes[element_type], count))
            self.assertEqual(content.extents, extents)
            self.assertEqual(self.store.names.get(content.unit, b""), unit)

    def test_maps_have_the_entries_that_were_written(self):
        chunks = self.content("chunks", "m_Map")
        self.assertEqual(chunks.entries, [(3 * i - 4, i / 2) for i in range(3000)])
        self.assertTrue(all(listed.key for listed in chunks.directory.listed))
        pages = self.content("pages", "m_Map").entries
        self.assertEqual(pages, [(b"%d" % (10_000 + i) + b"k" * 1500, i) for i in range(130)])
        unordered = self.content("unordered chunks", "m_Map")
        self.assertEqual(unordered.entries, [(i % 1000, i / 2) for i in range(3000, 0, -1)])
        self.assertFalse(any(listed.key for listed in unordered.directory.listed))
        for count in (5, 6000):
            pairs = self.content(f"pairs {count}", "m_Pairs").entries
            self.assertEqual(pairs, [(i - 2, 100 * i) for i in range(count)])
        signed = self.content("signed keys", "m_Map").entries
        self.assertEqual(signed, [(-3 * 10**18 * i, i) for i in (1, 2, 3)])
        unsigned = self.content("unsigned keys", "m_Map").entries
        self.assertEqual(unsigned, [(6 * 10**18 * i, i) for i in (1, 2, 3)])

    def test_objects_have_the_values_that_were_written(self):
        elements = self.content("objects", "m_Objects").elements
        values = [element and self.field(self.records[element], "m_Value") for element in elements]
        self.assertEqual(values, [None, 10, None, None, 40, None])
        nested = self.field(self.under("nested example"), "m_Nested")
        points = [[value for _, value in point] for point in nested]
        self.assertEqual(points, [[1.0, (b"A",)], [2.0, None]])
        scattered = self.under("scattered parts")
        self.assertEqual([part.id - scattered.id for part in scattered.parts], [0, 2, -1])
        self.assertEqual(self.field(self.under("image"), "m_Blob").bytes, b"b" * 40_000)
        left = self.field(self.under("nodes"), "m_Left")
        self.assertIs(self.field(left, "m_Right"), self.field(self.under("nodes"), "m_Right"))

    def test_what_no_checksum_of_a_row_shows_is_refused(self):
        changes = {
            "PRAGMA user_version = 5": "the format 5",
            "CREATE INDEX i ON name(text)": "an index, a trigger or a view",
            "CREATE TABLE t(a)": "tables that are not those",
            "DELETE FROM meta WHERE key = 'features_to_write'": "the header",
            "UPDATE class SET base_class_id = 2 WHERE name = 'Top'": "table class",
            "DELETE FROM attribute WHERE name = 'm_Head'": "table class",
            "DELETE FROM class WHERE name = 'Raw'": "an attribute of no class version",
            "UPDATE attribute SET name = 'm_Other' WHERE name = 'm_Head'": "table class",
            "DELETE FROM enumerator WHERE name = 'round'": "does not fit its sum",
            "DELETE FROM note WHERE attribute = ''": "does not fit its sum",
            "DELETE FROM name WHERE text = 'V'": "the name",
            "DELETE FROM root WHERE name = 'tags'": "does not fit its sum",
            "UPDATE root SET name = 'other' WHERE name = 'tags'": "table root",
            "DELETE FROM shape WHERE id = 3": "the shape 3 is missing",
            "DELETE FROM pack WHERE key = 2": "blocks that belong to no object",
            "UPDATE pack SET key = 9 WHERE key = 2": "pack 9 does not fit",
            "DELETE FROM save WHERE no = 1": "the save 1 is missing",
            "DELETE FROM save WHERE no = 19": "is of no save",
            "DELETE FROM object WHERE length(record) > 3000": "blocks that belong to no object",
            "DELETE FROM block WHERE key = (SELECT max(key) FROM block)": "is missing",
            "DELETE FROM moved_block WHERE place = 1": "a moved block without place",
            "DELETE FROM block_place WHERE place = 1; DELETE FROM moved_block WHERE place = 1":
                "does not fit its sum",
            "UPDATE block_place SET place = 99 - place": "a moved block without place",
            "UPDATE block_place SET place = 3 - place WHERE place < 3": "does not fit",
        }
        path = self.path.with_name("changed.kvs")
        for change, reason in changes.items():
            with self.subTest(change=change):
                shutil.copyfile(self.path, path)
                connection = kvls.sqlite3.connect(path)
                connection.executescript(change)
                connection.close()
                self.assertRegex(outcome(path), f"^refused: .*{reason}")

    def test_flipped_bits_are_refused_or_change_nothing(self):
        sound, whole = self.path.read_bytes(), dump(self.path)
        path = self.path.with_name("damaged.kvs")
        places = random.Random(4)
        refused = 0
        for _ in range(FLIPS):
            at, bit = places.randrange(len(sound)), places.randrange(8)
            damaged = bytearray(sound)
            damaged[at] ^= 1 << bit
            path.write_bytes(damaged)
            found = outcome(path)
            if found.startswith("refused"):
                refused += 1
            else:
                self.assertEqual(found, whole, f"bit {bit} of byte {at}")
        self.assertGreater(refused, FLIPS // 2)


def examples_of_document(sentence):
    """The bytes in the code block after a sentence of the document, by the first line of each part if that
    has no bytes, else by the number of the part. Bytes that the document leaves open (xx) are EE."""
    text = DOCUMENT.read_text()
    block = text[text.index(sentence) :].split("```")[1]
    parts = {}
    for number, part in enumerate(block.strip().split("\n\n")):
        lines = part.split("\n")
        codes = [re.match(r"(?:(?:[0-9A-F]{2}|xx)(?: |$))*", line).group() for line in lines]
        parts[number if codes[0] else lines[0]] = bytes.fromhex("".join(codes).replace("xx", "EE"))
    return parts


class WorkedExamples(unittest.TestCase):
    PACK = "an empty store it makes two records in pack 0"
    SHAPES = "The two shapes; that of the list"

    def pack(self):
        return b"".join(examples_of_document(self.PACK)[part] for part in ("pack 0", "object 1", "object 3"))

    def test_pack_and_shapes_are_read_as_the_document_says(self):
        shapes = {}
        for number in (1, 2):
            cursor = kvls.Cursor(examples_of_document(self.SHAPES)[f"shape {number}"])
            shapes[number] = kvls_content.Shape(cursor)
            cursor.end("the shape")
        rows = list(kvls_content.read_pack(0, self.pack()))
        self.assertEqual([row[:3] for row in rows], [(1, 2, 2), (3, 2, 1)])
        bolt, holes = (kvls_content.Record(*row[:3], shapes[row[2]], kvls.Cursor(row[3])) for row in rows)
        self.assertEqual([(part.id, part.class_id, part.version) for part in bolt.parts],
                         [(1, 0x640002, 3), (2, 0x640001, 1)])
        self.assertEqual([field.value for part in bolt.parts for field in part.fields], [0.05, 3, b"M8"])
        self.assertEqual(holes.content.elements, [3, -1])

    def test_each_changed_byte_of_the_pack_is_refused(self):
        data = self.pack()
        for i in range(len(data)):
            damaged = bytearray(data)
            damaged[i] ^= 4
            with self.assertRaises(kvls.Damaged, msg=f"byte {i}"):
                list(kvls_content.read_pack(0, bytes(damaged)))

    def test_nested_value_is_read_as_the_document_says(self):
        parts = examples_of_document("For example, a sequence of points")
        cursor = kvls.Cursor(parts[0])
        self.assertEqual(cursor.byte(), 20)
        nested = kvls.NestedType(cursor)
        cursor.end("the type")
        cursor = kvls.Cursor(parts[1])
        key, label = (5, 0), (6, 0)
        self.assertEqual(nested.read(cursor, 1),
                         [[(key, 1.0), (label, (b"A",))], [(key, 2.0), (label, None)]])
        cursor.end("the value")

    def test_map_in_chunks_is_read_as_the_document_says(self):
        text = b"t" * 3000
        sentence = re.search(r"Block 0 has, .*", DOCUMENT.read_text()).group()
        starts = re.findall(r"`((?:[0-9A-F]{2} ?)+)`", sentence)
        self.assertEqual(len(starts), 3)
        chunk = b"".join(bytes.fromhex(start) + text for start in starts)
        record = examples_of_document("The record of a map from int to string")[0]
        checksum = kvls.hash64(chunk).to_bytes(8, "little")
        cursor = kvls.Cursor(record.replace(b"\xee" * 8, checksum))
        content = kvls.Map(cursor, 8, 1, 2)
        cursor.end("the record")
        entries = content.directory.read({0: chunk}.__getitem__)
        self.assertEqual(entries, [(-1, text), (5, text), (100, text)])


def update():
    for path in sorted(GOLDEN.glob("*.kvs")):
        (EXPECTED / f"{path.stem}.txt").write_text(dump(path))
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder, "made.kvs")
        run_maker("make", path)
        (EXPECTED / f"{MADE}.txt").write_text(without_times(dump(path)))


if __name__ == "__main__":
    if sys.argv[1:] == ["--update"]:
        update()
    else:
        unittest.main()

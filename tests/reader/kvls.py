#!/usr/bin/env python3
"""Reads KVLpersist stores, as docs/store-format.md and docs/store-format-3.md describe them.

  kvls.py dump FILE     prints everything in the store, and checks it
  kvls.py check FILE    checks it only

Needs the Debian packages python3-xxhash and python3-lz4.
"""

import pathlib
import sqlite3
import struct
import sys

from kvls_bytes import *
from kvls_content import *
from kvls_3 import OldRecord, read_old_pack, unpack_old_block

APPLICATION_ID = 1263946835
FEATURES = set()  # those that this reader knows

TABLES_3 = """
CREATE TABLE meta(key TEXT PRIMARY KEY, value) WITHOUT ROWID;
CREATE TABLE class(class_id INTEGER NOT NULL, version INTEGER NOT NULL, name TEXT NOT NULL,
  base_class_id INTEGER NOT NULL, PRIMARY KEY(class_id, version)) WITHOUT ROWID;
CREATE TABLE name(id INTEGER PRIMARY KEY, text TEXT NOT NULL UNIQUE);
CREATE TABLE root(name TEXT PRIMARY KEY, object_id INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE object(id INTEGER PRIMARY KEY, class_id INTEGER NOT NULL, record BLOB NOT NULL);
CREATE TABLE block(key INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE attribute(class_id INTEGER NOT NULL, version INTEGER NOT NULL, name TEXT NOT NULL,
  field_id INTEGER NOT NULL, type INTEGER NOT NULL, type_arg INTEGER NOT NULL,
  collection_type INTEGER NOT NULL,
  PRIMARY KEY(class_id, version, name)) WITHOUT ROWID;
CREATE TABLE pack(key INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE moved_block(place INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE block_place(key INTEGER PRIMARY KEY, place INTEGER NOT NULL);
"""
NOT_IN_2 = ("pack", "moved_block", "block_place")
NOT_IN = {1: ("attribute", *NOT_IN_2), 2: NOT_IN_2}

TABLES_4 = """
CREATE TABLE meta(key TEXT PRIMARY KEY, value) WITHOUT ROWID;
CREATE TABLE block(key INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE class(class_id INTEGER NOT NULL, version INTEGER NOT NULL, name TEXT NOT NULL,
  base_class_id INTEGER NOT NULL, checksum INTEGER NOT NULL, PRIMARY KEY(class_id, version)) WITHOUT ROWID;
CREATE TABLE name(id INTEGER PRIMARY KEY, text TEXT NOT NULL UNIQUE, checksum INTEGER NOT NULL);
CREATE TABLE root(name TEXT PRIMARY KEY, object_id INTEGER NOT NULL, class_id INTEGER NOT NULL,
  checksum INTEGER NOT NULL) WITHOUT ROWID;
CREATE TABLE shape(id INTEGER PRIMARY KEY, data BLOB NOT NULL, checksum INTEGER NOT NULL);
CREATE TABLE object(id INTEGER PRIMARY KEY, record BLOB NOT NULL);
CREATE TABLE save(no INTEGER PRIMARY KEY, at INTEGER NOT NULL, program TEXT, note TEXT,
  next_object_id INTEGER NOT NULL, changed BLOB, sum BLOB, checksum INTEGER NOT NULL);
CREATE TABLE attribute(class_id INTEGER NOT NULL, version INTEGER NOT NULL, name TEXT NOT NULL,
  field_id INTEGER NOT NULL, type INTEGER NOT NULL, type_arg INTEGER NOT NULL,
  collection_type INTEGER NOT NULL,
  unit TEXT NOT NULL, default_value TEXT, PRIMARY KEY(class_id, version, name)) WITHOUT ROWID;
CREATE TABLE enumerator(class_id INTEGER NOT NULL, version INTEGER NOT NULL, attribute TEXT NOT NULL,
  name TEXT NOT NULL, value INTEGER NOT NULL, checksum INTEGER NOT NULL,
  PRIMARY KEY(class_id, version, attribute, name)) WITHOUT ROWID;
CREATE TABLE note(class_id INTEGER NOT NULL, version INTEGER NOT NULL, attribute TEXT NOT NULL,
  name TEXT NOT NULL, text TEXT NOT NULL, checksum INTEGER NOT NULL,
  PRIMARY KEY(class_id, version, attribute, name)) WITHOUT ROWID;
CREATE TABLE pack(key INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE moved_block(place INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE block_place(key INTEGER PRIMARY KEY, place INTEGER NOT NULL);
"""


# Only in a store with the feature "indexes"; who reads needs none of them.
INDEX_TABLES = """
CREATE TABLE index_name(no INTEGER NOT NULL, place INTEGER NOT NULL, class_id INTEGER NOT NULL, name TEXT NOT NULL,
  checksum INTEGER NOT NULL, PRIMARY KEY(no, place)) WITHOUT ROWID;
CREATE TABLE index_entry(no INTEGER NOT NULL, key BLOB NOT NULL, id INTEGER NOT NULL, checksum INTEGER NOT NULL,
  PRIMARY KEY(no, key, id)) WITHOUT ROWID;
"""


# The tags that a field may have, by the type of its attribute; any tag for other types.
TAGS_OF_TYPES = {
    5: (7, 8, 13), 7: (7, 8, 13), 11: (2,), 12: (2,), 101: (3,), 102: (11,), 103: (12,), 104: (4,), 105: (5,),
    106: (6,), 107: (9,), 108: (10,), 109: (17,), 110: (18,), 111: (19,), 120: (15,), 121: (14,), 122: (16,),
    123: (20,),
}


class Text(bytes):
    """What SQLite has as a text; other bytes are of type bytes."""


def statements(text):
    """The statements that make tables, by the table's name, without the blanks that make no difference."""
    made = {}
    for statement in text.split(";"):
        statement = " ".join(statement.split()).replace("( ", "(")
        if statement:
            made[statement.split("(")[0].split()[-1]] = statement
    return made


def tables_of_format(number):
    tables = statements(TABLES_4 if number == 4 else TABLES_3)
    return {name: made for name, made in tables.items() if name not in NOT_IN.get(number, ())}


def encode_row(values):
    """The values of a row, as the checksums of the catalogue cover them."""
    row = bytearray()
    for value in values:
        if value is None:
            row.append(0)
        elif isinstance(value, int):
            row += b"\x01" + struct.pack("<q", value)
        else:
            check(isinstance(value, bytes), f"a value of the type {type(value).__name__}")
            row += (b"\x02" if isinstance(value, Text) else b"\x03") + varint(len(value)) + value
    return bytes(row)


def varint(value):
    encoded = bytearray()
    while value >= 0x80:
        encoded.append(value & 0x7F | 0x80)
        value >>= 7
    return bytes(encoded) + bytes([value])


class Attribute:
    def __init__(self, field_id, type, type_arg, collection_type, unit=Text(), default=None):
        self.field_id, self.type, self.type_arg = field_id, type, type_arg
        self.collection_type, self.unit, self.default = collection_type, unit, default
        self.enumerators, self.notes = {}, {}


class ClassVersion:
    def __init__(self, name, base):
        self.name, self.base, self.attributes, self.notes = name, base, {}, {}


class Save:
    """A row of the log."""

    def __init__(self, row):
        self.no, self.at, self.program, self.note, self.next_object_id, changed, self.sum = row
        self.objects = self.lists = self.roots = ()
        if changed is not None:
            cursor = Cursor(changed)
            self.objects, self.lists = self._read_ids(cursor), self._read_ids(cursor)
            self.roots = [cursor.take(cursor.varint()) for _ in range(cursor.count())]
            check(self.roots == sorted(set(self.roots)), "root names that do not ascend")
            cursor.end(f"what save {self.no} changed")

    def _read_ids(self, cursor):
        ids, last = [], 0
        for _ in range(cursor.count()):
            step = cursor.varint()
            check(step != 0, f"save {self.no} names an object twice")
            last += step
            ids.append(last)
        return ids


class Store:
    """An open store. Reads the header, the catalogue and the log at once, records and blocks on request."""

    def __init__(self, path):
        self._sql = sqlite3.connect(pathlib.Path(path).absolute().as_uri() + "?mode=ro", uri=True)
        self._sql.text_factory = Text
        self._sql.isolation_level = None
        try:
            self._sql.execute("BEGIN")  # one state, also while another program writes
            self._read_header()
            self._check_tables()
            self._read_catalogue()
            self._read_log()
            self._find_blocks()
        except UnicodeDecodeError as error:  # from sqlite3 too: its message has text of the file
            self.close()
            raise Damaged(f"a text that is not UTF-8: {error}") from error
        except BaseException:
            self.close()
            raise

    def close(self):
        self._sql.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    # The header

    def _read_header(self):
        check(self._pragma("application_id") == APPLICATION_ID, "this is no store")
        self.format = self._pragma("user_version")
        check(1 <= self.format <= 4, f"the format {self.format}")
        self.header = dict(self._sql.execute("SELECT key, value FROM meta ORDER BY key"))
        if self.format < 4:
            self.next_object_id = self.header[b"next_object_id"]
            return
        rows = [value for row in self.header.items() if row[0] != b"checksum" for value in row]
        check(hash64(encode_row(rows), hash64(b"meta")) == self._unsigned(self.header.get(b"checksum")),
              "the header does not fit its checksum")
        self.uuid = self.header[b"uuid"]
        check(len(self.uuid) == 16, "the uuid")
        unknown = set(self.header[b"features_to_read"].decode().split()) - FEATURES
        check(not unknown, f"a newer format, with {' '.join(sorted(unknown))}")

    def _pragma(self, name):
        return self._sql.execute(f"PRAGMA {name}").fetchone()[0]

    def _check_tables(self):
        query = "SELECT type, sql FROM sqlite_schema WHERE name NOT LIKE 'sqlite_%'"
        rows = self._sql.execute(query).fetchall()
        check(all(kind == b"table" for kind, _ in rows), "an index, a trigger or a view")
        have = statements(";".join(sql.decode() for _, sql in rows))
        expected = tables_of_format(self.format)
        written = self.header.get(b"features_to_write", b"").decode().split()
        if "indexes" in written:
            expected = expected | statements(INDEX_TABLES)
        if set(written) <= {"indexes"}:
            check(have == expected, "tables that are not those of the format")
        else:
            check(expected.items() <= have.items(), "tables of the format are missing")

    @staticmethod
    def _unsigned(value):
        check(isinstance(value, int), "a checksum that is no integer")
        return value % 2**64

    # The catalogue

    def _rows(self, table, columns, order):
        """The rows of a table, each checked with its checksum if the format has them."""
        summed = self.format == 4
        query = f"SELECT {', '.join(columns)}{', checksum' if summed else ''} FROM {table} ORDER BY {order}"
        for row in self._sql.execute(query).fetchall():
            values = row[: len(columns)]
            if summed:
                more = self._attribute_values(values[0], values[1]) if table == "class" else []
                encoded = encode_row([*values, *more])
                check(hash64(encoded, hash64(self.uuid + table.encode())) == self._unsigned(row[-1]),
                      f"the row {values[:4]} of table {table} does not fit its checksum")
                self._encoded.append((table, encoded))
            yield values

    def _attribute_values(self, class_id, version):
        rows = self._attribute_rows.get((class_id, version), ())
        return [value for row in rows for value in row]

    def _read_catalogue(self):
        self._encoded = []
        self._read_attributes()
        self.classes = {}
        for class_id, version, name, base in self._rows(
                "class", ("class_id", "version", "name", "base_class_id"), "class_id, version"):
            self.classes[class_id, version] = self._make_class(class_id, version, name, base)
        check(self._attribute_rows.keys() <= self.classes.keys(), "an attribute of no class version")
        self.names = dict(self._rows("name", ("id", "text"), "id"))
        check(all(number >= 1 for number in self.names), "the number of a name")
        columns = ("name", "object_id", "class_id")[: 3 if self.format == 4 else 2]
        self.roots = {row[0]: row[1:] for row in self._rows("root", columns, "name")}
        self.shapes, self.shape_bytes = {}, {}
        if self.format == 4:
            self._read_shapes()
            self._read_descriptions()

    def _read_attributes(self):
        self._attribute_rows = {}
        if self.format == 1:
            return
        columns = "name, field_id, type, type_arg, collection_type"
        if self.format == 4:
            columns += ", unit, default_value"
        for row in self._sql.execute(f"SELECT class_id, version, {columns} FROM attribute ORDER BY name"):
            self._attribute_rows.setdefault(row[:2], []).append(row[2:])

    def _make_class(self, class_id, version, name, base):
        made = ClassVersion(name, base)
        for row in self._attribute_rows.get((class_id, version), ()):
            made.attributes[row[0]] = Attribute(*row[1:])
        return made

    def _read_shapes(self):
        for number, data in self._rows("shape", ("id", "data"), "id"):
            check(number == len(self.shapes) + 1, f"the shape {len(self.shapes) + 1} is missing")
            cursor = Cursor(data)
            self.shapes[number] = Shape(cursor)
            cursor.end(f"shape {number}")
            self.shape_bytes[number] = data
        check(len(set(self.shape_bytes.values())) == len(self.shapes), "a shape that is there twice")

    def _read_descriptions(self):
        key = ("class_id", "version", "attribute", "name")
        for *on, name, value in self._rows("enumerator", (*key, "value"), ", ".join(key)):
            self._described(*on).enumerators[name] = value
        for *on, name, text in self._rows("note", (*key, "text"), ", ".join(key)):
            self._described(*on).notes[name] = text

    def _described(self, class_id, version, attribute):
        found = self.classes.get((class_id, version))
        if found and attribute:
            found = found.attributes.get(attribute)
        check(found, f"a description of {attribute} in class {class_id:#x} version {version}")
        return found

    # The log

    def _read_log(self):
        self.saves = []
        if self.format < 4:
            return
        columns = "no, at, program, note, next_object_id, changed, sum"
        for row in self._sql.execute(f"SELECT {columns}, checksum FROM save ORDER BY no").fetchall():
            check(hash64(encode_row(row[:-1]), hash64(self.uuid + b"save")) == self._unsigned(row[-1]),
                  f"the save {row[0]} does not fit its checksum")
            self.saves.append(Save(row[:-1]))
            check(self.saves[-1].no == len(self.saves), f"the save {len(self.saves)} is missing")
        check(self.saves, "no save")
        ids = [save.next_object_id for save in self.saves]
        check(ids == sorted(ids), "next object ids that do not ascend")
        self.next_object_id = ids[-1]

    # Records

    def records(self):
        """All records, ascending by object id."""
        found = {}
        for record, _ in self._read_records():
            check(record.id not in found, f"object {record.id} is there twice")
            check(1 <= record.id and max(part.id for part in record.parts) < self.next_object_id,
                  f"the id of object {record.id}")
            check(record.save is None or 1 <= record.save <= len(self.saves),
                  f"object {record.id} is of no save")
            self._compare(record)
            found[record.id] = record
        return [found[object_id] for object_id in sorted(found)]

    def _read_records(self):
        """Each record, and its term in the sum over the store."""
        if self.format < 4:
            for object_id, class_id, data in self._sql.execute("SELECT id, class_id, record FROM object"):
                yield OldRecord(object_id, class_id, data), 0
            if self.format == 3:
                for key, data in self._sql.execute("SELECT key, data FROM pack"):
                    yield from ((record, 0) for record in read_old_pack(key, data))
            return
        for object_id, data in self._sql.execute("SELECT id, record FROM object"):
            check(len(data) >= 8 and hash64(data[:-8], object_id) == int.from_bytes(data[-8:], "little"),
                  f"object {object_id} does not fit its checksum")
            cursor = Cursor(data[:-8])
            save, shape = cursor.varint(), cursor.varint()
            yield self._read_record(object_id, save, shape, cursor.take(cursor.left()))
        for key, data in self._sql.execute("SELECT key, data FROM pack"):
            for row in read_pack(key, data):
                yield self._read_record(*row)

    def _read_record(self, object_id, save, shape_number, data):
        cursor = Cursor(data)
        check(shape_number == 0 or shape_number in self.shapes, f"the shape of object {object_id}")
        shape = self.shapes[shape_number] if shape_number else Shape(cursor)
        record = Record(object_id, save, shape_number, shape, cursor)
        return record, term_of_hash(1, shape_number, hash64(data, object_id))

    # What is read is compared with the catalogue

    def name_of(self, key):
        """The name of a field, or the text of its number."""
        name, number = key
        if name == 0:
            return Text(b"#%d" % number)
        check(name in self.names, f"the name {name}")
        return self.names[name]

    def _compare(self, record):
        for i, part in enumerate(record.parts):
            described = self.classes.get((part.class_id, part.version))
            check(described, f"object {record.id} is of no class version")
            check(i == 0 or record.parts[i].class_id == base, f"object {record.id} has another base class")
            base = described.base
            for field in part.fields:
                self._compare_field(record, part, field, described)
        if isinstance(record.content, List) and record.content.unit:
            self.name_of((record.content.unit, 0))

    def _compare_field(self, record, part, field, described):
        name = self.name_of(field.key)
        for number in field.type.names() if field.type else ():
            self.name_of((number, 0))
        own_keys = ((0, 0),) if self.format == 4 else ((0, 0), (0, 1))
        is_own = part.class_id in COLLECTION_CLASSES and field.key in own_keys
        if is_own or not described.attributes:
            return
        if field.key[0]:
            attribute = described.attributes.get(name)
        else:
            numbered = (a for a in described.attributes.values() if a.field_id == field.key[1])
            attribute = next(numbered, None)
        check(attribute, f"object {record.id} has the undeclared field {name}")
        tags = (15,) if attribute.collection_type else TAGS_OF_TYPES.get(attribute.type)
        check(tags is None or field.tag in tags, f"the tag of field {name} of object {record.id}")

    # Blocks

    def _find_blocks(self):
        """Notes in which row each block is."""
        self._blocks = {}
        for key, in self._sql.execute("SELECT key FROM block").fetchall():
            if self.format < 4:
                self._blocks[key] = ("block", key)
                continue
            check(key % 4 == 0, f"the row of blocks {key}")
            for number, _ in unpack_row(key, self._row_data("block", key)):
                self._blocks[number] = ("block", key)
        if self.format < 3:
            return
        places = {}
        for key, place in self._sql.execute("SELECT key, place FROM block_place"):
            check(self.format == 4 or key not in self._blocks, f"block {key} is there twice")
            places[place] = key
            self._blocks[key] = ("moved_block", place)
        have = {place for place, in self._sql.execute("SELECT place FROM moved_block")}
        check(have == places.keys(), "a moved block without place")

    def _row_data(self, table, key):
        column = "key" if table == "block" else "place"
        row = self._sql.execute(f"SELECT data FROM {table} WHERE {column} = ?", (key,)).fetchone()
        check(row and isinstance(row[0], bytes), f"the row {key} of table {table}")
        return row[0]

    def _unpack(self, key):
        check(key in self._blocks, f"block {key} is missing")
        table, row = self._blocks[key]
        data = self._row_data(table, row)
        if self.format < 4:
            return unpack_old_block(key, data)
        return unpack_block(key, dict(unpack_row(row, data))[key] if table == "block" else data)

    def load(self, record):
        """Reads what the record has in blocks, and returns the numbers of these blocks. The bytes of a blob
        become the member bytes."""
        content, sizes = record.content, record.block_sizes()
        block = lambda number: self._unpack(record.id * BLOCKS_OF_OBJECT + number)[0]
        if isinstance(content, Map) and content.in_blocks:
            content.entries = content.directory.read(block)
            return content.directory.numbers
        if record.class_id == BLOB_CLASS:
            parts = [block(number) for number in range(len(sizes))]
            check([len(part) for part in parts] == sizes, f"the blocks of blob {record.id}")
            record.bytes = b"".join(parts)
        elif sizes:
            content.elements = []
            for number, size in enumerate(sizes):
                cursor = Cursor(block(number))
                content.elements += content.read(cursor, size, record.id)
                cursor.end(f"block {number} of list {record.id}")
        elif content and content.in_blocks:
            content.elements = []
        return range(len(sizes))

    # Everything

    def check_all(self):
        """Reads and checks everything, and returns all records with their content."""
        records, used = self.records(), set()
        ids = {record.id for record in records}
        for record in records:
            used.update(record.id * BLOCKS_OF_OBJECT + number for number in self.load(record))
        check(used == self._blocks.keys(), "blocks that belong to no object")
        for name, root in self.roots.items():
            check(root[0] in ids, f"the root {name} leads to no object")
        if self.format == 4:
            stored = int.from_bytes(self.saves[-1].sum, "little")
            check(self.sum() == stored, "the content does not fit its sum")
        return records

    def sum(self):
        """The sum over the store, computed from the content."""
        total = sum(record_term for _, record_term in self._read_records())
        for key in self._blocks:
            total += term_of_hash(2, key, self._unpack(key)[1])
        for name, root in self.roots.items():
            total += term_of_content(3, name, struct.pack("<QQ", *root))
        for table, row in self._encoded:
            if table != "root":
                total += term_of_content(4, table.encode(), row)
        return total % 2**128


def main(arguments):
    if len(arguments) != 2 or arguments[0] not in ("dump", "check"):
        sys.exit(__doc__)
    from kvls_dump import dump
    try:
        with Store(arguments[1]) as store:
            lines = dump(store)
            if arguments[0] == "dump":
                print("\n".join(lines))
    except (Damaged, sqlite3.Error) as error:
        sys.exit(f"{arguments[1]}: {error}")


if __name__ == "__main__":
    main(sys.argv[1:])

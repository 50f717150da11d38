"""Shapes, records and blocks of KVLpersist stores of format 4. Knows no tables."""

import struct

import lz4.block
import xxhash

from kvls_bytes import *

BLOCK_ELEMENTS = 2048
BLOB_BLOCK_BYTES = 16384
BLOCKS_OF_OBJECT = 2**20
LIST_CLASS, MAP_CLASS, BLOB_CLASS = 0x230001, 0x230002, 0x230005
COLLECTION_CLASSES = (LIST_CLASS, MAP_CLASS, BLOB_CLASS)


class FieldShape:
    """What a shape says about a field."""

    def __init__(self, cursor):
        self.key = read_field_key(cursor)
        self.tag = cursor.byte()
        self.code = cursor.byte() if self.tag == 15 else 0
        self.type = NestedType(cursor) if self.tag == 20 else None
        check(self.tag in PLAIN_TAGS or self.tag in (14, 15, 20), f"the tag {self.tag}")
        check(self.type is None or self.type.tag >= 32, "a nested value that is not nested")

    def read(self, cursor, owner):
        if self.type:
            return self.type.read(cursor, owner)
        return read_value(cursor, self.tag, self.code, owner)


class PartShape:
    def __init__(self, cursor):
        self.class_id = cursor.varint()
        self.version = cursor.zigzag()
        self.fields = [FieldShape(cursor) for _ in range(cursor.count())]
        keys = {field.key for field in self.fields}
        check(len(keys) == len(self.fields), "a part with a field twice")


class Shape:
    """What records have in common. content is the number of the format; 0 is no collection."""

    def __init__(self, cursor):
        flags = cursor.byte()
        check(flags < 2, f"the flags {flags} of a shape")
        self.ids_follow = flags == 1
        count = cursor.count()
        check(1 <= count <= 1000, f"a shape of {count} parts")
        self.parts = [PartShape(cursor) for _ in range(count)]
        self.content = cursor.byte()
        check(self.content <= 9, f"the content {self.content}")
        self.key_type = self.element_type = 0
        if self.content in (3, 8):
            self.key_type = cursor.byte()
            check(self.key_type in KEYS, f"the key type {self.key_type}")
        if self.content in (1, 2, 3, 5, 6, 7, 8):
            self.element_type = cursor.byte()
            check_element_type(self.element_type)
        check(self.content != 5 or self.element_type == OBJECT_ELEMENT, "content 5 that is not of objects")


class Field:
    """A field of a part: its key (name id, number), its tag, and its value. type: of a nested value."""

    def __init__(self, shape, value):
        self.key, self.tag, self.type, self.value = shape.key, shape.tag, shape.type, value


class Part:
    def __init__(self, shape, object_id):
        self.class_id, self.version, self.id = shape.class_id, shape.version, object_id
        self.fields = []

    def value(self, key):
        return next((field.value for field in self.fields if field.key == key), None)


class List:
    """The elements, if they are in the record; otherwise the count alone."""

    def __init__(self, cursor, content, element_type):
        self.element_type = element_type
        self.wide = content == 5
        self.in_blocks = content in (2, 5, 7)
        self.row_width = cursor.zigzag()
        self.count = cursor.count()
        self.extents, self.unit = None, 0
        if content in (6, 7):
            self._read_more(cursor)
        self.elements = None

    def read(self, cursor, count, owner):
        return read_list_elements(cursor, self.element_type, count, owner, self.wide)

    def _read_more(self, cursor):
        flags = cursor.varint()
        check(flags & ~0x60 == 0 and flags != 0, f"the flags {flags} of a list")
        if flags & 0x20:
            rank = cursor.count()
            check(1 <= rank <= 32, f"{rank} extents")
            self.extents = [cursor.varint() for _ in range(rank)]
            product = 1
            for extent in self.extents:
                product *= extent
            check(product == self.count, "extents that do not fit the count")
        if flags & 0x40:
            self.unit = cursor.varint()
            check(self.unit != 0, "a unit without name")


class Map:
    """Entries (key, element). With a directory they are in chunks, until the store has read them."""

    def __init__(self, cursor, content, key_type=0, element_type=0):
        self.key_type, self.element_type = key_type, element_type
        self.is_int_table = content in (4, 9)
        self.in_blocks = content in (8, 9)
        self.count = cursor.count()
        self.entries = None if self.in_blocks else self.read(cursor, self.count)
        self.directory = Directory(cursor, self) if self.in_blocks else None

    def read(self, cursor, count):
        if self.is_int_table:
            return read_pairs(cursor, count)
        return read_map_entries(cursor, self.key_type, self.element_type, count)


class Listed:
    """A chunk or page in a listing."""

    def __init__(self, cursor):
        self.number = cursor.varint()
        self.entries = cursor.varint()
        self.checksum = cursor.number("Q")
        self.key = cursor.take(cursor.varint())


def read_listing(cursor):
    count = cursor.count()
    check(count != 0, "an empty listing")
    return [Listed(cursor) for _ in range(count)]


class Directory:
    """The directory of a map in chunks."""

    def __init__(self, cursor, owner):
        self.map = owner
        self.depth = cursor.byte()
        check(self.depth in (1, 2), f"a directory of depth {self.depth}")
        self.listed = read_listing(cursor)

    def read(self, block):
        """All entries in their order. block: a function from a number to the content of that block."""
        chunks = self.listed
        self.numbers = [listed.number for listed in self.listed]
        if self.depth == 2:
            chunks = []
            for page in self.listed:
                cursor = self._open(page, block)
                listing = read_listing(cursor)
                cursor.end("a page")
                check(page.entries == sum(listed.entries for listed in listing), "a page of other entries")
                check(page.key == listing[0].key, "a page with another key")
                chunks += listing
            self.numbers += [chunk.number for chunk in chunks]
        check(len(set(self.numbers)) == len(self.numbers), "a chunk that is listed twice")
        check(self.map.count == sum(chunk.entries for chunk in chunks), "a map of other entries")
        entries = []
        for chunk in chunks:
            entries += self._read_chunk(chunk, block)
        check(len({bool(chunk.key) for chunk in chunks}) == 1, "a directory with some keys")
        if chunks[0].key:
            keys = [self._order(key) for key, _ in entries]
            check(all(a < b for a, b in zip(keys, keys[1:])), "keys that do not ascend")
        return entries

    def _order(self, key):
        return b"" if key is None else key

    def _open(self, listed, block):
        content = block(listed.number)
        check(hash64(content) == listed.checksum, f"block {listed.number} does not fit the directory")
        return Cursor(content)

    def _read_chunk(self, chunk, block):
        cursor = self._open(chunk, block)
        check(chunk.entries != 0, "an empty chunk")
        entries = self.map.read(cursor, chunk.entries)
        cursor.end("a chunk")
        check(cursor.data.startswith(chunk.key), "a chunk with another key")
        return entries


class Record:
    """An object: its parts, and its content (List, Map or None). values: the bytes without a shape."""

    def __init__(self, object_id, save, shape_number, shape, cursor):
        self.id, self.save, self.shape_number = object_id, save, shape_number
        self.parts = []
        for i, part in enumerate(shape.parts):
            distance = 0 if shape.ids_follow or i == 0 else cursor.zigzag()
            self.parts.append(Part(part, check_object_id(object_id + i + distance)))
            self.parts[-1].fields = [Field(field, field.read(cursor, object_id)) for field in part.fields]
        self.content = None
        if shape.content in (3, 4, 8, 9):
            self.content = Map(cursor, shape.content, shape.key_type, shape.element_type)
        elif shape.content:
            self.content = List(cursor, shape.content, shape.element_type)
            if not self.content.in_blocks:
                self.content.elements = self.content.read(cursor, self.content.count, object_id)
        cursor.end(f"the record of object {object_id}")

    @property
    def class_id(self):
        return self.parts[0].class_id

    def block_sizes(self):
        """The number of elements or bytes in each block of a list or blob, in the order of the blocks."""
        if self.class_id == BLOB_CLASS:
            total, step = self.parts[0].value((0, 0)), BLOB_BLOCK_BYTES
        elif isinstance(self.content, List) and self.content.in_blocks:
            total, step = self.content.count, BLOCK_ELEMENTS
        else:
            return []
        check(isinstance(total, int) and 0 <= total <= 2**34, f"object {self.id} has the size {total}")
        return [min(step, total - begin) for begin in range(0, total, step)]


def read_pack(key, data):
    """The records of a pack, with their checksums checked: (object id, save, number of the shape, bytes)."""
    cursor = Cursor(data)
    present, save = cursor.number("I"), cursor.varint()
    ids = [32 * key + i for i in range(32) if present >> i & 1]
    shapes = [cursor.varint() for _ in range(cursor.count())]
    check(shapes and len(set(shapes)) == len(shapes), f"the shapes of pack {key}")
    indexes = [cursor.byte() if len(shapes) > 1 else 0 for _ in ids]
    check(max(indexes, default=0) < len(shapes), f"the shapes of pack {key}")
    ends = [cursor.number("H") for _ in ids]
    header = data[: cursor.at]
    check(hash64(header, key) % 2**32 == cursor.number("I"), f"pack {key} does not fit its checksum")
    begin = 0
    for object_id, index, end in zip(ids, indexes, ends):
        check(begin + 4 <= end, f"the ends in pack {key}")
        record = cursor.take(end - begin - 4)
        check(hash64(record, object_id) % 2**32 == cursor.number("I"),
              f"object {object_id} does not fit its checksum")
        yield object_id, save, shapes[index], record
        begin = end
    cursor.end(f"pack {key}")


def unpack_block(key, data):
    """The content of a block, with its checksum checked, and the hash of the content."""
    check(len(data) >= 9, f"block {key} is too short")
    codec, checksum = data[-9], int.from_bytes(data[-8:], "little")
    content = data[:-9]
    check(hash64(content, key + codec * 0x9E3779B97F4A7C15) == checksum,
          f"block {key} does not fit its checksum")
    if codec == 0:
        return content, checksum
    check(codec == 1 or codec % 16 == 2, f"block {key} has the codec {codec}")
    check(len(content) >= 12, f"block {key} is too short")
    content_hash = int.from_bytes(content[-12:-4], "little")
    size = int.from_bytes(content[-4:], "little")
    check(size <= 900_000_000, f"block {key} is too large")
    try:
        content = lz4.block.decompress(content[:-12], uncompressed_size=size)
    except lz4.block.LZ4BlockError as error:
        raise Damaged(f"block {key}: {error}") from error
    check(len(content) == size, f"block {key} has another size")
    if codec != 1:
        content = unshuffle(content, 1 << (codec // 16))
    check(hash64(content, key) == content_hash, f"block {key} has another content")
    return content, content_hash


def unshuffle(data, width):
    count = len(data) // width
    whole = bytearray(count * width)
    for i in range(width):
        whole[i::width] = data[i * count : (i + 1) * count]
    return bytes(whole) + data[count * width :]


def unpack_row(key, data):
    """The blocks of a row of table block: (key, bytes) of those that are there."""
    cursor = Cursor(data)
    ends = cursor.fixed("4I")
    begin = 0
    for i, end in enumerate(ends):
        check(begin <= end, f"the ends of blocks {key} to {key + 3}")
        if end != begin:
            yield key + i, cursor.take(end - begin)
        begin = end
    cursor.end(f"the row of blocks {key} to {key + 3}")


# The terms of the sum over the store.


def term_of_hash(kind, number, content_hash):
    return xxhash.xxh3_128_intdigest(struct.pack("<QQ", number, content_hash), seed=kind)


def term_of_content(kind, key, content):
    return xxhash.xxh3_128_intdigest(content, seed=hash64(key, kind))

"""Records and packs of KVLpersist stores of the formats 1 to 3. Knows no tables."""

from kvls_bytes import *
from kvls_content import BLOB_CLASS, List, Map, Part, Record


class OldField:
    def __init__(self, cursor):
        self.key = read_field_key(cursor)
        self.tag = cursor.byte()
        self.type = None
        if self.tag in (1, 2):
            self.value = None if self.tag == 1 else cursor.take(cursor.varint())
            self.tag = 2
        elif self.tag == 14:
            self.value = Reference(check_object_id(cursor.number("Q")))
        elif self.tag == 15:
            self.value = Owned(check_object_id(cursor.number("Q")), cursor.byte())
        else:
            check(3 <= self.tag <= 16, f"the tag {self.tag}")
            self.value = PLAIN_TAGS[self.tag][1](cursor)


class OldPart(Part):
    def __init__(self, cursor):
        self.class_id, self.version = cursor.varint(), cursor.zigzag()
        self.id = check_object_id(cursor.varint())
        self.fields = [OldField(cursor) for _ in range(cursor.count())]
        check(len({field.key for field in self.fields}) == len(self.fields), "a part with a field twice")


class OldRecord(Record):
    def __init__(self, object_id, class_id, data):
        check(len(data) >= 8, f"the record of object {object_id} is too short")
        checksum = int.from_bytes(data[-8:], "little")
        check(hash64(data[:-8], object_id) == checksum, f"object {object_id} does not fit its checksum")
        cursor = Cursor(data[:-8])
        self.id, self.save, self.shape_number, self.content = object_id, None, None, None
        check(cursor.byte() == 1, "a record of another form")
        self.parts = [OldPart(cursor) for _ in range(cursor.count())]
        first = (self.parts[0].class_id, self.parts[0].id) if self.parts else None
        check(first == (class_id, object_id), f"the first part of object {object_id}")
        content = cursor.byte()
        check(content <= 4, f"the content {content}")
        if content in (1, 2):
            self.content = List(cursor, content, old_element_type(cursor))
            self.content.wide = True
            if content == 1:
                self.content.elements = self.content.read(cursor, self.content.count, object_id)
        elif content == 3:
            key_type = cursor.byte()
            check(key_type in (1, 2), f"the key type {key_type}")
            self.content = Map(cursor, content, key_type, old_element_type(cursor))
        elif content == 4:
            self.content = Map(cursor, content)
        cursor.end(f"the record of object {object_id}")


def old_element_type(cursor):
    element_type = cursor.byte()
    check(1 <= element_type <= 7, f"the element type {element_type}")
    return element_type


def read_old_pack(key, data):
    cursor = Cursor(data)
    present = cursor.number("Q")
    ids = [64 * key + i for i in range(64) if present >> i & 1]
    entries = [(cursor.varint(), cursor.varint()) for _ in ids]
    for object_id, (class_id, size) in zip(ids, entries):
        yield OldRecord(object_id, class_id, cursor.take(size))
    cursor.end(f"pack {key}")


def unpack_old_block(key, data):
    check(len(data) >= 8, f"block {key} is too short")
    checksum = int.from_bytes(data[-8:], "little")
    check(hash64(data[:-8], key) == checksum, f"block {key} does not fit its checksum")
    return data[:-8], checksum

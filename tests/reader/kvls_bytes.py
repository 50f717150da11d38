"""The byte strings of KVLpersist stores: numbers, values, elements and keys. Knows no tables."""

import struct

import xxhash


class Damaged(Exception):
    """What is read is not as the format says."""


def check(condition, what):
    if not condition:
        raise Damaged(what)


def hash64(data, seed=0):
    return xxhash.xxh3_64_intdigest(data, seed=seed % 2**64)


class Cursor:
    """Reads a byte string from its beginning to its end."""

    def __init__(self, data):
        self.data = bytes(data)
        self.at = 0

    def left(self):
        return len(self.data) - self.at

    def take(self, size):
        begin, self.at = self.at, self.at + size
        check(self.at <= len(self.data), "bytes are missing")
        return self.data[begin : self.at]

    def byte(self):
        return self.take(1)[0]

    def fixed(self, code):
        return struct.unpack("<" + code, self.take(struct.calcsize("<" + code)))

    def number(self, code):
        return self.fixed(code)[0]

    def varint(self):
        value = shift = 0
        for byte in self.data[self.at : self.at + 10]:
            self.at += 1
            value |= (byte & 0x7F) << shift
            shift += 7
            if byte < 0x80:
                check(value < 2**64, "a varint of more than 64 bits")
                return value
        raise Damaged("a varint that does not end")

    def zigzag(self):
        return unzigzag(self.varint())

    def count(self):
        """A number of things, each of which has a byte at least or is checked elsewhere."""
        count = self.varint()
        check(count < 2**31, "a count of more than 2^31 - 1")
        return count

    def end(self, what):
        check(self.left() == 0, f"{what} is followed by {self.left()} bytes")


def unzigzag(value):
    return (value >> 1) ^ -(value & 1)


class Reference(int):
    """The id of an object that a field, a value or an element names."""


class Owned(Reference):
    """The id of an object that a field holds."""

    def __new__(cls, object_id, code):
        owned = super().__new__(cls, object_id)
        owned.code = code
        return owned


def read_text(cursor):
    """Length + 1 and the bytes, or 0 for no text."""
    size = cursor.varint()
    return None if size == 0 else cursor.take(size - 1)


def read_bool(cursor):
    byte = cursor.byte()
    check(byte < 2, f"a bool of {byte}")
    return byte == 1


def read_complex(code):
    return lambda cursor: complex(*cursor.fixed(code))


def read_number(code):
    return lambda cursor: cursor.number(code)


# Tag: name, and how its value is read. Tags 14, 15 and 20 need more than the bytes: see Values.
PLAIN_TAGS = {
    2: ("string", read_text),
    3: ("bool", read_bool),
    4: ("int8", read_number("b")),
    5: ("int16", read_number("h")),
    6: ("uint16", read_number("H")),
    7: ("int32", read_number("i")),
    8: ("uint32", read_number("I")),
    9: ("int64", read_number("q")),
    10: ("uint64", read_number("Q")),
    11: ("float", read_number("f")),
    12: ("double", read_number("d")),
    13: ("enum", read_number("i")),
    16: ("bytes", lambda cursor: cursor.take(cursor.varint())),
    17: ("uint8", read_number("B")),
    18: ("complex float", read_complex("ff")),
    19: ("complex double", read_complex("dd")),
}

# Element type: name, and how an element is read. Type 7, an object, depends on where it is.
ELEMENTS = {
    1: ("bool", read_bool),
    2: ("string", read_text),
    3: ("float", read_number("f")),
    4: ("double", read_number("d")),
    5: ("uint32", read_number("I")),
    6: ("int32", read_number("i")),
    8: ("int8", read_number("b")),
    9: ("uint8", read_number("B")),
    10: ("int16", read_number("h")),
    11: ("uint16", read_number("H")),
    12: ("int64", read_number("q")),
    13: ("uint64", read_number("Q")),
    14: ("complex float", read_complex("ff")),
    15: ("complex double", read_complex("dd")),
}
OBJECT_ELEMENT = 7
# Those that are one number each, to read many at once.
NUMBER_ELEMENTS = {3: "f", 4: "d", 5: "I", 6: "i", 8: "b", 9: "B", 10: "h", 11: "H", 12: "q", 13: "Q"}

# Key type of a map: name, and how a key is read.
KEYS = {
    1: ("int32", Cursor.zigzag),
    2: ("string", read_text),
    3: ("int64", Cursor.zigzag),
    4: ("uint64", Cursor.varint),
}
KEY_RANGES = {1: (-(2**31), 2**31 - 1), 3: (-(2**63), 2**63 - 1), 4: (0, 2**64 - 1)}


def element_name(element_type):
    return "object" if element_type == OBJECT_ELEMENT else ELEMENTS[element_type][0]


def check_element_type(element_type):
    check(element_type == OBJECT_ELEMENT or element_type in ELEMENTS, f"the element type {element_type}")


def check_object_id(object_id):
    check(1 <= object_id < 2**43, f"the object id {object_id}")
    return object_id


def read_list_elements(cursor, element_type, count, owner, wide=False):
    """The elements of a list in a record or block. wide: objects are ids of 8 bytes, as in older formats."""
    if element_type in NUMBER_ELEMENTS:
        return list(cursor.fixed(f"{count}{NUMBER_ELEMENTS[element_type]}"))
    if element_type != OBJECT_ELEMENT:
        read = ELEMENTS[element_type][1]
        return [read(cursor) for _ in range(count)]
    elements, before = [], owner
    for _ in range(count):
        code = cursor.number("Q") if wide else cursor.varint()
        if code == 0:
            elements.append(None)
            continue
        before = check_object_id(code if wide else before + unzigzag(code - 1))
        elements.append(Reference(before))
    return elements


def read_key(cursor, key_type):
    key = KEYS[key_type][1](cursor)
    if key_type in KEY_RANGES:
        low, high = KEY_RANGES[key_type]
        check(low <= key <= high, f"the key {key}")
    return key


def read_map_entries(cursor, key_type, element_type, count):
    entries = []
    for _ in range(count):
        key = read_key(cursor, key_type)
        if element_type == OBJECT_ELEMENT:
            element = Reference(check_object_id(cursor.varint()))
        else:
            element = ELEMENTS[element_type][1](cursor)
        entries.append((key, element))
    return entries


def read_pairs(cursor, count):
    return [(cursor.zigzag(), cursor.zigzag()) for _ in range(count)]


class NestedType:
    """A node of the type of a nested value: a tag, with nodes below it."""

    KINDS = {32: "struct", 33: "tuple", 34: "variant", 35: "optional", 36: "sequence", 37: "array", 38: "map"}

    def __init__(self, cursor, depth=1, nodes=None):
        nodes = nodes if nodes is not None else [0]
        nodes[0] += 1
        check(depth <= 16 and nodes[0] <= 1000, "a nested type that is too large")
        self.tag = cursor.byte()
        self.code = self.count = 0
        self.keys, self.below = [], []
        below = lambda: self.below.append(NestedType(cursor, depth + 1, nodes))
        if self.tag == 15:
            self.code = cursor.byte()
        elif self.tag == 32:
            for _ in range(cursor.count()):
                self.keys.append(read_field_key(cursor))
                below()
            check(len(set(self.keys)) == len(self.keys), "a struct with a member twice")
        elif self.tag in (33, 34):
            count = cursor.count()
            check(self.tag == 33 or 1 <= count <= 128, f"a variant of {count} alternatives")
            for _ in range(count):
                below()
        elif self.tag in (35, 36):
            below()
        elif self.tag == 37:
            self.count = cursor.count()
            below()
        elif self.tag == 38:
            below()
            below()
        else:
            check(self.tag == 14 or self.tag in PLAIN_TAGS, f"the tag {self.tag} in a nested type")

    def names(self):
        """The ids of all names in the type."""
        own = {name for name, _ in self.keys if name}
        return own.union(*(node.names() for node in self.below))

    def read(self, cursor, owner):
        """A value of the type. A struct is a list of (key, value), a map a list of pairs, a variant
        (index, value), an optional None or (value,)."""
        if self.tag < 32:
            return read_value(cursor, self.tag, self.code, owner)
        if self.tag == 32:
            return [(key, node.read(cursor, owner)) for key, node in zip(self.keys, self.below)]
        if self.tag == 33:
            return [node.read(cursor, owner) for node in self.below]
        if self.tag == 34:
            index = cursor.varint()
            check(index < len(self.below), f"a variant of the alternative {index}")
            return (index, self.below[index].read(cursor, owner))
        if self.tag == 35:
            return (self.below[0].read(cursor, owner),) if read_bool(cursor) else None
        if self.tag == 38:
            key, value = self.below
            return [(key.read(cursor, owner), value.read(cursor, owner)) for _ in range(cursor.count())]
        count = self.count if self.tag == 37 else cursor.count()
        return [self.below[0].read(cursor, owner) for _ in range(count)]


def read_field_key(cursor):
    """(name id, 0), or (0, number) of a field without name."""
    name = cursor.varint()
    return (name, 0) if name else (0, cursor.zigzag())


def read_value(cursor, tag, code, owner):
    """The value of a field or of a nested value, of a tag below 20. Ids are distances from the owner."""
    if tag in PLAIN_TAGS:
        return PLAIN_TAGS[tag][1](cursor)
    object_id = check_object_id(owner + cursor.zigzag())
    return Owned(object_id, code) if tag == 15 else Reference(object_id)

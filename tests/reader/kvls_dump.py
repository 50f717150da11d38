"""Prints everything in a KVLpersist store, as lines of text that stay the same while the content does."""

from kvls_bytes import *
from kvls_content import BLOB_CLASS, List, Map

LONG_BYTES = 120
LONG_LIST = 24
FIRST, LAST = 6, 3


def quote(data):
    """Bytes between quotes, in ASCII. Long ones are given by their size, hash and ends."""
    if data is None:
        return "none"
    if len(data) > LONG_BYTES:
        return f"{len(data)} bytes, hash {hash64(data):016x}: {quote(data[:16])}..{quote(data[-8:])}"
    special = {0x22: '\\"', 0x5C: "\\\\", 0x0A: "\\n"}
    texts = (special.get(b) or (chr(b) if 0x20 <= b < 0x7F else f"\\x{b:02x}") for b in data)
    return '"' + "".join(texts) + '"'


def show(value):
    """A value of a field or element that is not nested."""
    if value is None or isinstance(value, bytes):
        return quote(value)
    if isinstance(value, Owned):
        return f"object {int(value)}" + (f" (collection {value.code})" if value.code else "")
    if isinstance(value, Reference):
        return f"-> {int(value)}"
    if isinstance(value, bool):
        return str(value).lower()
    if isinstance(value, complex):
        return f"{value.real!r} + {value.imag!r} i"
    return repr(value)


def plain(name):
    """A name without quotes."""
    return name.decode(errors="backslashreplace")


class Dump:
    def __init__(self, store):
        self.store = store
        self.lines = []

    def add(self, depth, text):
        self.lines.append("  " * depth + text)

    def add_long(self, depth, values, text_of):
        """A text for each value, in one line if they are short. Of many values: the first and last, and the
        hash of all."""
        if len(values) > LONG_LIST:
            for value in values[:FIRST]:
                self.add(depth, text_of(value))
            self.add(depth, f".. {len(values)} in all, hash {hash64(repr(values).encode()):016x}")
            for value in values[-LAST:]:
                self.add(depth, text_of(value))
            return
        texts = [text_of(value) for value in values]
        if sum(len(text) + 2 for text in texts) <= LONG_BYTES:
            texts = [", ".join(texts)]
        for text in texts:
            self.add(depth, text)

    def everything(self):
        records = self.store.check_all()
        self.header()
        self.classes()
        for number, name in self.store.names.items():
            self.add(0, f"name {number} {quote(name)}")
        for number, data in self.store.shape_bytes.items():
            self.add(0, f"shape {number} {quote(data) if len(data) > LONG_BYTES else data.hex()}")
        for name, root in self.store.roots.items():
            self.add(0, f"root {quote(name)} object {root[0]}" + (f" class {root[1]:#x}" if root[1:] else ""))
        for record in records:
            self.record(record)
        self.log()
        return self.lines

    def header(self):
        self.add(0, f"format {self.store.format}")
        for key, value in self.store.header.items():
            if key != b"checksum":
                self.add(0, f"{key.decode()} {value.hex() if key == b'uuid' else show(value)}")

    def classes(self):
        for (class_id, version), described in self.store.classes.items():
            name = quote(described.name)
            self.add(0, f"class {class_id:#x} version {version} {name} base {described.base:#x}")
            self.notes(1, described.notes)
            for name, attribute in described.attributes.items():
                text = f"attribute {quote(name)} number {attribute.field_id} type {attribute.type}"
                text += f" {attribute.type_arg} collection {attribute.collection_type}"
                if attribute.unit:
                    text += f" unit {quote(attribute.unit)}"
                if attribute.default is not None:
                    text += f" default {quote(attribute.default)}"
                self.add(1, text)
                for enumerator, value in attribute.enumerators.items():
                    self.add(2, f"enumerator {quote(enumerator)} {value}")
                self.notes(2, attribute.notes)

    def notes(self, depth, notes):
        for name, text in notes.items():
            self.add(depth, f"note {quote(name)} {quote(text)}")

    def record(self, record):
        text = f"object {record.id}"
        if record.save is not None:
            text += f" save {record.save} shape {record.shape_number}"
        self.add(0, text)
        for part in record.parts:
            name = plain(self.store.classes[part.class_id, part.version].name)
            self.add(1, f"part {part.id} class {part.class_id:#x} {name} version {part.version}")
            for field in part.fields:
                self.field(field)
        if record.class_id == BLOB_CLASS:
            self.add(1, f"blob {quote(record.bytes)}")
        elif isinstance(record.content, Map):
            self.map(record.content)
        elif isinstance(record.content, List):
            self.list(record.content)

    def field(self, field):
        name = plain(self.store.name_of(field.key))
        if field.type:
            self.add(2, f"{name} nested")
            self.nested(3, "", field.type, field.value)
        else:
            kind = PLAIN_TAGS[field.tag][0] + " " if field.tag in PLAIN_TAGS else ""
            self.add(2, f"{name} {kind}{show(field.value)}")

    def nested(self, depth, label, node, value):
        """A nested value, with a line for each value in it. label: what comes before it in its line."""
        if node.tag < 32:
            kind = PLAIN_TAGS[node.tag][0] + " " if node.tag in PLAIN_TAGS else ""
            self.add(depth, f"{label}{kind}{show(value)}")
            return
        if node.tag == 35:
            if value is None:
                self.add(depth, f"{label}nothing")
            else:
                self.nested(depth, f"{label}optional ", node.below[0], value[0])
            return
        if node.tag == 34:
            self.nested(depth, f"{label}variant {value[0]} ", node.below[value[0]], value[1])
            return
        kind = node.KINDS[node.tag]
        self.add(depth, f"{label}{kind}" + ("" if node.tag in (32, 33) else f" of {len(value)}"))
        if node.tag == 38:
            for key, element in value:
                self.nested(depth + 1, "key ", node.below[0], key)
                self.nested(depth + 1, "value ", node.below[1], element)
            return
        for i, element in enumerate(value):
            if node.tag == 32:
                key, member = element
                self.nested(depth + 1, plain(self.store.name_of(key)) + " ", node.below[i], member)
            else:
                self.nested(depth + 1, "", node.below[i if node.tag == 33 else 0], element)

    def list(self, content):
        text = f"list of {content.count} {element_name(content.element_type)}, row width {content.row_width}"
        if content.extents is not None:
            text += f", extents {' x '.join(map(str, content.extents))}"
        if content.unit:
            text += f", unit {quote(self.store.names[content.unit])}"
        self.add(1, text + (", in blocks" if content.in_blocks else ""))
        self.add_long(2, content.elements, show)

    def map(self, content):
        if content.is_int_table:
            text = f"int table of {content.count}"
        else:
            text = f"map of {content.count}, {KEYS[content.key_type][0]}"
            text += f" to {element_name(content.element_type)}"
        if content.in_blocks:
            chunks = len(content.directory.numbers)
            text += f", in {chunks} chunks and pages, depth {content.directory.depth}"
        self.add(1, text)
        self.add_long(2, content.entries, lambda entry: f"{show(entry[0])}: {show(entry[1])}")

    def log(self):
        for save in self.store.saves:
            self.add(0, f"save {save.no} at {save.at} program {quote(save.program)} note {quote(save.note)}")
            self.add(1, f"next object id {save.next_object_id} sum {save.sum.hex()}")
            for what, ids in (("objects", save.objects), ("lists", save.lists)):
                if ids:
                    self.add(1, f"changed {what} {' '.join(map(str, ids))}")
            for name in save.roots:
                self.add(1, f"changed root {quote(name)}")


def dump(store):
    """Checks a store and returns the lines."""
    return Dump(store).everything()

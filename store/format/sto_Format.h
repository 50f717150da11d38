#pragma once

#include <cstddef>
#include <cstdint>

/// The constants of the stored form; docs/store-format.md explains it. A number that has reached a file never
/// changes its meaning; new meanings get new numbers.
namespace sto_Format {

/// The version of the form that this module writes, and the newest that it reads.
inline constexpr int Version = 4;
/// The last version without descriptions of attributes.
inline constexpr int VersionWithoutAttributes = 1;
/// The last version without packs of records and without moved blocks.
inline constexpr int VersionWithoutPacks = 2;
/// The last version whose records describe themselves instead of having a shape.
inline constexpr int VersionWithoutShapes = 3;

/// What a program must know to read, and to write, a store of this form: names, separated by spaces. Some may be
/// added while the version stays. These are the ones that this module knows; a new store uses none.
inline constexpr char FeaturesToRead[] = "";
inline constexpr char FeaturesToWrite[] = "indexes";
/// Of the latter: the store has indexes, which whoever writes must keep.
inline constexpr char IndexesFeature[] = "indexes";

/// First byte of each object record of a version without shapes.
inline constexpr std::uint8_t RecordForm = 1;

/// Object ids that share a pack, in this version and in those without shapes.
inline constexpr int IdsInPack = 32;
inline constexpr int IdsInOldPack = 64;
/// A record of more bytes, with its checksum, has a row of its own.
inline constexpr std::size_t MaxPackedBytes = 1000;
/// Bytes of the checksum at the end of a record in a pack, and of the header of a pack.
inline constexpr std::size_t PackedChecksumBytes = 4;

/// The number of no shape: the record begins with its own.
inline constexpr std::int64_t OwnShape = 0;
/// The most shapes of one version of a class. Records that need more begin with their own.
inline constexpr int MaxShapesOfClass = 64;

/// Type of a field's value.
enum ValueTag : std::uint8_t {
  NoText = 1,         ///< a string without text; a shape says Text for both
  Text = 2,           ///< length + 1, bytes; 0 for no text
  Bool = 3,           ///< one byte, 0 or 1
  Int8 = 4,           ///< one byte
  Int16 = 5,          ///< two bytes
  UInt16 = 6,         ///< two bytes
  Int32 = 7,          ///< four bytes
  UInt32 = 8,         ///< four bytes
  Int64 = 9,          ///< eight bytes
  UInt64 = 10,        ///< eight bytes
  Float = 11,         ///< four bytes, IEEE 754
  Double = 12,        ///< eight bytes, IEEE 754
  Enum = 13,          ///< four bytes
  Reference = 14,     ///< an object that is stored on its own: its id minus the id of the record's object
  Object = 15,        ///< the object that the field holds, in the same way; its shape has the collection code
  Bytes = 16,         ///< length, bytes
  UInt8 = 17,         ///< one byte
  ComplexFloat = 18,  ///< real and imaginary part: eight bytes
  ComplexDouble = 19, ///< real and imaginary part: sixteen bytes
  Nested = 20,        ///< a value of values; its shape has the type: see sto_NestedType.h
};
/// The greatest ValueTag.
inline constexpr ValueTag LastTag = Nested;
/// The last tag that the formats without shapes have.
inline constexpr ValueTag LastOldTag = Bytes;

/// The inner nodes in the type of a nested value; the leaves have ValueTags.
enum NestedKind : std::uint8_t {
  NestedStruct = 32,   ///< count of members, key and type of each: their values
  NestedTuple = 33,    ///< count of members, type of each: their values
  NestedVariant = 34,  ///< count of alternatives, type of each: the index of one, its value
  NestedOptional = 35, ///< type: one byte, 0 or 1; after 1 the value
  NestedSequence = 36, ///< type of the elements: count, elements
  NestedArray = 37,    ///< count, type of the elements: elements
  NestedMap = 38,      ///< type of the keys, of the values: count, each key with its value
};

/// How deep the type of a nested value may be, how many nodes it may have, and how many alternatives a variant.
inline constexpr int MaxNestedDepth = 16;
inline constexpr std::size_t MaxNestedNodes = 1000;
inline constexpr std::size_t MaxAlternatives = 128;

/// Type of the elements of a list or a map.
enum ElementType : std::uint8_t {
  ElementBool = 1,
  ElementString = 2,
  ElementFloat = 3,
  ElementDouble = 4,
  ElementUInt = 5,
  ElementInt = 6,
  ElementObject = 7, ///< an object's id: see sto_IdCodec.h for lists; a varint in a map
  ElementInt8 = 8,
  ElementUInt8 = 9,
  ElementInt16 = 10,
  ElementUInt16 = 11,
  ElementInt64 = 12,
  ElementUInt64 = 13,
  ElementComplexFloat = 14, ///< real and imaginary part
  ElementComplexDouble = 15,
};
/// The greatest ElementType, now and in versions without shapes.
inline constexpr ElementType LastElementType = ElementComplexDouble;
inline constexpr ElementType LastOldElementType = ElementObject;

/// Type of a map's keys.
enum KeyType : std::uint8_t {
  KeyInt = 1,
  KeyString = 2,
  KeyInt64 = 3,  ///< a zigzag
  KeyUInt64 = 4, ///< a varint
};
/// The greatest KeyType, now and in versions without shapes.
inline constexpr KeyType LastKeyType = KeyUInt64;
inline constexpr KeyType LastOldKeyType = KeyString;

/// What follows the parts of an object record.
enum Content : std::uint8_t {
  ContentNone = 0,
  ContentInlineList = 1,     ///< the elements are in the record
  ContentBlockList = 2,      ///< the elements are in blocks
  ContentMap = 3,            ///< keys and elements, in the record
  ContentIntTable = 4,       ///< pairs of int, in the record
  ContentFixedIds = 5,       ///< a list of objects in blocks of an older format: eight bytes an id
  ContentListWithMore = 6,   ///< as 1, with extents or a unit: see sto_ListExtra.h
  ContentBlocksWithMore = 7, ///< as 2, with extents or a unit
  ContentMapInChunks = 8,    ///< a map whose entries are in blocks
  ContentTableInChunks = 9,  ///< an int table whose pairs are in blocks
};

/// Elements of a list in one block, whatever their type; the last block may be shorter.
inline constexpr int BlockElementCount = 2048;
/// Blocks of one list or blob that share a row of a table.
inline constexpr int BlocksInRow = 4;
/// Bytes of a blob in one block; the last block may be shorter.
inline constexpr int BlobBlockBytes = 16384;
/// A list of one block whose elements take at most this many bytes is kept in its object's record.
inline constexpr std::size_t InlineListBytes = 4096;
/// A map or an int table whose entries take at most this many bytes is kept in its object's record.
inline constexpr std::size_t InlineMapBytes = 8192;
/// About how many bytes of entries share a chunk, which is a block. A chunk of more than twice as many is cut;
/// one of less than a quarter is joined with a neighbour when it changes.
inline constexpr std::size_t ChunkBytes = 8192;
/// The same for the list of a map's chunks: at most this many bytes are kept in the record, and the blocks
/// that a longer one is cut into have about as many.
inline constexpr std::size_t DirectoryBytes = 4096;
/// The low bits of a block's key: the block's number in its list. The bits above are the list's object id.
inline constexpr int BlockIndexBits = 20;
/// The greatest object id: one that still fits into a block's key.
inline constexpr std::int64_t MaxObjectId = (std::int64_t{1} << (63 - BlockIndexBits)) - 1;
/// Bytes of the checksum at the end of each record and block.
inline constexpr std::size_t ChecksumBytes = 8;

/// The longest record or block, in bytes: the storage takes no longer value.
inline constexpr std::size_t MaxValueBytes = 900'000'000;
/// The most parts of one record: an object's class, its base, the base's base and so on.
inline constexpr std::size_t MaxParts = 1000;
/// The most fields of one record, over all its parts.
inline constexpr std::size_t MaxFields = 100'000;
/// How deep objects may hold objects. Deeper graphs are refused, before the program runs out of stack.
inline constexpr int MaxNesting = 1000;

} // namespace sto_Format

#pragma once

#include <cstddef>
#include <cstdint>

/// The constants of the stored form; docs/store-format.md explains it. A number that has reached a file never
/// changes its meaning; new meanings get new numbers.
namespace sto_Format {

/// The version of the form that this module writes, and the newest that it reads.
inline constexpr int Version = 3;
/// The last version without descriptions of attributes.
inline constexpr int VersionWithoutAttributes = 1;
/// The last version without packs of records and without moved blocks.
inline constexpr int VersionWithoutPacks = 2;

/// First byte of each object record.
inline constexpr std::uint8_t RecordForm = 1;

/// Type of a field's value.
enum ValueTag : std::uint8_t {
  NoText = 1,     ///< a string without text
  Text = 2,       ///< length, bytes
  Bool = 3,       ///< one byte, 0 or 1
  Int8 = 4,       ///< one byte
  Int16 = 5,      ///< two bytes
  UInt16 = 6,     ///< two bytes
  Int32 = 7,      ///< four bytes
  UInt32 = 8,     ///< four bytes
  Int64 = 9,      ///< eight bytes
  UInt64 = 10,    ///< eight bytes
  Float = 11,     ///< four bytes, IEEE 754
  Double = 12,    ///< eight bytes, IEEE 754
  Enum = 13,      ///< four bytes
  Reference = 14, ///< object id: an object that is stored on its own
  Object = 15,    ///< object id, collection code: the object that the field holds
  Bytes = 16,     ///< length, bytes
};

/// Type of the elements of a list or a map.
enum ElementType : std::uint8_t {
  ElementBool = 1,
  ElementString = 2,
  ElementFloat = 3,
  ElementDouble = 4,
  ElementUInt = 5,
  ElementInt = 6,
  ElementObject = 7, ///< object id: eight bytes in a list (0 for no element), a varint in a map
};

/// Type of a map's keys.
enum KeyType : std::uint8_t {
  KeyInt = 1,
  KeyString = 2,
};

/// What follows the parts of an object record.
enum Content : std::uint8_t {
  ContentNone = 0,
  ContentInlineList = 1, ///< the elements are in the record
  ContentBlockList = 2,  ///< the elements are in blocks
  ContentMap = 3,        ///< keys and elements, in the record
  ContentIntTable = 4,   ///< pairs of int, in the record
};

/// Elements of a list in one block, whatever their type; the last block may be shorter.
inline constexpr int BlockElementCount = 2048;
/// Bytes of a blob in one block; the last block may be shorter.
inline constexpr int BlobBlockBytes = 16384;
/// A list of one block whose elements take at most this many bytes is kept in its object's record.
inline constexpr std::size_t InlineListBytes = 4096;
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

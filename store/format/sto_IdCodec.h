#pragma once

#include <cstdint>
#include <vector>

#include "store/format/sto_Codec.h"

// The ids of the elements of a list of objects, in its record or in a block:
//
//     element := 0                    no object
//              | 1 + zigzag(distance) the distance from the object before it in the record or block, or from
//                                     the list's own id
//
// Objects that are saved together have neighbouring ids, so most elements take one byte. Lists that formats 1
// to 3 have put into blocks have eight bytes an id, 0 for no object.

/// Encodes the ids of one record or block. Thread rule: one thread.
class sto_IdEncoder {
 public:
  explicit sto_IdEncoder(std::int64_t list) noexcept : m_List(list), m_Previous(list) {}

  /// Starts the next block.
  void Restart() noexcept { m_Previous = m_List; }
  void Put(sto_ByteWriter& writer, std::int64_t id) {
    if (id == 0) return writer.Varint(0);
    writer.Varint(sto_ToZigZag(sto_Distance(m_Previous, id)) + 1);
    m_Previous = id;
  }

 private:
  std::int64_t m_List;
  std::int64_t m_Previous;
};

/// Decodes them, from bytes that are not trusted. Thread rule: one thread.
class sto_IdDecoder {
 public:
  explicit sto_IdDecoder(std::int64_t list) noexcept : m_Previous(list) {}

  /// The next id, 0 for no object. It may be any number: check it.
  std::int64_t Next(sto_ByteReader& reader) noexcept {
    std::uint64_t const element = reader.Varint();
    if (element == 0) return 0;
    return m_Previous = sto_FromDistance(m_Previous, sto_FromZigZag(element - 1));
  }

 private:
  std::int64_t m_Previous;
};

/// Decodes all ids of a record or block of list `list`, replacing those in `ids`. `isFixed`: eight bytes an
/// id. False if the bytes are not `count` elements.
[[nodiscard]] inline bool sto_DecodeIds(sto_ByteView content, int count, std::int64_t list, bool isFixed,
                                        std::vector<std::int64_t>& ids) {
  constexpr std::size_t FixedBytes = 8;
  auto const size = static_cast<std::size_t>(count);
  if (isFixed ? content.size() != size * FixedBytes : content.size() < size) return false;
  sto_ByteReader reader(content);
  sto_IdDecoder decoder(list);
  ids.resize(size);
  for (std::int64_t& id : ids) id = isFixed ? reader.Number<std::int64_t>() : decoder.Next(reader);
  return !reader.Failed() && reader.Remaining() == 0;
}

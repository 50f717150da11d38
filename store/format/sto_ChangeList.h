#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/format/sto_Codec.h"

/// What a save has changed of what was there before it. Each section ascends, without repetitions.
///
///     list   := count:varint id{count}  count:varint id{count}  count:varint name{count}
///     id     := the difference to the one before (to 0 for the first): varint
///     name   := size:varint bytes
struct sto_ChangeList {
  std::vector<std::int64_t> m_Objects; ///< objects whose records changed or were deleted
  std::vector<std::int64_t> m_Lists;   ///< lists and blobs whose blocks changed or were deleted
  std::vector<std::string> m_Roots;    ///< names that were given to another object, or removed, or are new

  friend bool operator==(sto_ChangeList const& a, sto_ChangeList const& b) = default;
};

/// Sorts the sections and drops repetitions.
void sto_SortChanges(sto_ChangeList& list);

/// Appends the encoded list. REQUIRES: ids are positive.
void sto_EncodeChanges(sto_ChangeList const& list, sto_Bytes& bytes);

/// Decodes a list from bytes that are not trusted. False if they are no such list.
[[nodiscard]] bool sto_DecodeChanges(sto_ByteView bytes, sto_ChangeList& list);

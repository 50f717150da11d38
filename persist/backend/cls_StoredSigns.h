#pragma once

#include "platform/kvl_Export.h"

class cls_FieldHandle;
class cls_MementoRead;

/// What a reading memento offers that reads an int as an unsigned int bit by bit, and the other way: it derives from
/// this class too, and says which of the two a field was written as. So -1 can be told from 4294967295. Thread rule: as
/// the memento. Errors: none.
class KVL_EXPORT cls_StoredSigns {
 public:
  enum class Sign { Unknown, Signed, Unsigned };

  /// Unknown for a field that is absent, or was written as anything else.
  [[nodiscard]] virtual Sign SignOf(cls_FieldHandle const& field) const noexcept = 0;

  /// What a memento offers; null if `memento` is null or does not derive from this class.
  [[nodiscard]] static cls_StoredSigns const* Of(cls_MementoRead const* memento) noexcept;

 protected:
  cls_StoredSigns() = default;
  cls_StoredSigns(cls_StoredSigns const&) = default;
  cls_StoredSigns& operator=(cls_StoredSigns const&) = default;
  ~cls_StoredSigns() = default;
};

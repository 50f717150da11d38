#pragma once

#include "metadata/cls_CollectionType.h"
#include "store/format/sto_Record.h"

/// The fields without name that the objects of collections and blobs have, by number. They are part of the
/// stored form and never change.
namespace sto_CollectionFields {

inline constexpr sto_FieldKey SizeHint{0, 0};  ///< of a list or map that is or was open: expected elements
inline constexpr sto_FieldKey BlobBytes{0, 0}; ///< of a blob: its size
inline constexpr sto_FieldKey Change{0, 1};    ///< how often it was written

} // namespace sto_CollectionFields

/// Whether objects of a class are collections or blobs: they have no attributes of their own, their fields
/// and their content are the module's.
[[nodiscard]] inline bool sto_IsCollectionClass(unsigned int classId) noexcept {
  return classId == cls_InternalListTypeId || classId == cls_InternalMapTypeId || classId == cls_BlobTypeId;
}

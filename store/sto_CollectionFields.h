#pragma once

#include "store/sto_Record.h"

/// The fields without name that the objects of collections and blobs have, by number. They are part of the
/// stored form and never change.
namespace sto_CollectionFields {

inline constexpr sto_FieldKey SizeHint{0, 0};  ///< of a list or map that is or was open: expected elements
inline constexpr sto_FieldKey BlobBytes{0, 0}; ///< of a blob: its size
inline constexpr sto_FieldKey Change{0, 1};    ///< how often it was written

} // namespace sto_CollectionFields

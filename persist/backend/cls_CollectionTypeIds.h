#pragma once

/// Class ID of every stored list: component 35, ordinal 1.
inline constexpr unsigned int cls_InternalListTypeId = 0x230001;
/// Class ID of every stored map and int table.
inline constexpr unsigned int cls_InternalMapTypeId = 0x230002;
/// Class ID of every blob.
inline constexpr unsigned int cls_BlobTypeId = 0x230005;

/// Whether objects of a class are collections or blobs, for which a writing memento is made each time they are
/// reached, and which keep their elements until a builder replaces them.
[[nodiscard]] constexpr bool cls_IsCollectionTypeId(unsigned int classId) noexcept {
  return classId == cls_InternalListTypeId || classId == cls_InternalMapTypeId || classId == cls_BlobTypeId;
}

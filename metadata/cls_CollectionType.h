#pragma once

#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

/// The codes under which persisted collections are declared and checked. A code is a generic kind (a multiple
/// of ten) plus the element's digit: bool 1, double 2, float 3, int 4, cow_String 5, unsigned int 7 in the
/// kinds 50 and 80 and 6 elsewhere. Intentional: the uneven digits. The codes are stored: never renumber
/// them.
enum cls_CollectionType : int {
  COLLECTION_NONE = 0, ///< a plain single value

  // Collections of objects.
  COLLECTION_MAP_STRING_OBJ = 2, ///< keyed by cow_String
  COLLECTION_MAP_INT_OBJ = 3,    ///< keyed by int
  COLLECTION_OBJ = 4,            ///< accepted where objects keyed by cow_String are declared
  COLLECTION_MAP_OBJ = 5,        ///< generic: a keyed collection, before cls_CollectionTypeFix

  // One-dimensional arrays and lists.
  COLLECTION_LIST = 50, ///< generic
  COLLECTION_LIST_BOOL = 51,
  COLLECTION_LIST_DOUBLE = 52,
  COLLECTION_LIST_FLOAT = 53,
  COLLECTION_LIST_INT = 54,
  COLLECTION_LIST_STRING = 55,
  COLLECTION_LIST_UINT = 57,

  // Maps from cow_String to a primitive.
  COLLECTION_MAP_STRING = 60, ///< generic
  COLLECTION_MAP_STRING_FLOAT = 63,
  COLLECTION_MAP_STRING_STRING = 65,
  COLLECTION_MAP_STRING_UINT = 66,

  COLLECTION_KIND_70 = 70, ///< generic; nothing in this library declares it

  // Two-dimensional arrays.
  COLLECTION_TABLE = 80, ///< generic
  COLLECTION_TABLE_DOUBLE = 82,
  COLLECTION_TABLE_FLOAT = 83,
  COLLECTION_TABLE_INT = 84,

  COLLECTION_KIND_90 = 90,   ///< generic; it and its elements are accepted where 2 is declared
  COLLECTION_KIND_100 = 100, ///< generic; it and its elements are accepted where 3 is declared
};

/// The code of a generic kind for an element type. The pointer only selects the element type and is never
/// read: pass null. A value that is not a generic kind for that element is returned unchanged.
///
/// | generic | bool | double | float | int | cow_String | unsigned int |
/// |---|---|---|---|---|---|---|
/// | 5 | 5 | 5 | 5 | 3 | 2 | 5 |
/// | 50, 80 | +1 | +2 | +3 | +4 | +5 | +7 |
/// | 60, 70, 90, 100 | +1 | +2 | +3 | +4 | +5 | +6 |
[[nodiscard]] KVL_EXPORT cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic,
                                                                  bool* selector) noexcept;
[[nodiscard]] KVL_EXPORT cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic,
                                                                  double* selector) noexcept;
[[nodiscard]] KVL_EXPORT cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic,
                                                                  float* selector) noexcept;
[[nodiscard]] KVL_EXPORT cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic,
                                                                  int* selector) noexcept;
[[nodiscard]] KVL_EXPORT cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic,
                                                                  cow_String* selector) noexcept;
[[nodiscard]] KVL_EXPORT cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic,
                                                                  unsigned int* selector) noexcept;

/// Whether a stored collection type is accepted where another is declared: the two are equal, or 2 is
/// declared and 4 or 90 to 96 stored, or 3 is declared and 100 to 106 stored. One-sided: do not swap the
/// arguments.
[[nodiscard]] KVL_EXPORT bool cls_CollectionsMatch(cls_CollectionType stored,
                                                   cls_CollectionType declared) noexcept;

/// Type ID of the class under which every persisted list stands: component 35, ordinal 1.
inline constexpr unsigned int cls_InternalListTypeId = 0x230001;
/// Type ID of the class under which every persisted map stands.
inline constexpr unsigned int cls_InternalMapTypeId = 0x230002;
/// Type ID under which blobs stand.
inline constexpr unsigned int cls_BlobTypeId = 0x230005;

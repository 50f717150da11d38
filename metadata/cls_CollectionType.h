#pragma once

/// The codes under which persisted collections are declared and checked. A code is a generic kind (a multiple
/// of ten) plus the element's digit: bool 1, double 2, float 3, int 4, cow_String 5, unsigned int 7 in the
/// kinds 50 and 80 and 6 elsewhere. The unevenness is meant. Codes stand in stores: never renumber them.
enum cls_CollectionType : int {
  COLLECTION_NONE = 0, ///< a plain single value

  // One-dimensional arrays and lists.
  COLLECTION_LIST_BOOL = 51,
  COLLECTION_LIST_DOUBLE = 52,
  COLLECTION_LIST_FLOAT = 53,
  COLLECTION_LIST_INT = 54,
  COLLECTION_LIST_STRING = 55,
  COLLECTION_LIST_UINT = 57,
};

/// Type ID of the class under which every persisted list stands: component 35, ordinal 1.
inline constexpr unsigned int cls_InternalListTypeId = 0x230001;
/// Type ID of the class under which every persisted map stands.
inline constexpr unsigned int cls_InternalMapTypeId = 0x230002;
/// Type ID under which blobs stand.
inline constexpr unsigned int cls_BlobTypeId = 0x230005;

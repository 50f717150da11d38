#include "metadata/cls_CollectionType.h"

namespace {

/// Adds the element's digit: `listDigit` in the kinds 50 and 80, `digit` in the others.
cls_CollectionType Fix(cls_CollectionType generic, int digit, int listDigit) noexcept {
  switch (generic) {
  case COLLECTION_LIST:
  case COLLECTION_TABLE:
    return static_cast<cls_CollectionType>(generic + listDigit);
  case COLLECTION_MAP_STRING:
  case COLLECTION_KIND_70:
  case COLLECTION_KIND_90:
  case COLLECTION_KIND_100:
    return static_cast<cls_CollectionType>(generic + digit);
  default:
    return generic;
  }
}

constexpr bool IsWithin(int value, int first, int last) noexcept {
  return value >= first && value <= last;
}

} // namespace

cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, bool*) noexcept {
  return Fix(generic, 1, 1);
}
cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, double*) noexcept {
  return Fix(generic, 2, 2);
}
cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, float*) noexcept {
  return Fix(generic, 3, 3);
}
cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, int*) noexcept {
  return generic == COLLECTION_MAP_OBJ ? COLLECTION_MAP_INT_OBJ : Fix(generic, 4, 4);
}
cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, cow_String*) noexcept {
  return generic == COLLECTION_MAP_OBJ ? COLLECTION_MAP_STRING_OBJ : Fix(generic, 5, 5);
}
cls_CollectionType cls_CollectionTypeFix(cls_CollectionType generic, unsigned int*) noexcept {
  return Fix(generic, 6, 7); // intentional: 57 and 87, but 66, 76, 96 and 106
}

bool cls_CollectionsMatch(cls_CollectionType stored, cls_CollectionType declared) noexcept {
  if (stored == declared) return true;
  if (declared == COLLECTION_MAP_STRING_OBJ)
    return stored == COLLECTION_OBJ || IsWithin(stored, COLLECTION_KIND_90, COLLECTION_KIND_90 + 6);
  if (declared == COLLECTION_MAP_INT_OBJ)
    return IsWithin(stored, COLLECTION_KIND_100, COLLECTION_KIND_100 + 6);
  return false;
}

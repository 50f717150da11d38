#include "store/session/sto_ReadableTypes.h"

namespace {

/// Types of one group are read as each other.
enum class Group { Other, Integer, Text, Number, Object };

Group GroupOf(cls_AttributeType type) noexcept {
  switch (type) {
  case ATTR_INT:
  case ATTR_UINT:
  case ATTR_SCHAR:
  case ATTR_SHORT:
  case ATTR_USHORT:
  case ATTR_LONGLONG:
  case ATTR_ULONGLONG:
  case ATTR_UCHAR:
    return Group::Integer;
  case ATTR_STRING:
  case ATTR_TRSTRING:
    return Group::Text;
  case ATTR_FLOAT:
  case ATTR_DOUBLE:
    return Group::Number;
  case ATTR_OBJECT:
  case ATTR_REFERENCE:
    return Group::Object;
  default:
    return Group::Other;
  }
}

bool IsKnown(cls_AttributeType type) noexcept {
  return GroupOf(type) != Group::Other || (type >= ATTR_BOOL && type <= ATTR_NESTED);
}

/// Whether objects that the stored attribute holds are read by an attribute that holds none of them: they would be
/// gone after the load.
bool LosesObjects(cls_AttributeType stored, cls_AttributeType asked) noexcept {
  return stored == ATTR_OBJECT && asked == ATTR_REFERENCE;
}

/// Whether a single value of type `stored` is read as one of type `asked`. A float is read as a double, and not the
/// other way.
bool ValueFits(cls_AttributeType stored, cls_AttributeType asked) noexcept {
  if (stored == asked || !IsKnown(stored) || !IsKnown(asked)) return true;
  if (stored == ATTR_DOUBLE || LosesObjects(stored, asked)) return false;
  return GroupOf(stored) != Group::Other && GroupOf(stored) == GroupOf(asked);
}

/// A generic code says the kind of a collection, and not what is in it.
bool IsGeneric(cls_CollectionType type) noexcept {
  return type >= COLLECTION_LIST && type % 10 == 0;
}

bool CollectionFits(cls_CollectionType stored, cls_CollectionType asked) noexcept {
  if (cls_CollectionsMatch(stored, asked)) return true;
  return (IsGeneric(stored) || IsGeneric(asked)) && stored / 10 == asked / 10;
}

/// Whether a list whose code does not say the type of its elements, or is asked for by such a code, is read. Integers of
/// all widths are read as each other.
bool ElementsFit(cls_AttributeType stored, cls_AttributeType asked) noexcept {
  if (stored == asked || !IsKnown(stored) || !IsKnown(asked)) return true;
  Group const group = GroupOf(stored);
  return group == GroupOf(asked) && (group == Group::Integer || group == Group::Object);
}

/// A list of objects is declared with the code of a list, too.
bool IsObjectList(cls_AttributeType type, cls_CollectionType collection) noexcept {
  return GroupOf(type) == Group::Object && (collection == COLLECTION_LIST || collection == COLLECTION_OBJ);
}

} // namespace

bool sto_CanReadAs(cls_AttributeType stored, cls_CollectionType storedCollection, cls_AttributeType asked,
                   cls_CollectionType askedCollection) noexcept {
  if (storedCollection == COLLECTION_NONE && askedCollection == COLLECTION_NONE)
    return ValueFits(stored, asked);
  if (IsObjectList(stored, storedCollection) && IsObjectList(asked, askedCollection))
    return !LosesObjects(stored, asked);
  if (!CollectionFits(storedCollection, askedCollection)) return false;
  bool const isByElement = storedCollection == COLLECTION_LIST || askedCollection == COLLECTION_LIST;
  return !isByElement || ElementsFit(stored, asked);
}

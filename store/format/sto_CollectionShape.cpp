#include "store/format/sto_CollectionShape.h"

#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_TagFits.h"

namespace {

/// The digit of an element type in the codes of string-keyed maps.
int MapDigit(std::uint8_t elementType) noexcept {
  switch (elementType) {
  case sto_Format::ElementDouble:
    return 2;
  case sto_Format::ElementFloat:
    return 3;
  case sto_Format::ElementInt:
    return 4;
  case sto_Format::ElementString:
    return 5;
  case sto_Format::ElementUInt:
    return 6;
  default:
    return -1;
  }
}

sto_Format::ValueTag TagOf(std::uint8_t elementType) noexcept {
  switch (elementType) {
  case sto_Format::ElementString:
    return sto_Format::Text;
  case sto_Format::ElementFloat:
    return sto_Format::Float;
  case sto_Format::ElementDouble:
    return sto_Format::Double;
  case sto_Format::ElementUInt:
    return sto_Format::UInt32;
  case sto_Format::ElementInt:
    return sto_Format::Int32;
  case sto_Format::ElementBool:
    return sto_Format::Bool;
  case sto_Format::ElementInt8:
    return sto_Format::Int8;
  case sto_Format::ElementUInt8:
    return sto_Format::UInt8;
  case sto_Format::ElementInt16:
    return sto_Format::Int16;
  case sto_Format::ElementUInt16:
    return sto_Format::UInt16;
  case sto_Format::ElementInt64:
    return sto_Format::Int64;
  case sto_Format::ElementUInt64:
    return sto_Format::UInt64;
  case sto_Format::ElementComplexFloat:
    return sto_Format::ComplexFloat;
  case sto_Format::ElementComplexDouble:
    return sto_Format::ComplexDouble;
  default:
    return sto_Format::Object;
  }
}

bool FitsCollectionType(sto_CollectionShape const& shape, cls_CollectionType declared) noexcept {
  bool const isStringMap = shape.m_KeyType == sto_Format::KeyString;
  if (declared == COLLECTION_MAP_STRING_OBJ) return isStringMap && shape.HoldsObjects();
  if (declared == COLLECTION_MAP_INT_OBJ)
    return shape.m_KeyType == sto_Format::KeyInt && shape.HoldsObjects();
  if (declared == COLLECTION_OBJ) return shape.HoldsObjects();
  if (declared == COLLECTION_MAP_OBJ) return shape.IsMap() && shape.HoldsObjects();
  if (declared == COLLECTION_LIST) return !shape.IsMap();
  int const kind = declared / 10 * 10;
  if (kind == COLLECTION_LIST || kind == COLLECTION_TABLE) return !shape.IsMap() && !shape.HoldsObjects();
  if (kind != COLLECTION_MAP_STRING) return true;
  int const digit = MapDigit(shape.m_ElementType);
  bool const hasNoDigit = shape.m_ElementType > sto_Format::LastOldElementType; // newer than the codes
  return isStringMap && (digit > 0 || hasNoDigit) &&
         (declared == COLLECTION_MAP_STRING || declared - kind == digit);
}

/// A list of objects may hold what weak pointers lead to.
bool FitsType(sto_CollectionShape const& shape, cls_AttributeType declared) noexcept {
  if (shape.HoldsObjects() && declared == ATTR_REFERENCE) return true;
  return sto_TagFits(TagOf(shape.m_ElementType), declared);
}

char const* KeyName(std::uint8_t keyType) noexcept {
  switch (keyType) {
  case sto_Format::KeyInt:
    return "int";
  case sto_Format::KeyInt64:
    return "64-bit integer";
  case sto_Format::KeyUInt64:
    return "unsigned 64-bit integer";
  default:
    return "string";
  }
}

} // namespace

std::string sto_CollectionShape::Name() const {
  if (m_IsTable) return "table from int to int";
  char const* const element = sto_ElementTypeName(m_ElementType);
  if (!IsMap()) return std::string("list of ") + element;
  return std::string("map from ") + KeyName(m_KeyType) + " to " + element;
}

bool sto_ShapeFits(sto_CollectionShape const& shape, cls_AttributeMetadata const& declared) noexcept {
  if (!FitsCollectionType(shape, declared.m_CollectionType)) return false;
  bool const hasCode = shape.m_ElementType <= sto_Format::LastOldElementType;
  return (!shape.IsMap() && !shape.HoldsObjects() && hasCode) || FitsType(shape, declared.m_Type);
}

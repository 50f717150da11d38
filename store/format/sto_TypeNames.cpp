#include "store/format/sto_TypeNames.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "store/format/sto_ElementCodec.h"

namespace {

struct Name {
  int m_Code;
  char const* m_Name;
};

constexpr Name AttributeTypes[] = {
    {ATTR_INT, "ATTR_INT"},
    {ATTR_UINT, "ATTR_UINT"},
    {ATTR_STRING, "ATTR_STRING"},
    {ATTR_TRSTRING, "ATTR_TRSTRING"},
    {ATTR_BOOL, "ATTR_BOOL"},
    {ATTR_FLOAT, "ATTR_FLOAT"},
    {ATTR_DOUBLE, "ATTR_DOUBLE"},
    {ATTR_SCHAR, "ATTR_SCHAR"},
    {ATTR_SHORT, "ATTR_SHORT"},
    {ATTR_USHORT, "ATTR_USHORT"},
    {ATTR_LONGLONG, "ATTR_LONGLONG"},
    {ATTR_ULONGLONG, "ATTR_ULONGLONG"},
    {ATTR_OBJECT, "ATTR_OBJECT"},
    {ATTR_REFERENCE, "ATTR_REFERENCE"},
    {ATTR_BYTES, "ATTR_BYTES"},
    {ATTR_UCHAR, "ATTR_UCHAR"},
    {ATTR_COMPLEX_FLOAT, "ATTR_COMPLEX_FLOAT"},
    {ATTR_COMPLEX_DOUBLE, "ATTR_COMPLEX_DOUBLE"},
    {ATTR_NESTED, "ATTR_NESTED"},
};

constexpr Name CollectionTypes[] = {
    {COLLECTION_NONE, "COLLECTION_NONE"},
    {COLLECTION_MAP_STRING_OBJ, "COLLECTION_MAP_STRING_OBJ"},
    {COLLECTION_MAP_INT_OBJ, "COLLECTION_MAP_INT_OBJ"},
    {COLLECTION_OBJ, "COLLECTION_OBJ"},
    {COLLECTION_MAP_OBJ, "COLLECTION_MAP_OBJ"},
    {COLLECTION_LIST, "COLLECTION_LIST"},
    {COLLECTION_LIST_BOOL, "COLLECTION_LIST_BOOL"},
    {COLLECTION_LIST_DOUBLE, "COLLECTION_LIST_DOUBLE"},
    {COLLECTION_LIST_FLOAT, "COLLECTION_LIST_FLOAT"},
    {COLLECTION_LIST_INT, "COLLECTION_LIST_INT"},
    {COLLECTION_LIST_STRING, "COLLECTION_LIST_STRING"},
    {COLLECTION_LIST_UINT, "COLLECTION_LIST_UINT"},
    {COLLECTION_MAP_STRING, "COLLECTION_MAP_STRING"},
    {COLLECTION_MAP_STRING_FLOAT, "COLLECTION_MAP_STRING_FLOAT"},
    {COLLECTION_MAP_STRING_STRING, "COLLECTION_MAP_STRING_STRING"},
    {COLLECTION_MAP_STRING_UINT, "COLLECTION_MAP_STRING_UINT"},
    {COLLECTION_KIND_70, "COLLECTION_KIND_70"},
    {COLLECTION_TABLE, "COLLECTION_TABLE"},
    {COLLECTION_TABLE_DOUBLE, "COLLECTION_TABLE_DOUBLE"},
    {COLLECTION_TABLE_FLOAT, "COLLECTION_TABLE_FLOAT"},
    {COLLECTION_TABLE_INT, "COLLECTION_TABLE_INT"},
    {COLLECTION_KIND_90, "COLLECTION_KIND_90"},
    {COLLECTION_KIND_100, "COLLECTION_KIND_100"},
};

template <std::size_t Count> std::string Find(Name const (&names)[Count], int code) {
  auto const found = std::ranges::find(names, code, &Name::m_Code);
  return found == std::end(names) ? std::to_string(code) : found->m_Name;
}

/// A value's type in messages and in declarations.
struct ValueType {
  std::uint8_t m_Tag;
  char const* m_Name;
  cls_AttributeType m_Type;
};

constexpr ValueType ValueTypes[] = {
    {sto_Format::NoText, "string", ATTR_STRING},
    {sto_Format::Text, "string", ATTR_STRING},
    {sto_Format::Bool, "bool", ATTR_BOOL},
    {sto_Format::Int8, "8-bit integer", ATTR_SCHAR},
    {sto_Format::Int16, "16-bit integer", ATTR_SHORT},
    {sto_Format::UInt16, "unsigned 16-bit integer", ATTR_USHORT},
    {sto_Format::Int32, "32-bit integer", ATTR_INT},
    {sto_Format::UInt32, "unsigned 32-bit integer", ATTR_UINT},
    {sto_Format::Int64, "64-bit integer", ATTR_LONGLONG},
    {sto_Format::UInt64, "unsigned 64-bit integer", ATTR_ULONGLONG},
    {sto_Format::Float, "float", ATTR_FLOAT},
    {sto_Format::Double, "double", ATTR_DOUBLE},
    {sto_Format::Enum, "enumeration", ATTR_INT},
    {sto_Format::Reference, "reference", ATTR_REFERENCE},
    {sto_Format::Object, "object", ATTR_OBJECT},
    {sto_Format::Bytes, "byte string", ATTR_BYTES},
    {sto_Format::UInt8, "unsigned 8-bit integer", ATTR_UCHAR},
    {sto_Format::ComplexFloat, "complex float", ATTR_COMPLEX_FLOAT},
    {sto_Format::ComplexDouble, "complex double", ATTR_COMPLEX_DOUBLE},
    {sto_Format::Nested, "value of values", ATTR_NESTED},
};

/// An element's type in declarations.
struct Element {
  std::uint8_t m_Type;
  cls_AttributeType m_Attribute;
  cls_CollectionType m_List;
  cls_CollectionType m_StringMap; ///< the generic one where the element's own has no name
};

constexpr Element Elements[] = {
    {sto_Format::ElementBool, ATTR_BOOL, COLLECTION_LIST_BOOL, COLLECTION_MAP_STRING},
    {sto_Format::ElementString, ATTR_STRING, COLLECTION_LIST_STRING, COLLECTION_MAP_STRING_STRING},
    {sto_Format::ElementFloat, ATTR_FLOAT, COLLECTION_LIST_FLOAT, COLLECTION_MAP_STRING_FLOAT},
    {sto_Format::ElementDouble, ATTR_DOUBLE, COLLECTION_LIST_DOUBLE, COLLECTION_MAP_STRING},
    {sto_Format::ElementUInt, ATTR_UINT, COLLECTION_LIST_UINT, COLLECTION_MAP_STRING_UINT},
    {sto_Format::ElementInt, ATTR_INT, COLLECTION_LIST_INT, COLLECTION_MAP_STRING},
    {sto_Format::ElementObject, ATTR_OBJECT, COLLECTION_OBJ, COLLECTION_MAP_STRING_OBJ},
    {sto_Format::ElementInt8, ATTR_SCHAR, COLLECTION_LIST, COLLECTION_MAP_STRING},
    {sto_Format::ElementUInt8, ATTR_UCHAR, COLLECTION_LIST, COLLECTION_MAP_STRING},
    {sto_Format::ElementInt16, ATTR_SHORT, COLLECTION_LIST, COLLECTION_MAP_STRING},
    {sto_Format::ElementUInt16, ATTR_USHORT, COLLECTION_LIST, COLLECTION_MAP_STRING},
    {sto_Format::ElementInt64, ATTR_LONGLONG, COLLECTION_LIST, COLLECTION_MAP_STRING},
    {sto_Format::ElementUInt64, ATTR_ULONGLONG, COLLECTION_LIST, COLLECTION_MAP_STRING},
    {sto_Format::ElementComplexFloat, ATTR_COMPLEX_FLOAT, COLLECTION_LIST, COLLECTION_MAP_STRING},
    {sto_Format::ElementComplexDouble, ATTR_COMPLEX_DOUBLE, COLLECTION_LIST, COLLECTION_MAP_STRING},
};

std::string WithArticle(std::string const& noun) {
  bool const isSpokenWithVowel =
      std::string("aeio8").find(noun.front()) != std::string::npos || noun.starts_with("un");
  return (isSpokenWithVowel ? "an " : "a ") + noun;
}

/// The element type of a collection's code; 0 when it has no known one.
std::uint8_t ElementOf(cls_CollectionType type) noexcept {
  int const kind = type / 10 * 10;
  if (kind != COLLECTION_LIST && kind != COLLECTION_MAP_STRING && kind != COLLECTION_TABLE) return 0;
  switch (type - kind) {
  case 1:
    return sto_Format::ElementBool;
  case 2:
    return sto_Format::ElementDouble;
  case 3:
    return sto_Format::ElementFloat;
  case 4:
    return sto_Format::ElementInt;
  case 5:
    return sto_Format::ElementString;
  default:
    return type - kind == (kind == COLLECTION_MAP_STRING ? 6 : 7) ? sto_Format::ElementUInt : 0;
  }
}

/// A collection of objects by its code; empty for others.
char const* ObjectsName(cls_CollectionType type) noexcept {
  switch (type) {
  case COLLECTION_MAP_STRING_OBJ:
    return "a map from string to objects";
  case COLLECTION_MAP_INT_OBJ:
    return "a map from int to objects";
  case COLLECTION_OBJ:
    return "a collection of objects";
  case COLLECTION_MAP_OBJ:
    return "a map to objects";
  default:
    return "";
  }
}

std::string DeclaredText(cls_AttributeMetadata const& declared) {
  return "is declared as " + sto_DeclarationText(declared.m_Type, declared.m_CollectionType);
}

} // namespace

std::string sto_ClassIdText(unsigned int classId) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", classId);
  return text;
}

std::string sto_AttributeTypeName(int code) {
  return Find(AttributeTypes, code);
}

std::string sto_CollectionTypeName(int code) {
  return Find(CollectionTypes, code);
}

std::string sto_DeclarationText(int attributeType, int collectionType) {
  return sto_AttributeTypeName(attributeType) + ", " + sto_CollectionTypeName(collectionType);
}

char const* sto_ValueName(std::uint8_t tag) noexcept {
  auto const found = std::ranges::find(ValueTypes, tag, &ValueType::m_Tag);
  return found == std::end(ValueTypes) ? "unknown value" : found->m_Name;
}

sto_Written sto_Written::Value(sto_Format::ValueTag tag) {
  auto const found = std::ranges::find(ValueTypes, tag, &ValueType::m_Tag);
  int const type = found == std::end(ValueTypes) ? AnyType : found->m_Type;
  return {WithArticle(sto_ValueName(tag)), type, COLLECTION_NONE};
}

sto_Written sto_Written::Collection(sto_CollectionShape const& shape) {
  auto const found = std::ranges::find(Elements, shape.m_ElementType, &Element::m_Type);
  std::string what = WithArticle(shape.Name());
  if (found == std::end(Elements)) return {std::move(what), AnyType, COLLECTION_LIST};
  cls_CollectionType type = found->m_List;
  if (shape.m_KeyType == sto_Format::KeyString) type = found->m_StringMap;
  // Maps of numbers by int have no kind of their own.
  if (shape.m_KeyType == sto_Format::KeyInt)
    type = shape.HoldsObjects() ? COLLECTION_MAP_INT_OBJ : COLLECTION_KIND_70;
  if (shape.m_KeyType == sto_Format::KeyInt64 || shape.m_KeyType == sto_Format::KeyUInt64)
    type = shape.HoldsObjects() ? COLLECTION_MAP_OBJ : COLLECTION_KIND_70;
  return {std::move(what), found->m_Attribute, type};
}

sto_Written sto_Written::Collection(cls_CollectionType type) {
  if (std::string const objects = ObjectsName(type); !objects.empty()) return {objects, ATTR_OBJECT, type};
  auto const found = std::ranges::find(Elements, ElementOf(type), &Element::m_Type);
  if (found == std::end(Elements))
    return {"a collection of type " + sto_CollectionTypeName(type), AnyType, type};
  int const kind = type / 10 * 10;
  char const* const start = kind == COLLECTION_LIST    ? "a list of "
                            : kind == COLLECTION_TABLE ? "a table of "
                                                       : "a map from string to ";
  return {start + std::string(sto_ElementTypeName(found->m_Type)), found->m_Attribute, type};
}

std::string sto_MisdeclaredText(cls_AttributeMetadata const& declared, sto_Written const& written) {
  int const type = written.m_Type == sto_Written::AnyType ? declared.m_Type : written.m_Type;
  return DeclaredText(declared) + ", but " + written.m_What + " is written: declare it as " +
         sto_DeclarationText(type, written.m_CollectionType);
}

std::string sto_MisdeclaredText(cls_AttributeMetadata const& declared, char const* collection) {
  return DeclaredText(declared) + ", but " + WithArticle(collection) +
         " is written: declare it with the collection type of that " + collection;
}

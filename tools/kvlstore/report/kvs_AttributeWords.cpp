#include "tools/kvlstore/report/kvs_AttributeWords.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "metadata/cls_AttributeType.h"
#include "metadata/cls_CollectionType.h"

namespace {

struct Word {
  int m_Code;
  std::string_view m_Word;
};

constexpr std::array<Word, 18> Types = {{{ATTR_INT, "int"},
                                         {ATTR_UINT, "unsigned int"},
                                         {ATTR_STRING, "string"},
                                         {ATTR_TRSTRING, "string"},
                                         {ATTR_BOOL, "bool"},
                                         {ATTR_FLOAT, "float"},
                                         {ATTR_DOUBLE, "double"},
                                         {ATTR_SCHAR, "8-bit integer"},
                                         {ATTR_SHORT, "16-bit integer"},
                                         {ATTR_USHORT, "unsigned 16-bit integer"},
                                         {ATTR_LONGLONG, "64-bit integer"},
                                         {ATTR_ULONGLONG, "unsigned 64-bit integer"},
                                         {ATTR_UCHAR, "unsigned 8-bit integer"},
                                         {ATTR_COMPLEX_FLOAT, "complex float"},
                                         {ATTR_COMPLEX_DOUBLE, "complex double"},
                                         {ATTR_OBJECT, "object"},
                                         {ATTR_REFERENCE, "reference"},
                                         {ATTR_BYTES, "bytes"}}};

std::string TypeWord(int type) {
  if (type == ATTR_NESTED) return "value of values";
  auto const found = std::ranges::find(Types, type, &Word::m_Code);
  return found == Types.end() ? "type " + std::to_string(type) : std::string(found->m_Word);
}

/// The words before the type of the elements.
std::string CollectionWord(int collection) {
  if (collection == COLLECTION_NONE) return "";
  if (collection >= COLLECTION_LIST && collection < COLLECTION_MAP_STRING) return "list of ";
  if (collection >= COLLECTION_MAP_STRING && collection < COLLECTION_KIND_70) return "map from string to ";
  if (collection >= COLLECTION_TABLE && collection < COLLECTION_KIND_90) return "table of ";
  switch (collection) {
  case COLLECTION_MAP_STRING_OBJ:
    return "map from string to ";
  case COLLECTION_MAP_INT_OBJ:
    return "map from int to ";
  case COLLECTION_OBJ:
  case COLLECTION_MAP_OBJ:
    return "collection of ";
  default:
    return "collection " + std::to_string(collection) + " of ";
  }
}

} // namespace

std::string kvs_AttributeWords(int type, int collection) {
  return CollectionWord(collection) + TypeWord(type);
}

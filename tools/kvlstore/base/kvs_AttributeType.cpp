#include "tools/kvlstore/base/kvs_AttributeType.h"

#include "metadata/cls_AttributeType.h"
#include "metadata/cls_CollectionType.h"

namespace {

std::string ElementText(int type) {
  switch (type) {
  case ATTR_INT:
    return "int";
  case ATTR_UINT:
    return "unsigned int";
  case ATTR_STRING:
  case ATTR_TRSTRING:
    return "string";
  case ATTR_BOOL:
    return "bool";
  case ATTR_FLOAT:
    return "float";
  case ATTR_DOUBLE:
    return "double";
  case ATTR_SCHAR:
    return "8-bit integer";
  case ATTR_SHORT:
    return "16-bit integer";
  case ATTR_USHORT:
    return "unsigned 16-bit integer";
  case ATTR_LONGLONG:
    return "64-bit integer";
  case ATTR_ULONGLONG:
    return "unsigned 64-bit integer";
  case ATTR_UCHAR:
    return "unsigned 8-bit integer";
  case ATTR_COMPLEX_FLOAT:
    return "complex float";
  case ATTR_COMPLEX_DOUBLE:
    return "complex double";
  case ATTR_OBJECT:
    return "object";
  case ATTR_REFERENCE:
    return "reference";
  case ATTR_BYTES:
    return "bytes";
  case ATTR_NESTED:
    return "values";
  default:
    return "type " + std::to_string(type);
  }
}

} // namespace

std::string kvs_AttributeTypeText(sto_AttributeDescription const& attribute) {
  std::string element = ElementText(attribute.m_Type);
  int const code = attribute.m_CollectionType;
  if (code == COLLECTION_NONE) return element;
  if (code == COLLECTION_OBJ) return element + "s";
  if (code == COLLECTION_MAP_OBJ) return "map to " + element;
  if (code == COLLECTION_MAP_STRING_OBJ || (code >= 60 && code < 70) || (code >= 90 && code < 100))
    return "map from string to " + element;
  if (code == COLLECTION_MAP_INT_OBJ || (code >= 70 && code < 80) || (code >= 100 && code < 110))
    return "map from int to " + element;
  if (code >= 50 && code < 60) return "list of " + element;
  if (code >= 80 && code < 90) return "table of " + element;
  return "collection " + std::to_string(code) + " of " + element;
}

bool kvs_LeadsToObjects(sto_AttributeDescription const& attribute) {
  return attribute.m_Type == ATTR_OBJECT || attribute.m_Type == ATTR_REFERENCE;
}

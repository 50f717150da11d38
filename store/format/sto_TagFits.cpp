#include "store/format/sto_TagFits.h"

bool sto_TagFits(sto_Format::ValueTag tag, cls_AttributeType type) noexcept {
  switch (type) {
  case ATTR_INT:
  case ATTR_UINT: // an error number is written unsigned and read signed; the bits are the same
    return tag == sto_Format::Int32 || tag == sto_Format::UInt32 || tag == sto_Format::Enum;
  case ATTR_STRING:
  case ATTR_TRSTRING:
    return tag == sto_Format::NoText || tag == sto_Format::Text;
  case ATTR_BOOL:
    return tag == sto_Format::Bool;
  case ATTR_FLOAT:
    return tag == sto_Format::Float;
  case ATTR_DOUBLE:
    return tag == sto_Format::Double;
  case ATTR_SCHAR:
    return tag == sto_Format::Int8;
  case ATTR_SHORT:
    return tag == sto_Format::Int16;
  case ATTR_USHORT:
    return tag == sto_Format::UInt16;
  case ATTR_LONGLONG:
    return tag == sto_Format::Int64;
  case ATTR_ULONGLONG:
    return tag == sto_Format::UInt64;
  case ATTR_OBJECT:
    return tag == sto_Format::Object;
  case ATTR_REFERENCE:
    return tag == sto_Format::Reference;
  case ATTR_BYTES:
    return tag == sto_Format::Bytes;
  case ATTR_UCHAR:
    return tag == sto_Format::UInt8;
  case ATTR_COMPLEX_FLOAT:
    return tag == sto_Format::ComplexFloat;
  case ATTR_COMPLEX_DOUBLE:
    return tag == sto_Format::ComplexDouble;
  case ATTR_NESTED:
    return tag == sto_Format::Nested;
  }
  return true;
}

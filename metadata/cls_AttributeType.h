#pragma once

/// The codes under which attributes are declared. The codes are stored: never renumber them. Codes that are
/// not listed belong to the host and its back ends, which may declare attributes of further types.
enum cls_AttributeType : int {
  ATTR_INT = 5,       ///< signed 32-bit integer, enumeration
  ATTR_UINT = 7,      ///< unsigned 32-bit integer
  ATTR_STRING = 11,   ///< cow_String
  ATTR_TRSTRING = 12, ///< atr_String

  // Codes of this library, chosen far from the host's small numbers.
  ATTR_BOOL = 101,
  ATTR_FLOAT = 102,
  ATTR_DOUBLE = 103,
  ATTR_SCHAR = 104,          ///< signed char
  ATTR_SHORT = 105,          ///< short
  ATTR_USHORT = 106,         ///< unsigned short
  ATTR_LONGLONG = 107,       ///< long long
  ATTR_ULONGLONG = 108,      ///< unsigned long long
  ATTR_UCHAR = 109,          ///< unsigned char
  ATTR_COMPLEX_FLOAT = 110,  ///< std::complex<float>
  ATTR_COMPLEX_DOUBLE = 111, ///< std::complex<double>
  ATTR_OBJECT = 120,    ///< an object that the attribute holds; for collections, with their collection type
  ATTR_REFERENCE = 121, ///< the identity of an object that is stored on its own
  ATTR_BYTES = 122,     ///< a string of bytes
  ATTR_NESTED = 123,    ///< a value of values: a struct, variant, optional, sequence, map
};

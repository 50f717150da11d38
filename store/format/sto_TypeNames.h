#pragma once

#include <cstdint>
#include <string>

#include "metadata/cls_AttributeMetadata.h"
#include "store/format/sto_CollectionShape.h"
#include "store/format/sto_Format.h"

// How messages name types: as they are written in C++ sources, so that whoever corrects the program finds
// them there. Internal to the module.

/// A class ID: "0x650001".
[[nodiscard]] std::string sto_ClassIdText(unsigned int classId);

/// A cls_AttributeType: "ATTR_DOUBLE"; a code without name as a number.
[[nodiscard]] std::string sto_AttributeTypeName(int code);

/// A cls_CollectionType: "COLLECTION_LIST_DOUBLE"; a code without name as a number.
[[nodiscard]] std::string sto_CollectionTypeName(int code);

/// A declaration: "ATTR_DOUBLE, COLLECTION_LIST_DOUBLE".
[[nodiscard]] std::string sto_DeclarationText(int attributeType, int collectionType);

/// The type of a stored value, in words: "double", "unsigned 16-bit integer".
[[nodiscard]] char const* sto_ValueName(std::uint8_t tag) noexcept;

/// Something written or stored: its name in words, and how an attribute for it is declared.
struct sto_Written {
  static constexpr int AnyType = -1; ///< the element type is not known

  std::string m_What; ///< "a list of double"
  int m_Type;         ///< cls_AttributeType, or AnyType
  cls_CollectionType m_CollectionType;

  [[nodiscard]] static sto_Written Value(sto_Format::ValueTag tag);
  [[nodiscard]] static sto_Written Collection(sto_CollectionShape const& shape);
  /// From the code that a collection checks for.
  [[nodiscard]] static sto_Written Collection(cls_CollectionType type);
};

/// Error text for an attribute with the wrong declaration, with the right one: "is declared as ATTR_DOUBLE,
/// COLLECTION_NONE, but a list of double is written: declare it as ATTR_DOUBLE, COLLECTION_LIST_DOUBLE".
[[nodiscard]] std::string sto_MisdeclaredText(cls_AttributeMetadata const& declared,
                                              sto_Written const& written);

/// The same for a list or a map ("list", "map") whose element type is not known.
[[nodiscard]] std::string sto_MisdeclaredText(cls_AttributeMetadata const& declared, char const* collection);

#pragma once

#include <cstdint>
#include <string>

#include "metadata/cls_AttributeMetadata.h"
#include "store/format/sto_CollectionShape.h"
#include "store/format/sto_Format.h"

// How messages name types: as the sources of the program that is to be put right write them. Internal to the
// module.

/// A class ID: "0x650001".
[[nodiscard]] std::string sto_ClassIdText(unsigned int classId);

/// A cls_AttributeType: "ATTR_DOUBLE"; the number of a code that has no name.
[[nodiscard]] std::string sto_AttributeTypeName(int code);

/// A cls_CollectionType: "COLLECTION_LIST_DOUBLE"; the number of a code that has no name.
[[nodiscard]] std::string sto_CollectionTypeName(int code);

/// A declaration: "ATTR_DOUBLE, COLLECTION_LIST_DOUBLE".
[[nodiscard]] std::string sto_DeclarationText(int attributeType, int collectionType);

/// The type of a stored value, in words: "double", "unsigned 16-bit integer".
[[nodiscard]] char const* sto_ValueName(std::uint8_t tag) noexcept;

/// What is written, or stored: in words, and how an attribute for it is declared.
struct sto_Written {
  static constexpr int AnyType = -1; ///< the type of the elements is not known

  std::string m_What; ///< "a list of double"
  int m_Type;         ///< cls_AttributeType, or AnyType
  cls_CollectionType m_CollectionType;

  [[nodiscard]] static sto_Written Value(sto_Format::ValueTag tag);
  [[nodiscard]] static sto_Written Collection(sto_CollectionShape const& shape);
  /// By the code that a collection checks for.
  [[nodiscard]] static sto_Written Collection(cls_CollectionType type);
};

/// What is wrong with the declaration of an attribute, and how it would be right: "is declared as
/// ATTR_DOUBLE, COLLECTION_NONE, but a list of double is written: declare it as ATTR_DOUBLE,
/// COLLECTION_LIST_DOUBLE".
[[nodiscard]] std::string sto_MisdeclaredText(cls_AttributeMetadata const& declared,
                                              sto_Written const& written);

/// The same for a list or a map of which nothing else is known.
[[nodiscard]] std::string sto_MisdeclaredText(cls_AttributeMetadata const& declared, char const* collection);

#pragma once

#include "metadata/cls_AttributeType.h"
#include "metadata/cls_CollectionType.h"
#include "platform/cow/cow_String.h"

/// What is declared about one attribute of a class. A plain value.
struct cls_AttributeMetadata {
  int m_FieldId = -1;                                    ///< the field handle's number; -1: no number
  cow_String m_Name;                                     ///< the field handle's name
  cls_AttributeType m_Type{};                            ///< type of the value, or of a collection's elements
  unsigned int m_TypeArg = 0;                            ///< kept as given; the library passes 1
  cls_CollectionType m_CollectionType = COLLECTION_NONE; ///< COLLECTION_NONE for a single value

  friend bool operator==(cls_AttributeMetadata const& a, cls_AttributeMetadata const& b) noexcept = default;
};

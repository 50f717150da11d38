#pragma once

#include <string>

#include "metadata/cls_AttributeType.h"
#include "metadata/cls_ClassNotes.h"
#include "metadata/cls_CollectionType.h"
#include "store/format/sto_IndexKey.h"

/// What is wrong with the notes on the attributes of a class version, to follow its name; empty if nothing is.
/// `find` returns what is declared as an attribute, by its name: a pointer to something with m_Type and
/// m_CollectionType, or null. Internal to the module.
template <class Find> [[nodiscard]] std::string sto_ProblemOfNotes(cls_ClassNotes const& notes, Find find) {
  for (auto const& [name, said] : notes.OfAttributes()) {
    auto const* const attribute = find(name);
    if (attribute == nullptr) return " has notes on attribute " + name + ", which it does not declare itself";
    bool const mayHaveBlocks =
        attribute->m_CollectionType != COLLECTION_NONE || attribute->m_Type == ATTR_OBJECT;
    if (said.m_Compress && !mayHaveBlocks)
      return " says whether attribute " + name + " is compressed, which is no list, array or blob";
    if (said.m_IsIndexed && !sto_CanBeIndexed(attribute->m_Type, attribute->m_CollectionType))
      return " says that attribute " + name +
             " is indexed, which is no single number, bool, enumeration or string";
  }
  return {};
}

#pragma once

#include <string_view>
#include <typeinfo>

#include "describe/dsc_Coverage.h"
#include "metadata/cls_ClassRegistrar.h"
#include "platform/kvl_Export.h"

// What does not depend on the class in the declaration of a described class. Internal to describe/.

/// What is declared of a described class.
struct dsc_DeclaredClass {
  char const* m_Name;
  unsigned int m_ClassId;
  int m_Version;
  unsigned int m_BaseClassId;
  std::type_info const& m_Adapter;
  char const* m_File; ///< where the class is described; empty if that is not known
  int m_Line;
};

/// Whether the class is declared in the registrar already. Raises nex_TextException if its class ID or its name
/// belongs to another class there.
[[nodiscard]] KVL_EXPORT bool dsc_IsDeclared(cls_ClassRegistrar const& registrar,
                                             dsc_DeclaredClass const& declared);

/// Raises nex_TextException if the base class does not lie first in the class. Pointers to objects of the class, which
/// are built by its metadata, are taken for pointers to their base class.
KVL_EXPORT void dsc_CheckBaseOffset(cls_ClassRegistrar const& registrar, dsc_DeclaredClass const& declared,
                                    std::size_t offset);

/// Notes where the class is described. Raises nex_TextException if its base class is not declared.
KVL_EXPORT void dsc_BeginDeclaring(cls_ClassRegistrar& registrar, dsc_DeclaredClass const& declared);

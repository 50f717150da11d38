#pragma once

#include <span>

#include "metadata/cls_RegistrarHook.h"
#include "platform/kvl_Export.h"

/// The error module's component of the type table, its persisted classes, and the failure checks that it
/// hands to the class registry. For the module's start-up.
struct KVL_EXPORT nex_TypeTable {
  static constexpr unsigned int Component = 31;
  /// The registry part that the module's classes are declared into.
  static constexpr unsigned int RegistrarMask = 2;

  /// Registers the ten entries of component 31.
  static void InsertEntries();

  /// The nine exception classes in the order in which they are declared.
  static std::span<cls_ClassDeclaration const> Declarations() noexcept;

  /// The failure checks; each raises nex_TextException from this source file.
  static cls_RegistrarChecks Checks() noexcept;
};

#pragma once

#include "platform/kvl_Export.h"

/// The error module's component of the type table, and the checks of the class registrar, which raise its
/// exceptions. For the module's start-up.
struct KVL_EXPORT nex_TypeTable {
  static constexpr unsigned int Component = 31;

  /// Installs the three checks of cls_ClassRegistrar, then registers the ten entries of component 31. The
  /// checks raise nex_TextException and stay installed for the life of the process.
  static void InsertEntries();
};

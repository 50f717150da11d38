#pragma once

#include "platform/kvl_Export.h"

/// The error module's component of the type table, and the checks that it installs in the class registrar.
/// For the module's start-up.
struct KVL_EXPORT nex_TypeTable {
  static constexpr unsigned int Component = 31;

  /// Installs the three checks of cls_ClassRegistrar, then registers the ten entries of component 31. The
  /// checks throw nex_TextException and stay installed as long as the process runs.
  static void InsertEntries();
};

#pragma once

#include "bench/oo7/oo7_System.h"

/// The store, with described classes that refer to each other; see oo7_LazySession. Opening loads nothing; a commit
/// saves what was changed.
[[nodiscard]] std::unique_ptr<oo7_System> oo7_MakeLazySystem();

#pragma once

#include "bench/oo7/oo7_System.h"

/// The store, with the whole graph of described classes under one root. Opening loads all; a commit saves all.
[[nodiscard]] std::unique_ptr<oo7_System> oo7_MakeStoreSystem();

#pragma once

#include "bench/oo7/oo7_System.h"

/// Boost.Serialization: the whole graph in a binary archive. Opening loads all; a commit writes the archive anew.
[[nodiscard]] std::unique_ptr<oo7_System> oo7_MakeBoostSystem();

#pragma once

#include "bench/oo7/oo7_System.h"

/// The floor: plain objects with plain pointers, and no file. They stay in memory between sessions.
[[nodiscard]] std::unique_ptr<oo7_System> oo7_MakeMemorySystem();

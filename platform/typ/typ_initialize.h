#pragma once

#include "platform/kvl_Export.h"

/// Starts the typ module. Counted: only the first call acts and raises `count` by one.
/// Thread rule: single-threaded start-up.
KVL_EXPORT void typ_initialize(int& count);

/// Stops the typ module, in the call that matches the first typ_initialize, which lowers `count` by one.
KVL_EXPORT void typ_finalize(int& count);

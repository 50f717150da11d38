#pragma once

#include "platform/kvl_Export.h"

/// Starts the cow module. Counted: only the first call acts and raises `count` by one.
/// Thread rule: single-threaded start-up.
KVL_EXPORT void cow_initialize(int& count);

/// Stops the cow module, in the call that matches the first cow_initialize, which lowers `count` by one.
KVL_EXPORT void cow_finalize(int& count);

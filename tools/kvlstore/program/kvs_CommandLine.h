#pragma once

#include "tools/kvlstore/base/kvs_Error.h"

/// Reads the arguments of the program and carries them out. Prints help and wrong calls itself. Errors: those of the
/// verbs.
[[nodiscard]] kvs_Status kvs_RunCommandLine(int count, char const* const* arguments);

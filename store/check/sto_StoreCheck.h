#pragma once

#include <cstddef>

#include "store/session/sto_Session.h"
#include "store/sto_CheckReport.h"

/// Checks the store of a session; see sto_Store::Check.
[[nodiscard]] sto_CheckReport sto_CheckStore(sto_Session& session, sto_CheckDepth depth, std::size_t limit);

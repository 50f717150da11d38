#pragma once

#include <cstdint>
#include <string_view>

#include "store/base/sto_RootDescription.h"
#include "store/session/sto_Session.h"

/// Describes a root from its object's record and the log of saves; see sto_Store::DescribeRoot. `id`: its object.
/// REQUIRES: an open transaction. Damaged. Thread rule: the thread of the session.
[[nodiscard]] sto_RootDescription sto_DescribeRoot(sto_Session& session, std::string_view root,
                                                   std::int64_t id);

#pragma once

#include <cstdint>
#include <string>

class sto_Session;

/// Describes where object `holder` holds object `held`, for messages: "attribute m_Left of object 3 (Frame)",
/// "an element of the list of object 9". REQUIRES: `holder` is stored or being saved. Internal to the module.
[[nodiscard]] std::string sto_HolderText(sto_Session& session, std::int64_t holder, std::int64_t held);

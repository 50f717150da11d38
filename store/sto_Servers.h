#pragma once

#include <string>
#include <string_view>

#include "platform/kvl_Export.h"

/// Whether a location is one of a store on a server: "postgresql://user@host/database#name". Everything else is a file.
[[nodiscard]] KVL_EXPORT bool sto_IsOnServer(std::string_view location) noexcept;

/// A location without passwords, as messages show it.
[[nodiscard]] KVL_EXPORT std::string sto_ShownLocation(std::string const& location);

/// Removes a store from a server with all its content, for good and at once. Sessions that have it open get NotFound.
/// Misuse for a file: delete that. NotFound if there is no such store; Unavailable, ReadOnly, Busy. Thread rule: any
/// thread.
KVL_EXPORT void sto_RemoveFromServer(std::string const& location);

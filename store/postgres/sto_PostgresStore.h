#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "store/driver/sto_Driver.h"
#include "store/sto_Options.h"

/// Whether a location is one of a store in a PostgreSQL database: "postgresql://user@host/database#name".
[[nodiscard]] inline bool sto_IsInPostgres(std::string_view location) noexcept {
  return location.starts_with("postgresql://") || location.starts_with("postgres://");
}

/// A location as messages show it: without passwords.
[[nodiscard]] std::string sto_ShownLocation(std::string const& location);

/// Makes a store in a PostgreSQL database, and the tables if there are none. Conflict if it has a store of this name.
/// Unavailable if the library was built without PostgreSQL.
[[nodiscard]] std::unique_ptr<sto_Driver> sto_CreateInPostgres(std::string const& location,
                                                               sto_Options const& options);
/// Opens such a store. NotFound, NewerFormat, Unavailable.
[[nodiscard]] std::unique_ptr<sto_Driver> sto_OpenInPostgres(std::string const& location, bool readOnly,
                                                             sto_Options const& options);

#pragma once

#include <memory>
#include <string>

#include "store/driver/sto_Driver.h"
#include "store/sto_Options.h"

/// Makes a store in a PostgreSQL database, and the tables if there are none. Conflict if it has a store of this name.
/// Unavailable if the library was built without PostgreSQL.
[[nodiscard]] std::unique_ptr<sto_Driver> sto_CreateInPostgres(std::string const& location,
                                                               sto_Options const& options);
/// Opens such a store. NotFound, NewerFormat, Unavailable.
[[nodiscard]] std::unique_ptr<sto_Driver> sto_OpenInPostgres(std::string const& location, bool readOnly,
                                                             sto_Options const& options);
/// Removes such a store. NotFound, Unavailable, ReadOnly, Busy.
void sto_RemoveFromPostgres(std::string const& location, sto_Options const& options);

/// Conflict if there is such a store.
void sto_RequireFreeInPostgres(std::string const& location, sto_Options const& options);
/// Gives such a store the name in another location of the same database. NotFound; Conflict if the name is taken.
void sto_RenameInPostgres(std::string const& from, std::string const& to, sto_Options const& options);

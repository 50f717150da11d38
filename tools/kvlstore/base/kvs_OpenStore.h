#pragma once

#include <string>

#include "store/sto_Store.h"

/// Opens a store for reading, with no classes of a program. If a program was killed in the middle of a transaction, that
/// is rolled back first, as every program does that opens the store. Errors: as sto_Store::Open.
[[nodiscard]] sto_Store kvs_OpenToRead(std::string const& location);
/// Opens it for writing. An older format is refused.
[[nodiscard]] sto_Store kvs_OpenToWrite(std::string const& location);

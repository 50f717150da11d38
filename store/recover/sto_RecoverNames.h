#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "store/recover/sto_RecoverResults.h"
#include "store/sqlite/sto_SqliteCatalogue.h"

/// Adds what shapes need and the catalogue lacks: class versions, without a description, and names. A name is that of the
/// only attribute that it can be, or the one in SQLite's index of names if it fits; otherwise a new one. Reports each.
/// REQUIRES: an open write transaction.
void sto_CompleteNames(sto_SqliteCatalogue& catalogue, std::map<std::int64_t, std::string> const& inIndex,
                       sto_RecoverResults& results);

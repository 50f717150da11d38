#pragma once

#include "bench/oo7/oo7_System.h"

/// Tables by hand in an SQLite file with the settings of the store's files; see oo7_SqliteSession.
[[nodiscard]] std::unique_ptr<oo7_System> oo7_MakeSqliteSystem();

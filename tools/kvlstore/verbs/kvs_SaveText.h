#pragma once

#include "store/base/sto_SaveEntry.h"

class kvs_Output;

/// Prints an entry of the log: one line, and what it changed below if `isLong`.
void kvs_PrintSave(sto_SaveEntry const& save, bool isLong, bool json, kvs_Output& out);

#pragma once

#include <vector>

#include "bench/oo7/oo7_Session.h"

/// Ends the program unless the operations that ran have the counts that follow from the definition of the database, for
/// "small3" and "medium3".
void oo7_RequireCounts(oo7_Measured const& measured, oo7_Parameters const& parameters);

/// Ends the program unless two systems have met the same objects in the same state in each run of each operation.
void oo7_RequireEqual(oo7_Measured const& one, oo7_Measured const& other);

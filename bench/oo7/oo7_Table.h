#pragma once

#include <vector>

#include "bench/oo7/oo7_Session.h"

/// Prints the times of the operations that ran, a column for each system. If those ran, also the ratios between systems that
/// keep the whole graph.
void oo7_PrintTable(std::vector<oo7_Measured> const& all, oo7_Parameters const& parameters);

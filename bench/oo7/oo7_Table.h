#pragma once

#include <vector>

#include "bench/oo7/oo7_Session.h"

/// Prints the times of the operations that ran, a column for each system. If those ran, also the ratios between the
/// systems that read what they need ("lazy" and "sqlite"), and between those that keep the whole graph.
void oo7_PrintTable(std::vector<oo7_Measured> const& all, oo7_Parameters const& parameters);

#pragma once

#include "examples/failures/fail_Truss.h"

#include <string>
#include <vector>

// The example's analyses: one that succeeds, and one for each way in which a run can fail.
namespace fail_Cases {

// The two-bar truss of von Mises: half span 10 m, rise 1 m, an axial stiffness of 210 MN, and a reference
// load of 100 kN down on the apex, which is node 2. It snaps through at 79.6 kN.
fail_Truss TwoBarTruss();

// A girder of this many square panels of 1 m, on two supports, with a downward load of 1 kN on each lower
// node between them.
fail_Truss Girder(int panelCount);

// All analyses. The one that needs a load table reads "gusts.loads" in the given folder.
std::vector<fail_Analysis> All(std::string const& folder);

} // namespace fail_Cases

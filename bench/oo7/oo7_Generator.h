#pragma once

#include "bench/oo7/oo7_Random.h"
#include "bench/oo7/oo7_Rows.h"

/// Draws a database. The same parameters give the same rows, on every machine.
[[nodiscard]] oo7_Rows oo7_DrawDatabase(oo7_Parameters const& parameters);

/// Draws one composite part with its atomic parts and connections. The ids of the atomic parts follow from its id.
[[nodiscard]] oo7_CompositeRow oo7_DrawComposite(oo7_Parameters const& parameters, int id,
                                                 oo7_Random& random);

#pragma once

#include <functional>

#include "tests/faults/ModelScript.h"

/// A script that still fails and from which no part can be taken: halves, quarters and so on to single steps
/// are dropped as long as `fails` says that the rest does; then faults and numbers are made simple.
ModelScript ModelShrink(ModelScript script, std::function<bool(ModelScript const&)> const& fails);

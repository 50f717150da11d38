#pragma once

#include <functional>

#include "tests/faults/ModelScript.h"

/// A shorter script that still fails: drops halves, quarters and so on down to single steps while `fails`
/// returns true for the rest; then simplifies faults and numbers.
ModelScript ModelShrink(ModelScript script, std::function<bool(ModelScript const&)> const& fails);

#pragma once

#include <ostream>

#include "tools/kvlstore/emit/kvs_EmitModel.h"

/// Writes a Python module with a dataclass for each class of a store: those that kvs_SurveyClasses returns. Every field has a
/// default value, and metadata: its stored name, its type in words, its unit. Enumerations are enum.IntEnum. It reads no
/// stores by itself.
void kvs_EmitPython(kvs_EmitModel const& model, std::ostream& out);

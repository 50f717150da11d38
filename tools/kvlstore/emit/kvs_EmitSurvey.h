#pragma once

#include <string>

#include "tools/kvlstore/emit/kvs_EmitModel.h"

/// Finds out all that a store and its objects say about its classes. Reads every object, and of lists and maps of objects
/// the elements; other lists are not read. `store`: the name for the comment at the top of what is emitted.
///
/// Memory: 16 bytes for each object. Errors: those of the inspection; Damaged for a damaged object.
[[nodiscard]] kvs_EmitModel kvs_SurveyClasses(sto_Inspection const& inspection, std::string store);

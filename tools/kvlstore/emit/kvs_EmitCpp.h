#pragma once

#include <ostream>

#include "tools/kvlstore/emit/kvs_EmitModel.h"

/// Writes a C++ header with described classes that read a store of these classes: those that kvs_SurveyClasses returns.
///
/// Associations are references (sto_Ref, sto_List, sto_Map), so an object is loaded when it is asked for. A class has the
/// version of the store if a described class can declare just what that has; otherwise the next one, and a comment says why.
/// What no described class reads is left out, and a comment says what and why. Texts of the store are escaped, and its names
/// made into identifiers; fields keep their stored names.
void kvs_EmitCpp(kvs_EmitModel const& model, std::ostream& out);

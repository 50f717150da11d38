#pragma once

#include <string>

#include "tools/kvlstore/emit/kvs_EmitPlan.h"

/// The C++ type of a member of a class.
[[nodiscard]] std::string kvs_CppType(kvs_EmitPlan const& plan, kvs_PlannedClass const& in,
                                      kvs_Member const& member);

/// What it is initialised with: " = 0", "{0, 0}"; empty if its constructor does that.
[[nodiscard]] std::string kvs_CppInitialiser(kvs_Member const& member);

/// The headers that a member needs, as they are installed: "store/refs/sto_Ref.h", "<map>".
[[nodiscard]] std::set<std::string> kvs_CppHeaders(kvs_Member const& member);

/// Whether a described class has a unit for a member of this shape: it stores numbers.
[[nodiscard]] bool kvs_HasUnit(kvs_Shape const& shape) noexcept;

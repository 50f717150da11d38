#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "tools/kvlstore/emit/kvs_EmitShape.h"

/// The value that counts where an attribute is not stored, as the store says it.
using kvs_DefaultValue = std::variant<bool, std::int64_t, std::uint64_t, double, std::string>;

/// Empty if the store says none, or one that the attribute's type does not have. An enumeration's is a number.
[[nodiscard]] std::optional<kvs_DefaultValue> kvs_DefaultOf(kvs_Attribute const& attribute,
                                                            kvs_Shape const& shape);

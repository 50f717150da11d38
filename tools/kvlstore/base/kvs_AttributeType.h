#pragma once

#include <string>

#include "store/base/sto_ClassDescription.h"

/// What an attribute is declared as, in words: "double", "list of double", "map from string to float", "object",
/// "objects"; codes of a host program as numbers.
[[nodiscard]] std::string kvs_AttributeTypeText(sto_AttributeDescription const& attribute);
/// Whether it holds or refers to objects.
[[nodiscard]] bool kvs_LeadsToObjects(sto_AttributeDescription const& attribute);

#pragma once

#include <string>

/// How an attribute is declared, in words: "double", "list of int", "map from string to object". A code without name is a number.
/// `type`: cls_AttributeType; `collection`: cls_CollectionType.
[[nodiscard]] std::string kvs_AttributeWords(int type, int collection);

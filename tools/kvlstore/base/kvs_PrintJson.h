#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "store/base/sto_SaveEntry.h"

class kvs_Output;

// JSON that several verbs print. Texts that are no UTF-8 get U+FFFD.

/// Prints a value on several lines, or on one.
void kvs_PrintJson(kvs_Output& out, nlohmann::ordered_json const& value, bool isOneLine = false);
/// null for an empty text.
[[nodiscard]] nlohmann::ordered_json kvs_TextOrNull(std::string const& text);
/// An entry of the log; with the ids that it changed, or how many there are.
[[nodiscard]] nlohmann::ordered_json kvs_SaveJson(sto_SaveEntry const& save, bool withIds);

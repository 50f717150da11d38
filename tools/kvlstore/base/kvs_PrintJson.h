#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "store/base/sto_SaveEntry.h"

class kvs_Output;

// JSON that several verbs print. Texts that are no UTF-8 get U+FFFD. What a terminal would obey is escaped.

/// JSON in UTF-8, with \u0080 and so on instead of the characters that control a terminal or turn the direction of a line.
/// It says the same.
[[nodiscard]] std::string kvs_SafeJson(std::string json);

/// Prints a value on several lines, or on one.
void kvs_PrintJson(kvs_Output& out, nlohmann::ordered_json const& value, bool isOneLine = false);
/// null for an empty text.
[[nodiscard]] nlohmann::ordered_json kvs_TextOrNull(std::string const& text);
/// An entry of the log; with the ids that it changed, or how many there are.
[[nodiscard]] nlohmann::ordered_json kvs_SaveJson(sto_SaveEntry const& save, bool withIds);

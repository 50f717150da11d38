#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/inspect/sto_InspectedMap.h"
#include "store/inspect/sto_InspectedObject.h"
#include "store/inspect/sto_InspectedValue.h"

// Values of a store as texts for people and as JSON. Thread rule: any thread.

/// How many elements of a list the verbs read at once: they need no more memory than these.
constexpr std::int64_t kvs_ElementsAtOnce = 1 << 15;

/// One line: `2.5`, `"steel"`, `{x: 1, y: 2}`, `#17`. What is longer than `maxChars` ends with "...".
[[nodiscard]] std::string kvs_ValueText(sto_InspectedValue const& value, std::size_t maxChars = 200);
/// The same with the name of an enumerator and the unit: `Steel (7)`, `2.5 mm`.
[[nodiscard]] std::string kvs_FieldText(sto_InspectedField const& field, std::size_t maxChars = 200);

/// Appends JSON. An object's id is `{"object": 17}`, a complex number `[re, im]`, bytes are hexadecimal digits, a map in a
/// value is a list of pairs, numbers that are not finite are "NaN", "Infinity", "-Infinity", and a text without text is
/// null. Bytes that are no UTF-8 become U+FFFD. What a terminal would obey is escaped.
void kvs_AppendJson(std::string& to, sto_InspectedValue const& value, std::string_view kind = {});
void kvs_AppendJson(std::string& to, std::string_view text);
void kvs_AppendJson(std::string& to, double value);
/// A key of a map as a value.
[[nodiscard]] sto_InspectedValue kvs_ValueOf(sto_InspectedKey const& key);

/// Appends the elements from `first` to before `end` of a slice, separated by commas.
void kvs_AppendElementsJson(std::string& to, sto_InspectedElements const& elements);
/// One element of a slice as a value.
[[nodiscard]] sto_InspectedValue kvs_ElementOf(sto_InspectedElements const& elements, std::size_t index);

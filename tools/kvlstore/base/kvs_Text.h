#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include <fmt/compile.h>
#include <fmt/format.h>

// How texts, numbers, sizes and times are shown. Thread rule: any thread.

/// A text from a store as it may be printed on a terminal: control characters, and bytes that are no UTF-8, as `\x1b`;
/// line feeds and tabs as `\n` and `\t`; a backslash doubled.
[[nodiscard]] std::string kvs_Printable(std::string_view text);
/// The same in quotation marks, which are escaped in the text.
[[nodiscard]] std::string kvs_Quoted(std::string_view text);

/// Appends a number as kvs_Number writes it. Quick: arrays have many.
template <class T>
requires std::is_arithmetic_v<T>
void kvs_AppendNumber(std::string& to, T value) {
  char text[64];
  to.append(text, fmt::format_to(text, FMT_COMPILE("{}"), value));
}
/// At most `maxBytes` of a text, which ends where a character ends.
[[nodiscard]] std::string_view kvs_Beginning(std::string_view text, std::size_t maxBytes);

/// The shortest text that reads as the same number.
[[nodiscard]] std::string kvs_Number(double value);
/// "1.5+2i"
[[nodiscard]] std::string kvs_Number(std::complex<double> value);
/// "1,234,567"
[[nodiscard]] std::string kvs_Count(std::int64_t count);
/// "1 object", "1,234 objects"
[[nodiscard]] std::string kvs_Count(std::int64_t count, std::string_view thing);
/// "0 B", "14.2 KiB", "3.1 GiB"
[[nodiscard]] std::string kvs_Bytes(std::int64_t bytes);
/// "2026-11-23 18:04:05.123 UTC", of milliseconds since the beginning of 1970.
[[nodiscard]] std::string kvs_Time(std::int64_t milliseconds);
/// "0x650001"
[[nodiscard]] std::string kvs_ClassId(unsigned int id);

/// Whether a text matches a pattern with `*`, `?` and `[a-z]`, as file names do in a shell; `*` also matches a slash. `?`
/// is any character; the characters of a set are ASCII. A text also matches itself as a pattern: names have brackets.
[[nodiscard]] bool kvs_Matches(std::string_view text, std::string_view pattern);

#include "tools/kvlstore/base/kvs_Text.h"

#include <array>
#include <chrono>
#include <cmath>
#include <limits>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace {

/// How many bytes from the beginning of a text are one character in UTF-8 that may be printed; 0: none.
std::size_t CharacterBytes(std::string_view text) {
  auto const at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  unsigned const first = at(0);
  if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
  std::size_t const count = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < count) return 0;
  for (std::size_t i = 1; i < count; ++i)
    if ((at(i) & 0xC0U) != 0x80U) return 0;
  unsigned const second = at(1);
  if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
      (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F))
    return 0;
  // Control characters of Latin-1, and those that turn the direction of what follows.
  if (first == 0xC2 && second < 0xA0) return 0;
  if (first == 0xE2 && second == 0x80 && (at(2) >= 0xA8 && at(2) <= 0xAE)) return 0;
  if (first == 0xE2 && second == 0x81 && (at(2) >= 0xA6 && at(2) <= 0xA9)) return 0;
  return count;
}

/// Whether a byte is of a character in UTF-8, but not its first one.
bool IsWithinCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

std::string Escaped(std::string_view text, char quote) {
  std::string shown;
  shown.reserve(text.size() + 2);
  while (!text.empty()) {
    std::size_t const count = CharacterBytes(text);
    char const c = text.front();
    if (c == '\n')
      shown += "\\n";
    else if (c == '\t')
      shown += "\\t";
    else if (c == '\\' || (quote != 0 && c == quote))
      (shown += '\\') += c;
    else if (count == 0)
      fmt::format_to(std::back_inserter(shown), "\\x{:02x}", static_cast<unsigned char>(c));
    else
      shown.append(text, 0, count);
    text.remove_prefix(count == 0 ? 1 : count);
  }
  return shown;
}

/// Whether a character is in the set that a pattern begins with after `[`; removes the set from the pattern.
bool IsInSet(char c, std::string_view& pattern) {
  bool const isExcluded = !pattern.empty() && (pattern[0] == '!' || pattern[0] == '^');
  if (isExcluded) pattern.remove_prefix(1);
  bool isIn = false;
  for (bool isFirst = true; !pattern.empty() && (isFirst || pattern[0] != ']'); isFirst = false) {
    char const low = pattern[0];
    char high = low;
    if (pattern.size() > 2 && pattern[1] == '-' && pattern[2] != ']') {
      high = pattern[2];
      pattern.remove_prefix(2);
    }
    isIn = isIn || (low <= c && c <= high);
    pattern.remove_prefix(1);
  }
  if (!pattern.empty()) pattern.remove_prefix(1);
  return isIn != isExcluded;
}

} // namespace

std::string kvs_Printable(std::string_view text) {
  return Escaped(text, 0);
}

std::string kvs_Quoted(std::string_view text) {
  return '"' + Escaped(text, '"') + '"';
}

std::string_view kvs_Beginning(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  std::size_t end = maxBytes;
  while (end > 0 && maxBytes - end < 3 && IsWithinCharacter(text[end])) --end;
  return text.substr(0, IsWithinCharacter(text[end]) ? maxBytes : end);
}

std::string kvs_Number(double value) {
  return fmt::format("{}", value);
}

std::string kvs_Number(std::complex<double> value) {
  return fmt::format("{}{:+}i", value.real(), value.imag());
}

std::string kvs_Count(std::int64_t count) {
  std::string text = std::to_string(count);
  for (std::size_t at = text.size(); at > (count < 0 ? 4U : 3U); at -= 3) text.insert(at - 3, 1, ',');
  return text;
}

std::string kvs_Count(std::int64_t count, std::string_view thing) {
  return fmt::format("{} {}{}", kvs_Count(count), thing, count == 1 ? "" : "s");
}

std::string kvs_Bytes(std::int64_t bytes) {
  constexpr std::array Units{"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  // What would be rounded to 1024.0 has the next unit.
  for (; value >= (unit == 0 ? 1024 : 1023.95) && unit + 1 < Units.size(); ++unit) value /= 1024;
  return unit == 0 ? fmt::format("{} B", bytes) : fmt::format("{:.1f} {}", value, Units[unit]);
}

std::string kvs_Time(std::int64_t milliseconds) {
  constexpr std::int64_t Last = 253402300799999; // the end of the year 9999
  if (milliseconds < 0 || milliseconds > Last) return fmt::format("{} ms after 1970", milliseconds);
  auto const seconds = static_cast<std::time_t>(milliseconds / 1000);
  return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:03} UTC", fmt::gmtime(seconds), milliseconds % 1000);
}

std::string kvs_ClassId(unsigned int id) {
  return fmt::format("{:#x}", id);
}

bool kvs_Matches(std::string_view text, std::string_view pattern) {
  if (text == pattern) return true;
  std::string_view afterStar; // the pattern after the last star
  std::string_view starText;  // what it may match from
  bool hasStar = false;
  while (!text.empty() || !pattern.empty()) {
    if (!pattern.empty() && pattern[0] == '*') {
      pattern.remove_prefix(1);
      afterStar = pattern;
      starText = text;
      hasStar = true;
      continue;
    }
    if (!pattern.empty() && !text.empty()) {
      std::string_view rest = pattern.substr(1);
      bool const isSame = pattern[0] == '?'   ? true
                          : pattern[0] == '[' ? IsInSet(text[0], rest)
                                              : pattern[0] == text[0];
      if (isSame) {
        bool const isAny = pattern[0] == '?';
        pattern = rest;
        do text.remove_prefix(1);
        while (isAny && !text.empty() && IsWithinCharacter(text[0]));
        continue;
      }
    }
    if (!hasStar || starText.empty()) return false;
    starText.remove_prefix(1);
    text = starText;
    pattern = afterStar;
  }
  return true;
}

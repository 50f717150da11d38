#include "tools/kvlstore/report/kvs_VisibleText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>

namespace {

constexpr std::string_view Replacement = "\xEF\xBF\xBD";

/// A character of UTF-8 at the beginning of a text.
struct Character {
  std::uint32_t m_Code = 0;
  std::size_t m_Bytes = 0; ///< 0: there is none
};

std::size_t LengthOf(unsigned char lead) noexcept {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

Character CharacterAt(std::string_view text) noexcept {
  auto const lead = static_cast<unsigned char>(text.front());
  std::size_t const length = LengthOf(lead);
  if (length == 0 || length > text.size()) return {};
  if (length == 1) return {lead, 1};
  std::uint32_t code = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    auto const next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0U) != 0x80U) return {};
    code = (code << 6) | (next & 0x3FU);
  }
  constexpr std::array<std::uint32_t, 5> Least = {0, 0, 0x80, 0x800, 0x10000};
  bool const isSurrogate = code >= 0xD800 && code < 0xE000;
  if (code < Least[length] || code > 0x10FFFF || isSurrogate) return {};
  return {code, length};
}

/// Whether a character is not seen itself, but changes how others are seen.
bool Acts(std::uint32_t code) noexcept {
  struct Range {
    std::uint32_t m_First;
    std::uint32_t m_Last;
  };
  constexpr std::array<Range, 9> Ranges = {{{0x80, 0x9F},
                                            {0x61C, 0x61C},
                                            {0x200B, 0x200B},
                                            {0x200E, 0x200F},
                                            {0x2028, 0x202E},
                                            {0x2060, 0x2069},
                                            {0xFEFF, 0xFEFF},
                                            {0xFFF0, 0xFFFB},
                                            {0xE0000, 0xE0FFF}}};
  return std::ranges::any_of(
      Ranges, [code](Range const& range) { return code >= range.m_First && code <= range.m_Last; });
}

void AppendNumber(std::string& to, std::uint32_t code) {
  std::array<char, 8> digits{};
  char const* const end = std::to_chars(digits.data(), digits.data() + digits.size(), code, 16).ptr;
  to += "\xE2\x9F\xA8U+"; // an angle bracket
  for (std::ptrdiff_t i = end - digits.data(); i < 4; ++i) to += '0';
  for (char const* digit = digits.data(); digit != end; ++digit)
    to += *digit >= 'a' ? static_cast<char>(*digit - 'a' + 'A') : *digit;
  to += "\xE2\x9F\xA9";
}

void AppendPicture(std::string& to, std::uint32_t control) {
  std::uint32_t const picture = control == 0x7F ? 0x21 : control; // U+2400 and this
  to += "\xE2\x90";
  to += static_cast<char>(0x80U + picture);
}

char const* EntityOf(char character) noexcept {
  switch (character) {
  case '&':
    return "&amp;";
  case '<':
    return "&lt;";
  case '>':
    return "&gt;";
  case '"':
    return "&quot;";
  case '\'':
    return "&#39;";
  default:
    return nullptr;
  }
}

} // namespace

std::string kvs_VisibleText(std::string_view bytes) {
  std::string visible;
  visible.reserve(bytes.size());
  while (!bytes.empty()) {
    Character const next = CharacterAt(bytes);
    if (next.m_Bytes == 0)
      visible += Replacement;
    else if (next.m_Code < 0x20 || next.m_Code == 0x7F)
      AppendPicture(visible, next.m_Code);
    else if (Acts(next.m_Code))
      AppendNumber(visible, next.m_Code);
    else
      visible += bytes.substr(0, next.m_Bytes);
    bytes.remove_prefix(std::max<std::size_t>(next.m_Bytes, 1));
  }
  return visible;
}

std::string_view kvs_FirstBytes(std::string_view bytes, std::int64_t limit) noexcept {
  auto end = static_cast<std::size_t>(std::max<std::int64_t>(limit, 0));
  if (end >= bytes.size()) return bytes;
  // At most three bytes of a character follow its first one.
  for (int i = 0; i < 3 && end > 0 && (static_cast<unsigned char>(bytes[end]) & 0xC0U) == 0x80U; ++i) --end;
  return bytes.substr(0, end);
}

std::string kvs_HtmlText(std::string_view bytes) {
  std::string html;
  for (char const character : kvs_VisibleText(bytes)) {
    if (char const* const entity = EntityOf(character))
      html += entity;
    else
      html += character;
  }
  return html;
}

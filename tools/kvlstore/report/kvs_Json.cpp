#include "tools/kvlstore/report/kvs_Json.h"

#include <array>
#include <charconv>
#include <cmath>
#include <ostream>

#include "tools/kvlstore/report/kvs_VisibleText.h"

namespace {

constexpr std::string_view Ellipsis = "\xE2\x80\xA6";
constexpr std::size_t BufferBytes = 65536;
constexpr std::int64_t MostExact = (std::int64_t{1} << 53) - 1; // of a number in a page

using Digits = std::array<char, 48>;

template <class... Arguments> std::string_view ToDigits(Digits& digits, Arguments... arguments) {
  char const* const end = std::to_chars(digits.data(), digits.data() + digits.size(), arguments...).ptr;
  return {digits.data(), static_cast<std::size_t>(end - digits.data())};
}

template <class T> std::string_view NameOf(T value) noexcept {
  if (std::isnan(value)) return "NaN";
  return value > 0 ? "Infinity" : "-Infinity";
}

} // namespace

void kvs_Json::BeginValue() {
  if (m_Buffer.size() >= BufferBytes) Flush();
  if (m_NeedsComma) m_Buffer += ',';
  m_NeedsComma = true;
  m_IsAfterKey = false;
}

kvs_Json& kvs_Json::Raw(std::string_view json) {
  BeginValue();
  m_Buffer += json;
  return *this;
}

kvs_Json& kvs_Json::Begin(char bracket) {
  BeginValue();
  m_Buffer += bracket;
  m_Open += bracket == '[' ? ']' : '}';
  m_NeedsComma = false;
  return *this;
}

kvs_Json& kvs_Json::End(char bracket) {
  m_Buffer += bracket;
  m_Open.pop_back();
  m_NeedsComma = true;
  return *this;
}

void kvs_Json::EndTo(std::size_t depth) {
  if (m_IsAfterKey) Null();
  while (m_Open.size() > depth) End(m_Open.back());
}

kvs_Json& kvs_Json::Key(std::string_view name) {
  BeginValue();
  m_Buffer += '"';
  m_Buffer += name;
  m_Buffer += "\":";
  m_NeedsComma = false;
  m_IsAfterKey = true;
  return *this;
}

void kvs_Json::Escape(char character) {
  constexpr std::string_view Hex = "0123456789abcdef";
  auto const code = static_cast<unsigned char>(character);
  m_Buffer += "\\u00";
  m_Buffer += Hex[code >> 4U];
  m_Buffer += Hex[code & 0xFU];
}

kvs_Json& kvs_Json::Text(std::string_view text, std::int64_t most) {
  std::string_view const first = kvs_FirstBytes(text, most);
  BeginValue();
  m_Buffer += '"';
  for (char const character : kvs_VisibleText(first)) {
    bool const isMarkup = character == '<' || character == '>' || character == '&';
    if (isMarkup || character == '"' || character == '\\')
      Escape(character);
    else
      m_Buffer += character;
  }
  if (first.size() < text.size()) m_Buffer += Ellipsis;
  m_Buffer += '"';
  return *this;
}

kvs_Json& kvs_Json::Bool(bool value) {
  return Raw(value ? "true" : "false");
}
kvs_Json& kvs_Json::Null() {
  return Raw("null");
}

kvs_Json& kvs_Json::Int(std::int64_t value) {
  Digits digits{};
  std::string_view const text = ToDigits(digits, value);
  return value > MostExact || value < -MostExact ? Text(text) : Raw(text);
}
kvs_Json& kvs_Json::UInt(std::uint64_t value) {
  Digits digits{};
  std::string_view const text = ToDigits(digits, value);
  return value > static_cast<std::uint64_t>(MostExact) ? Text(text) : Raw(text);
}

kvs_Json& kvs_Json::Double(double value) {
  Digits digits{};
  return std::isfinite(value) ? Raw(ToDigits(digits, value)) : Text(NameOf(value));
}
kvs_Json& kvs_Json::Float(float value) {
  Digits digits{};
  return std::isfinite(value) ? Raw(ToDigits(digits, value)) : Text(NameOf(value));
}
kvs_Json& kvs_Json::Rounded(double value) {
  Digits digits{};
  return std::isfinite(value) ? Raw(ToDigits(digits, value, std::chars_format::general, 6)) : Null();
}

void kvs_Json::Flush() {
  if (m_Out) m_Out.write(m_Buffer.data(), static_cast<std::streamsize>(m_Buffer.size()));
  m_Written += static_cast<std::int64_t>(m_Buffer.size());
  m_Buffer.clear();
}

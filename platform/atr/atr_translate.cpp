#include "platform/atr/atr_translate.h"

#include <charconv>
#include <optional>
#include <string>

namespace {

atr_Translator s_Translator = nullptr;

char const* Translated(char const* format) {
  char const* const translation = s_Translator == nullptr ? nullptr : s_Translator(format);
  return translation == nullptr ? format : translation;
}

/// A placeholder found at the start of a text, which begins with a per-cent sign.
struct Placeholder {
  std::size_t m_Length;          // characters in the format
  std::optional<int> m_Position; // given in the placeholder itself
};

std::optional<Placeholder> ParsePlaceholder(std::string_view text) {
  auto const isConversion = [&](std::size_t at) {
    return at < text.size() && (text[at] == 's' || text[at] == 'd');
  };
  if (isConversion(1)) return Placeholder{2, std::nullopt};
  int position = 0;
  auto const [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), position);
  if (error != std::errc() || position < 1) return std::nullopt;
  auto const at = static_cast<std::size_t>(end - text.data());
  if (at >= text.size() || text[at] != '$' || !isConversion(at + 1)) return std::nullopt;
  return Placeholder{at + 2, position};
}

} // namespace

atr_translate::atr_translate(char const* format) : m_Format(Translated(format)) {}

void atr_translate::Substitute(int position, atr_StringBase const& argument) {
  if (position < 1) return;
  auto const count = static_cast<std::size_t>(position);
  if (m_Arguments.size() < count) m_Arguments.resize(count);
  m_Arguments[count - 1] = argument.HasText() ? argument : atr_StringBase(""_cow);
}

atr_String atr_translate::Result() const {
  std::string text;
  int next = 1;
  std::string_view rest = m_Format.View();
  while (!rest.empty()) {
    std::size_t const percent = rest.find('%');
    text.append(rest.substr(0, percent));
    if (percent == std::string_view::npos) break;
    rest.remove_prefix(percent);
    if (rest.size() > 1 && rest[1] == '%') {
      text += '%';
      rest.remove_prefix(2);
      continue;
    }
    std::optional<Placeholder> const placeholder = ParsePlaceholder(rest);
    std::size_t const length = placeholder ? placeholder->m_Length : 1;
    std::size_t const index =
        placeholder ? static_cast<std::size_t>(placeholder->m_Position.value_or(next)) : 0;
    if (placeholder && !placeholder->m_Position) ++next;
    bool const given = placeholder && index <= m_Arguments.size() && m_Arguments[index - 1].HasText();
    text.append(given ? m_Arguments[index - 1].View() : rest.substr(0, length));
    rest.remove_prefix(length);
  }
  return atr_String(cow_String(text));
}

void atr_SubstituteFormat(atr_translate& composition, int position, atr_StringBase const& argument) {
  composition.Substitute(position, argument);
}

atr_Translator atr_SetTranslator(atr_Translator translator) noexcept {
  atr_Translator const before = s_Translator;
  s_Translator = translator;
  return before;
}

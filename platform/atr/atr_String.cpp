#include "platform/atr/atr_String.h"

#include <charconv>

atr_StringBase::atr_StringBase(int number) {
  char digits[16];
  auto const result = std::to_chars(digits, digits + sizeof digits, number);
  m_Text = cow_String(std::string_view(digits, static_cast<std::size_t>(result.ptr - digits)));
}

void atr_String::Append(atr_StringBase const& text) {
  if (text.HasText()) m_Text.Append(text.View());
}

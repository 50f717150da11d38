#pragma once

#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

/// A text shown to users, final: it is not translated any more.
/// Thread rule: as cow_String.
class KVL_EXPORT atr_StringBase {
 public:
  /// No text.
  atr_StringBase() noexcept = default;

  /// The characters up to the null; a null pointer means no text.
  explicit atr_StringBase(char const* chars) : m_Text(chars) {}

  /// The decimal digits of a number.
  explicit atr_StringBase(int number);

  explicit atr_StringBase(cow_String text) noexcept : m_Text(std::move(text)) {}

  [[nodiscard]] bool HasText() const noexcept { return m_Text.HasText(); }
  [[nodiscard]] int Length() const noexcept { return m_Text.Length(); }

  /// The null-terminated characters; null if there is no text.
  [[nodiscard]] char const* Chars() const noexcept { return m_Text.Chars(); }
  [[nodiscard]] char const* CharsOrEmpty() const noexcept { return m_Text.CharsOrEmpty(); }
  [[nodiscard]] std::string_view View() const noexcept { return m_Text.View(); }

  /// The same text as a cow_String; shares the characters.
  [[nodiscard]] cow_String const& AsCow() const noexcept { return m_Text; }

  friend bool operator==(atr_StringBase const& a, atr_StringBase const& b) noexcept = default;
  friend bool operator==(atr_StringBase const& a, std::string_view b) noexcept { return a.m_Text == b; }

 protected:
  cow_String m_Text;
};

/// The platform's translatable string: a user-visible message. Composed through atr_translate.
class KVL_EXPORT atr_String : public atr_StringBase {
 public:
  using atr_StringBase::atr_StringBase;
  atr_String() noexcept = default;
  explicit atr_String(atr_StringBase const& text) noexcept : atr_StringBase(text) {}

  /// Adds a text at the end. Adding nothing to "no text" keeps it "no text".
  void Append(atr_StringBase const& text);
};

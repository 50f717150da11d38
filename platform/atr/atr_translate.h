#pragma once

#include <vector>

#include "platform/atr/atr_String.h"

/// Composes a user-visible message from a format and its arguments, in the user's language.
///
/// The format is looked up in the translator first. Placeholders are "%s" and "%d", numbered from 1 in their
/// order in the format, or "%2$s" if a translation needs another order; "%%" is a per-cent sign. An
/// argument's text is inserted verbatim: per-cent signs in it have no meaning. A placeholder without argument
/// stays.
///
///     atr_translate message("Node %d of %s not found");
///     atr_SubstituteFormat(message, 1, atr_StringBase(17));
///     atr_SubstituteFormat(message, 2, atr_StringBase("plate"));
///     atr_String text = message.Result();
///
/// Thread rule: one composition belongs to one thread.
class KVL_EXPORT atr_translate {
 public:
  explicit atr_translate(char const* format);

  /// Sets the argument of a 1-based position; a later call for the same position replaces it. Positions below
  /// 1 are ignored.
  void Substitute(int position, atr_StringBase const& argument);

  /// The message with all arguments set so far.
  [[nodiscard]] atr_String Result() const;

 private:
  friend struct atr_LayoutAccess;

  cow_String m_Format;
  std::vector<atr_StringBase> m_Arguments;
};

/// Sets the argument of a 1-based position in `composition`.
KVL_EXPORT void atr_SubstituteFormat(atr_translate& composition, int position,
                                     atr_StringBase const& argument);

/// Returns a format in the user's language, or null to use the format itself. The text must stay valid.
using atr_Translator = char const* (*)(char const* format);

/// Installs the translator of the whole process (null: no translation). Returns the previous one.
/// Thread rule: during single-threaded start-up.
KVL_EXPORT atr_Translator atr_SetTranslator(atr_Translator translator) noexcept;

#pragma once

#include <vector>

#include "platform/atr/atr_String.h"

/// Composes a user-visible message from a format and its arguments, in the user's language.
///
/// The format is looked up in the translator first. Placeholders are "%s" and "%d", numbered from 1 in the
/// order in which they stand, or "%2$s" where a translation needs another order; "%%" is a per-cent sign.
/// An argument's text is taken as it stands: per-cent signs in it are not looked at. A placeholder without
/// argument stays as it is.
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

  /// Gives the argument of a 1-based position; a later one for the same position replaces it. Positions
  /// below 1 are ignored.
  void Substitute(int position, atr_StringBase const& argument);

  /// The message with all arguments given so far.
  [[nodiscard]] atr_String Result() const;

 private:
  cow_String m_Format;
  std::vector<atr_StringBase> m_Arguments;
};

/// Gives `composition` the argument of a 1-based position.
KVL_EXPORT void atr_SubstituteFormat(atr_translate& composition, int position,
                                     atr_StringBase const& argument);

/// Answers the user's language form of a format, null for the format itself. The text must stay valid.
using atr_Translator = char const* (*)(char const* format);

/// Installs the translator of the whole process, null for none; returns the one before.
/// Thread rule: during single-threaded start-up.
KVL_EXPORT atr_Translator atr_SetTranslator(atr_Translator translator) noexcept;

#include "platform/atr/atr_translate.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>

namespace {

std::string Composed(char const* format, std::initializer_list<char const*> arguments) {
  atr_translate message(format);
  int position = 0;
  for (char const* argument : arguments) atr_SubstituteFormat(message, ++position, atr_StringBase(argument));
  return std::string(message.Result().View());
}

/// Installs a translator for one test.
class WithTranslator {
 public:
  explicit WithTranslator(atr_Translator translator) : m_Before(atr_SetTranslator(translator)) {}
  ~WithTranslator() { atr_SetTranslator(m_Before); }
  WithTranslator(WithTranslator const&) = delete;
  WithTranslator& operator=(WithTranslator const&) = delete;

 private:
  atr_Translator m_Before;
};

TEST(atr_translate, FormatWithoutPlaceholdersIsTheResult) {
  EXPECT_EQ(Composed("plain text", {}), "plain text");
  EXPECT_EQ(Composed("", {}), "");
}

TEST(atr_translate, SubstitutesByPositionInTheFormat) {
  EXPECT_EQ(Composed("Node %d of %s not found", {"17", "plate"}), "Node 17 of plate not found");
}

TEST(atr_translate, TextAndNumberPlaceholdersCountTogether) {
  EXPECT_EQ(Composed("%s%d%s", {"a", "b", "c"}), "abc");
  EXPECT_EQ(Composed("%d%s%d", {"a", "b", "c"}), "abc");
}

TEST(atr_translate, ArgumentsMayBeSetInAnyOrder) {
  atr_translate message("%s-%s-%s");
  atr_SubstituteFormat(message, 3, atr_StringBase("c"));
  atr_SubstituteFormat(message, 1, atr_StringBase("a"));
  atr_SubstituteFormat(message, 2, atr_StringBase("b"));
  EXPECT_EQ(message.Result(), "a-b-c");
}

TEST(atr_translate, LaterArgumentOfAPositionReplacesTheEarlier) {
  atr_translate message("%s");
  atr_SubstituteFormat(message, 1, atr_StringBase("old"));
  atr_SubstituteFormat(message, 1, atr_StringBase("new"));
  EXPECT_EQ(message.Result(), "new");
}

TEST(atr_translate, TakesNumbers) {
  atr_translate message("line %d");
  atr_SubstituteFormat(message, 1, atr_StringBase(-46));
  EXPECT_EQ(message.Result(), "line -46");
}

TEST(atr_translate, PerCentSignsInArgumentsAreKept) {
  EXPECT_EQ(Composed("%s and %s", {"100%", "%s%d%%%1$s"}), "100% and %s%d%%%1$s");
  EXPECT_EQ(Composed("%s%s", {"%", "s"}), "%s");
}

TEST(atr_translate, DoublePerCentIsOnePerCentSign) {
  EXPECT_EQ(Composed("100%% of %s", {"x"}), "100% of x");
  EXPECT_EQ(Composed("%%s %s", {"x"}), "%s x");
  EXPECT_EQ(Composed("%%%s%%%%", {"x"}), "%x%%");
}

TEST(atr_translate, PlaceholderWithoutArgumentStays) {
  EXPECT_EQ(Composed("a %s b %d", {}), "a %s b %d");
  EXPECT_EQ(Composed("a %s b %d", {"x"}), "a x b %d");
  EXPECT_EQ(Composed("%3$s %1$s", {"x"}), "%3$s x");
}

TEST(atr_translate, PositionWithoutArgumentStaysAPlaceholder) {
  atr_translate message("%s %s %s");
  atr_SubstituteFormat(message, 1, atr_StringBase("a"));
  atr_SubstituteFormat(message, 3, atr_StringBase("c"));
  EXPECT_EQ(message.Result(), "a %s c");
}

TEST(atr_translate, ArgumentWithoutTextIsEmptyText) {
  atr_translate message("[%s]");
  atr_SubstituteFormat(message, 1, atr_StringBase());
  EXPECT_EQ(message.Result(), "[]");
}

TEST(atr_translate, SurplusArgumentsAreIgnored) {
  EXPECT_EQ(Composed("%s", {"a", "b", "c"}), "a");
}

TEST(atr_translate, PositionsBelowOneAreIgnored) {
  atr_translate message("%s");
  atr_SubstituteFormat(message, 0, atr_StringBase("zero"));
  atr_SubstituteFormat(message, -1, atr_StringBase("minus"));
  EXPECT_EQ(message.Result(), "%s");
}

TEST(atr_translate, NumberedPlaceholdersTakeTheirPosition) {
  EXPECT_EQ(Composed("%2$s then %1$d", {"first", "second"}), "second then first");
  EXPECT_EQ(Composed("%1$s %1$s", {"twice"}), "twice twice");
}

TEST(atr_translate, TenthArgumentHasTwoDigits) {
  EXPECT_EQ(Composed("%10$s%1$s", {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}), "ja");
}

TEST(atr_translate, OtherPerCentSequencesStay) {
  EXPECT_EQ(Composed("50% off %x %", {"a"}), "50% off %x %");
  EXPECT_EQ(Composed("%0$s %-1$s %1$x %1s %$s", {"a"}), "%0$s %-1$s %1$x %1s %$s");
  EXPECT_EQ(Composed("%99999999999999999999$s", {"a"}), "%99999999999999999999$s");
  EXPECT_EQ(Composed("%1$", {"a"}), "%1$");
}

TEST(atr_translate, ResultMayBeTakenSeveralTimes) {
  atr_translate message("%s %s");
  atr_SubstituteFormat(message, 1, atr_StringBase("a"));
  EXPECT_EQ(message.Result(), "a %s");
  EXPECT_EQ(message.Result(), "a %s");
  message.Substitute(2, atr_StringBase("b"));
  EXPECT_EQ(message.Result(), "a b");
}

TEST(atr_translate, KeepsEmbeddedNullsOfArguments) {
  atr_translate message("[%s]");
  message.Substitute(1, atr_StringBase(cow_String(std::string_view("a\0b", 3))));
  EXPECT_EQ(message.Result().View(), std::string_view("[a\0b]", 5));
}

TEST(atr_translate, ComposesInTheUsersLanguage) {
  WithTranslator const installed([](char const* format) -> char const* {
    return std::strcmp(format, "%s of %s") == 0 ? "%2$s hat %1$s" : nullptr;
  });
  EXPECT_EQ(Composed("%s of %s", {"node", "plate"}), "plate hat node");
}

TEST(atr_translate, FormatWithoutTranslationIsUsedUnchanged) {
  WithTranslator const installed([](char const*) -> char const* { return nullptr; });
  EXPECT_EQ(Composed("%s of %s", {"node", "plate"}), "node of plate");
}

TEST(atr_translate, ArgumentsAreNeverTranslated) {
  WithTranslator const installed(
      [](char const* format) -> char const* { return std::strcmp(format, "word") == 0 ? "Wort" : nullptr; });
  EXPECT_EQ(Composed("%s", {"word"}), "word");
  EXPECT_EQ(Composed("word", {}), "Wort");
}

TEST(atr_translate, ReturnsThePreviousTranslator) {
  atr_Translator const first = [](char const*) -> char const* { return "first"; };
  atr_Translator const before = atr_SetTranslator(first);
  EXPECT_EQ(atr_SetTranslator(nullptr), first);
  EXPECT_EQ(atr_SetTranslator(before), nullptr);
}

} // namespace

#include "files/IniText.h"

#include <gtest/gtest.h>

namespace pylon {
namespace {

using namespace std::literals;

TEST(IniText, TellsWhatALineCannotHold) {
  for (const auto* text : {u"Memos", u"a b", u"\u65E5", u"a[b", u";a"}) {
    EXPECT_TRUE(IsIniSection(text));
  }
  for (const auto text : {u""sv, u"a]b"sv, u"a\nb"sv, u"a\rb"sv, u" a"sv, u"a\t"sv, u"a\0b"sv}) {
    EXPECT_FALSE(IsIniSection(text));
  }
  for (const auto* text : {u"PCPath", u"a b", u"a]", u"a;b"}) EXPECT_TRUE(IsIniKey(text));
  for (const auto text : {u""sv, u"a=b"sv, u"[a"sv, u";a"sv, u"a\nb"sv, u"a "sv, u"a\0b"sv}) {
    EXPECT_FALSE(IsIniKey(text));
  }
  for (const auto* text : {u"", u"a=b", u"[x]", u"; \"", u"  "}) EXPECT_TRUE(IsIniValue(text));
  for (const auto text : {u"a\r\nb"sv, u"\n"sv, u"a\x1A"sv, u"a\0b"sv}) {
    EXPECT_FALSE(IsIniValue(text));
  }
}

TEST(IniText, QuotesOnlyWhatWouldLoseItsQuotes) {
  const struct {
    std::u16string value, quoted;
  } kCases[] = {
      {u"a", u"a"},       {u"", u""},     {u"\"a\"", u"\"\"a\"\""}, {u"'a'", u"\"'a'\""},
      {u"\"a'", u"\"a'"}, {u"\"", u"\""}, {u"\"\"", u"\"\"\"\""},   {u"a\"b\"", u"a\"b\""}};
  for (const auto& test : kCases) {
    EXPECT_EQ(QuoteIniValue(test.value), test.quoted);
    EXPECT_EQ(UnquoteIniValue(test.quoted), test.value);
  }
  EXPECT_EQ(QuoteIniValue(u" \t'a' "), u"\"'a'\"");
}

}  // namespace
}  // namespace pylon

#include "base/Text.h"

#include <gtest/gtest.h>

#include "base/AutomationError.h"

namespace pylon {
namespace {

TEST(Text, Utf8GoesBothWays) {
  const struct {
    const char16_t* text;
    const char* utf8;
  } cases[] = {
      {u"", ""},
      {u"abc", "abc"},
      {u"\u00E9\u20AC", "\xC3\xA9\xE2\x82\xAC"},
      {u"\xD83D\xDE00", "\xF0\x9F\x98\x80"},
      {u"\uFFFF", "\xEF\xBF\xBF"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ToUtf8(c.text), c.utf8);
    EXPECT_EQ(FromUtf8(c.utf8), c.text) << c.utf8;
  }
}

TEST(Text, WhatIsNoTextBecomesTheReplacementCharacter) {
  EXPECT_EQ(ToUtf8(u"a\xD800"
                   u"b\xDC00"),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
  const struct {
    const char* name;
    const char* utf8;
    const char16_t* text;
  } cases[] = {
      {"cut", "a\xE2\x82", u"a\uFFFD\uFFFD"},
      {"overlong", "\xC0\x80", u"\uFFFD\uFFFD"},
      {"overlong in three bytes", "\xE0\x80\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"beyond Unicode", "\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"tail alone", "\x80z", u"\uFFFDz"},
  };
  for (const auto& c : cases) EXPECT_EQ(FromUtf8(c.utf8), c.text) << c.name;
}

TEST(Text, LettersFoldOneToOneInAnyLocale) {
  const struct {
    const char16_t* a;
    const char16_t* b;
    bool equal;
  } cases[] = {
      {u"AppId", u"aPPiD", true},    {u"\u00C4\u0416\u03A9", u"\u00E4\u0436\u03C9", true},
      {u"\u00D7", u"\u00F7", false}, {u"ss", u"\u00DF", false},
      {u"memo", u"memos", false},    {u"[", u"{", false},
      {u"\u0401", u"\u0451", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(EqualsIgnoringCase(c.a, c.b), c.equal) << ToUtf8(c.a) << " " << ToUtf8(c.b);
  }
}

TEST(Text, Numbers) {
  EXPECT_EQ(ToText(-9223372036854775807 - 1), u"-9223372036854775808");
  EXPECT_EQ(Trim(u"  a b "), u"a b");
  EXPECT_EQ(Trim(u"  "), u"");
}

TEST(AutomationError, CarriesNumberAndDescription) {
  EXPECT_EQ(SubscriptOutOfRange().number(), 9);
  EXPECT_STREQ(Overflow().what(), "Overflow");
  EXPECT_EQ(DescribeError(-7), u"Application-defined or object-defined error");
}

}  // namespace
}  // namespace pylon

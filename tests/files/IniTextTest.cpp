#include "files/IniText.h"

#include <gtest/gtest.h>

namespace pylon {
namespace {

const std::u16string kNul(u"a\0b", 3);

TEST(IniText, TellsWhatALineCannotHold) {
  for (const auto* text : {u"Memos", u"a b", u"\u65E5", u"a[b", u";a"}) {
    EXPECT_TRUE(IsIniSection(text));
  }
  for (const std::u16string& text :
       {std::u16string(), std::u16string(u"a]b"), std::u16string(u"a\nb"), std::u16string(u"a\rb"),
        std::u16string(u" a"), std::u16string(u"a\t"), kNul}) {
    EXPECT_FALSE(IsIniSection(text));
  }
  for (const auto* text : {u"PCPath", u"a b", u"a]", u"a;b"}) EXPECT_TRUE(IsIniKey(text));
  for (const std::u16string& text :
       {std::u16string(), std::u16string(u"a=b"), std::u16string(u"[a"), std::u16string(u";a"),
        std::u16string(u"a\nb"), std::u16string(u"a "), kNul}) {
    EXPECT_FALSE(IsIniKey(text));
  }
  for (const auto* text : {u"", u"a=b", u"[x]", u"; \"", u"  "}) EXPECT_TRUE(IsIniValue(text));
  for (const std::u16string& text :
       {std::u16string(u"a\r\nb"), std::u16string(u"\n"), std::u16string(u"a\x1A"), kNul}) {
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

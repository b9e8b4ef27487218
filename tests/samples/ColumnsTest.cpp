#include "samples/inventory/Columns.h"

#include <gtest/gtest.h>

#include "samples/inventory/Files.h"

namespace inventory {
namespace {

Columns Header(std::u16string_view text) { return ParseHeader(ParseCsv(text).at(0)); }

TEST(Columns, ReadsAndWritesTheHeader) {
  const Columns columns = Header(
      u"Article:string, b:byte,c:INTEGER,d:long,e:float,f:boolean,g:date,h: double ,"
      u"\"i, i:currency\",j:signature");
  using enum FieldType;
  EXPECT_EQ(columns, (Columns{{u"Article", kString},
                              {u"b", kByte},
                              {u"c", kInteger},
                              {u"d", kLong},
                              {u"e", kFloat},
                              {u"f", kBoolean},
                              {u"g", kDate},
                              {u"h", kDouble},
                              {u"i, i", kCurrency},
                              {u"j", kSignature}}));
  EXPECT_EQ(ParseHeader({1, u"", HeaderOf(columns), 0}), columns);
}

TEST(Columns, RefusesWhatIsNoHeader) {
  const struct {
    const char16_t* header;
    const char16_t* reason;
  } cases[] = {
      {u"\n", u"it has no header in its first line"},
      {u"a:long,Stock", u"column 2 is \"Stock\""},
      {u"a:long,:long", u"column 2 is \":long\""},
      {u"a:number", u"there is no type \"number\" for column 1 (a); the types are byte, "},
      {u"a:", u"there is no type \"\""},
      {u"a:string;b:long", u"commas are what separates columns"},
      {u"a:long,b:long,a:byte", u"two columns are called \"a\""},
      {u"a:date,b:long", u"the first column is the key"},
  };
  for (const auto& c : cases) {
    try {
      Header(c.header);
      ADD_FAILURE() << ToUtf8(c.header);
    } catch (const TableError& error) {
      EXPECT_NE(error.reason.find(c.reason), std::u16string::npos) << ToUtf8(error.reason);
    }
  }
}

TEST(Columns, TellsCellsThatHoldNoValue) {
  using enum FieldType;
  const struct {
    FieldType type;
    std::vector<const char16_t*> good;
    std::vector<const char16_t*> bad;
  } cases[] = {
      {kLong,
       {u"0", u" -12 ", u"+7", u"12.", u"12.00"},
       {u"", u" ", u"12.5", u"1e3", u"1,5", u"-", u".", u"--1", u"0x10", u"abc", u"1 2"}},
      {kCurrency, {u"1.2345", u".5", u"-1.23450"}, {u"1.23456", u"$5", u"1.2.3", u""}},
      {kBoolean, {u"True", u"FALSE", u" 1", u"0"}, {u"yes", u"", u"2", u"-1"}},
      {kDate, {u"", u"2023-03-15"}, {u"45000", u"15.3.2023", u"3/15/2023"}},
      {kSignature, {u"", u"0010 FFFF", u"0010ffff"}, {u"0000", u"001", u"0010 fff", u"00g0"}},
      {kFloat, {u"1E-5", u"what only Pylon can tell"}, {u""}},
      {kString, {u"", u"anything"}, {}},
  };
  for (const auto& c : cases) {
    for (const char16_t* cell : c.good) {
      EXPECT_EQ(ToUtf8(ProblemOfCell(c.type, cell)), "") << ToUtf8(cell);
    }
    for (const char16_t* cell : c.bad) EXPECT_NE(ProblemOfCell(c.type, cell), u"") << ToUtf8(cell);
  }
  EXPECT_EQ(ProblemOfKey(u"A-100 \u00E9"), u"");
  for (const std::u16string& key : {std::u16string(), std::u16string(u"  "), std::u16string(u"a\n"),
                                    std::u16string(256, u'a')}) {
    EXPECT_NE(ProblemOfKey(key), u"") << ToUtf8(key);
  }
}

TEST(Columns, WritesSignaturesAsTheyRead) {
  const std::u16string units = {1, 0x20, 0x7F, 0xD800, 0xFFFF};
  EXPECT_EQ(ToUtf8(FormatSignature(units)), "0001 0020 007f d800 ffff");
  EXPECT_EQ(ParseSignature(FormatSignature(units)), units);
}

}  // namespace
}  // namespace inventory

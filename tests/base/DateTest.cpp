#include "base/Date.h"

#include <gtest/gtest.h>

#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon {
namespace {

TEST(Date, PartsAndTextGoBothWays) {
  const struct {
    Date date;
    const char16_t* text;
  } cases[] = {
      {0, u"1899-12-30 00:00:00"},        {1.5, u"1899-12-31 12:00:00"},
      {-1.25, u"1899-12-29 06:00:00"},    {1462, u"1904-01-01 00:00:00"},
      {45000.75, u"2023-03-15 18:00:00"}, {60, u"1900-02-28 00:00:00"},
      {36585, u"2000-02-29 00:00:00"},    {-657434, u"0100-01-01 00:00:00"},
      {2958465, u"9999-12-31 00:00:00"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ToUtf8(FormatDate(c.date)), ToUtf8(c.text));
    EXPECT_EQ(ParseDate(c.text), c.date) << ToUtf8(c.text);
    EXPECT_EQ(ToDate(ToDateParts(c.date)), c.date) << ToUtf8(c.text);
  }
}

TEST(Date, ATimeIsRoundedToTheNearestSecond) {
  EXPECT_EQ(FormatDate(45000 + 86399.6 / 86400), u"2023-03-16 00:00:00");
  EXPECT_EQ(FormatDate(45000 + 86399.4 / 86400), u"2023-03-15 23:59:59");
  EXPECT_EQ(FormatDate(-1 - 59.4 / 86400), u"1899-12-29 00:00:59");
}

TEST(Date, OutsideOfTheCalendar) {
  for (const Date date : {-657436.0, 2958466.0, 1e300, -1e300}) {
    EXPECT_THROW(ToDateParts(date), AutomationError) << date;
  }
  EXPECT_THROW(ToDate({2023, 2, 29, 0, 0, 0}), AutomationError);
  EXPECT_THROW(ToDate({2023, 13, 1, 0, 0, 0}), AutomationError);
  EXPECT_THROW(ToDate({2023, 257, 1, 0, 0, 0}), AutomationError);
  EXPECT_THROW(ToDate({2023, 1, 257, 0, 0, 0}), AutomationError);
  EXPECT_THROW(ToDate({2023, 1, 1, 24, 0, 0}), AutomationError);
  EXPECT_THROW(ToDate({99, 12, 31, 0, 0, 0}), AutomationError);
}

TEST(Date, OnlyItsOwnFormIsRead) {
  EXPECT_EQ(ParseDate(u"2023-03-15"), 45000.0);
  for (const char16_t* text :
       {u"", u"2023", u"2023-3-15", u"15.03.2023", u"2023-02-30", u"2023-03-15 ",
        u"2023-03-15 12:00", u"2023-03-15 12:00:00x", u"2023-03-15 25:00:00", u"-023-03-15"}) {
    EXPECT_EQ(ParseDate(text), std::nullopt) << ToUtf8(text);
  }
}

}  // namespace
}  // namespace pylon

#include "appforge/ValueText.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <span>
#include <vector>

#include "base/Text.h"
#include "tests/support/Errors.h"

namespace pylon {
namespace {

using testing::ErrorOf;
using Text = std::u16string_view;

constexpr int32_t kLongMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kLongMax = std::numeric_limits<int32_t>::max();

TEST(ValueText, SinglesAndDoublesAreShort) {
  const struct {
    double number;
    const char16_t* text;
  } doubles[] = {
      {0, u"0"},           {-0.0, u"-0"},          {0.1, u"0.1"},
      {-1.5, u"-1.5"},     {100000, u"100000"},    {123456789012345.6, u"123456789012345.6"},
      {1e15, u"1E+15"},    {1.5e300, u"1.5E+300"}, {0.0001, u"0.0001"},
      {0.00001, u"1E-05"}, {5e-324, u"5E-324"},    {1.0 / 3, u"0.3333333333333333"}};
  for (const auto& c : doubles) {
    EXPECT_EQ(ToUtf8(TextOf(DoubleBits::Of(c.number))), ToUtf8(c.text));
    EXPECT_EQ(ParseDouble(c.text), DoubleBits::Of(c.number)) << ToUtf8(c.text);
  }
  const struct {
    float number;
    const char16_t* text;
  } singles[] = {
      {0.1F, u"0.1"}, {9999999, u"9999999"}, {1e7F, u"1E+07"}, {1.0F / 3, u"0.33333334"}};
  for (const auto& c : singles) {
    EXPECT_EQ(ToUtf8(TextOf(SingleBits::Of(c.number))), ToUtf8(c.text));
    EXPECT_EQ(ParseSingle(c.text), SingleBits::Of(c.number)) << ToUtf8(c.text);
  }
}

TEST(ValueText, WhatIsNoNumberHasItsTextToo) {
  const struct {
    uint64_t bits;
    const char16_t* text;
    uint32_t single;  // of the same text
  } cases[] = {{0x7FF0000000000000, u"inf", 0x7F800000},
               {0xFFF0000000000000, u"-inf", 0xFF800000},
               {0x7FF8000000000000, u"nan", 0x7FC00000},
               {0xFFF8000000000000, u"-nan", 0xFFC00000},
               {0x7FF0000020000000, u"nan(0000020000000)", 0x7F800001},
               {0xFFFFFFFFE0000000, u"-nan(fffffe0000000)", 0xFFFFFFFF}};
  for (const auto& c : cases) {
    EXPECT_EQ(ToUtf8(TextOf(DoubleBits{c.bits})), ToUtf8(c.text));
    EXPECT_EQ(ToUtf8(TextOf(SingleBits{c.single})), ToUtf8(c.text));
    EXPECT_EQ(ParseDouble(c.text).bits, c.bits);
    EXPECT_EQ(ParseSingle(c.text).bits, c.single);
  }
  // A fraction that a single has no bits for is still that of a NaN.
  EXPECT_EQ(ParseSingle(u"nan(0000000000001)").bits, 0x7FC00000U);
}

TEST(ValueText, Currency) {
  const struct {
    int64_t scaled;
    const char16_t* text;
  } cases[] = {{0, u"0"},
               {10000, u"1"},
               {-12500, u"-1.25"},
               {1, u"0.0001"},
               {-100, u"-0.01"},
               {std::numeric_limits<int64_t>::max(), u"922337203685477.5807"},
               {std::numeric_limits<int64_t>::min(), u"-922337203685477.5808"}};
  for (const auto& c : cases) {
    EXPECT_EQ(ToUtf8(TextOf(Currency{c.scaled})), ToUtf8(c.text));
    EXPECT_EQ(ParseCurrency(c.text).scaled, c.scaled) << ToUtf8(c.text);
  }
}

TEST(ValueText, Dates) {
  const struct {
    Date date;
    const char16_t* text;
  } cases[] = {{0, u"1899-12-30 00:00:00"},
               {45000.75, u"2023-03-15 18:00:00"},
               {45000 + 64800.25 / 86400, u"2023-03-15 18:00:00.25"},
               {45000 + 86399.999 / 86400, u"2023-03-15 23:59:59.999"},
               {-1.25, u"1899-12-29 06:00:00"},
               {-1000 - 0.5 / 86400, u"1897-04-04 00:00:00.5"},
               {-657434, u"0100-01-01 00:00:00"},
               {2958465.5, u"9999-12-31 12:00:00"},
               {std::nextafter(2958466.0, 0.0), u"9999-12-31 23:59:59.99996"},
               // No calendar text tells these from others of the same moment, or has digits enough.
               {-0.25, u"-0.25"},
               {1e-300, u"1E-300"}};
  for (const auto& c : cases) {
    EXPECT_EQ(ToUtf8(TextOf(DateStamp{c.date})), ToUtf8(c.text));
    EXPECT_EQ(ParseDateStamp(c.text).value, c.date) << ToUtf8(c.text);
  }
  EXPECT_FALSE(std::signbit(ParseDateStamp(u"-0").value));
  for (const Date date : {-657435.0, 2958466.0, std::nan(""), -1e300, HUGE_VAL}) {
    EXPECT_EQ(ErrorOf([&] { TextOf(DateStamp{date}); }), 6) << date;
  }
}

// What a person may type, apart from what is written.
TEST(ValueText, OtherTextsOfTheSameForms) {
  const struct {
    const char16_t* text;
    double number;
  } numbers[] = {{u"  12  ", 12},
                 {u"+1", 1},
                 {u".5", 0.5},
                 {u"5.", 5},
                 {u"007", 7},
                 {u"1.500", 1.5},
                 {u"1e3", 1000},
                 {u"1E-2", 0.01},
                 {u"12e+0000000001", 120},
                 {u"1e-999999999999999999999", 0},
                 {u"0e999999999999999999999", 0},
                 {u"0.00000000000000000000000000000000001e35", 1}};
  for (const auto& c : numbers) {
    EXPECT_EQ(ParseDouble(c.text).Number(), c.number) << ToUtf8(c.text);
    EXPECT_EQ(ParseSingle(c.text).Number(), static_cast<float>(c.number)) << ToUtf8(c.text);
    EXPECT_EQ(ParseDateStamp(c.text).value, c.number) << ToUtf8(c.text);
  }
  EXPECT_EQ(ParseDateStamp(u" 2023-03-15 ").value, 45000);
  EXPECT_EQ(ParseDateStamp(u"2023-03-15 12:00:00.500000000").value, 45000 + 43200.5 / 86400);
}

TEST(ValueText, RoundingGoesToTheEven) {
  const struct {
    const char16_t* text;
    int64_t whole;
    int64_t currency;
  } cases[] = {{u"0.5", 0, 5000},
               {u"1.5", 2, 15000},
               {u"2.5", 2, 25000},
               {u"-2.5", -2, -25000},
               {u"2.50000000000000000001", 3, 25000},
               {u"0.49999999999999999999", 0, 5000},
               {u"1.00005", 1, 10000},
               {u"1.00015", 1, 10002},
               {u"0.00005", 0, 0},
               {u"1e-30", 0, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(ParseWhole(c.text, kLongMin, kLongMax), c.whole) << ToUtf8(c.text);
    EXPECT_EQ(ParseCurrency(c.text).scaled, c.currency) << ToUtf8(c.text);
  }
}

TEST(ValueText, WhatDoesNotConvert) {
  const std::function<void(Text)> whole = [](Text t) { ParseWhole(t, kLongMin, kLongMax); };
  const std::function<void(Text)> byte = [](Text t) { ParseWhole(t, 0, 255); };
  const std::function<void(Text)> single = [](Text t) { ParseSingle(t); };
  const std::function<void(Text)> number = [](Text t) { ParseDouble(t); };
  const std::function<void(Text)> currency = [](Text t) { ParseCurrency(t); };
  const std::function<void(Text)> date = [](Text t) { ParseDateStamp(t); };
  const Text short_texts[] = {u"",         u" ",     u".",       u"-",           u"+-1",
                              u"- 1",      u"1 2",   u"1,5",     u"1e",          u"e1",
                              u"1e+",      u"0x10",  u"1\u0661", u"True",        u"INF",
                              u"infinity", u"nan()", u"nan(1)",  u"2023-03-15x", u"2023-02-30"};
  const Text long_texts[] = {u"nan(0000000000000)",   u"nan(000000000000g)",
                             u"nan(00000000000001)",  u"2023-03-15.5",
                             u"2023-03-15 12:00:00.", u"2023-03-15 12:00:00.1234567890",
                             u"2023-03-15 12:00:00 5"};
  for (const std::span<const Text> texts : {std::span<const Text>(short_texts), {long_texts}}) {
    for (const Text text : texts) {
      for (const auto& parse : {whole, byte, single, number, currency, date}) {
        EXPECT_EQ(ErrorOf([&] { parse(text); }), 13) << ToUtf8(text);
      }
    }
  }
  for (const auto& parse : {whole, byte, single, number, currency}) {
    EXPECT_EQ(ErrorOf([&] { parse(u"2023-03-15"); }), 13);
  }
  const struct {
    std::function<void(Text)> parse;
    std::vector<Text> texts;
  } too_large[] = {
      {byte, {u"255.5", u"-1"}},
      {whole, {u"2147483647.5", u"-2147483649", u"99999999999999999999999", u"inf", u"nan"}},
      {currency, {u"inf", u"922337203685477.58075", u"-922337203685477.58085001"}},
      {single, {u"3.5e38", u"1e400"}},
      {number, {u"1.8e308", u"1e999999999999999999999"}},
      {date, {u"2958466", u"inf", u"-657435", u"9999-12-31 23:59:59.999999999"}}};
  for (const auto& c : too_large) {
    for (const Text text : c.texts) {
      EXPECT_EQ(ErrorOf([&] { c.parse(text); }), 6) << ToUtf8(text);
    }
  }
}

TEST(ValueText, EveryBitComesBack) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 100000; ++i) {
    const uint64_t bits = random();
    const DoubleBits number{bits};
    ASSERT_EQ(ParseDouble(TextOf(number)), number) << std::hex << bits;
    const SingleBits single{static_cast<uint32_t>(bits)};
    ASSERT_EQ(ParseSingle(TextOf(single)), single) << std::hex << bits;
    const Currency currency{static_cast<int64_t>(bits >> (bits % 64))};
    ASSERT_EQ(ParseCurrency(TextOf(currency)), currency) << currency.scaled;
    // Dates of all years, then ever closer to day zero.
    const double unit = std::uniform_real_distribution<>(-1, 1)(random);
    const DateStamp date{i % 2 ? 1150515 + unit * 1807949 : std::ldexp(unit, i % 1000 / 10 - 80)};
    ASSERT_EQ(ParseDateStamp(TextOf(date)), date) << date.value;
  }
}

// All seconds of some days, as their bytes come and go.
TEST(ValueText, WholeSecondsHaveNoFraction) {
  for (const int day : {-657434, -1, 0, 1, 1462, 26299, 45000, 2958465}) {
    for (int second = 0; second < 86400; second += 7) {
      const double time = second / 86400.0;
      const DateStamp date{day < 0 ? day - time : day + time};
      const std::u16string text = TextOf(date);
      ASSERT_EQ(text.size(), 19U) << day << " " << second;
      ASSERT_EQ(ParseDateStamp(text), date) << day << " " << second;
    }
  }
}

}  // namespace
}  // namespace pylon

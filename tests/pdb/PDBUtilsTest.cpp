#include "pdb/PDBUtils.h"

#include <gtest/gtest.h>

#include <limits>

#include "base/AutomationError.h"
#include "tests/support/Errors.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::ErrorOf;
using testing::FromHex;

const PDBUtils kUtils;

TEST(PDBUtils, UnsignedNumbers) {
  const struct {
    double value;
    int32_t pattern;
  } longs[] = {{0, 0}, {2147483647, 2147483647}, {2147483648, -2147483647 - 1}, {4294967295, -1}};
  for (const auto& c : longs) {
    EXPECT_EQ(kUtils.UnsignedToLong(c.value), c.pattern);
    EXPECT_EQ(kUtils.LongToUnsigned(c.pattern), c.value);
  }
  for (const double value : {-1.0, 4294967296.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(ErrorOf([&] { kUtils.UnsignedToLong(value); }), 6) << value;
  }
  const struct {
    int32_t value;
    int16_t pattern;
  } integers[] = {{0, 0}, {32767, 32767}, {32768, -32768}, {65535, -1}};
  for (const auto& c : integers) {
    EXPECT_EQ(kUtils.UnsignedToInteger(c.value), c.pattern);
    EXPECT_EQ(kUtils.IntegerToUnsigned(c.pattern), c.value);
  }
  for (const int32_t value : {-1, 65536}) {
    EXPECT_EQ(ErrorOf([&] { kUtils.UnsignedToInteger(value); }), 6) << value;
  }
}

TEST(PDBUtils, PalmDatesRoundToWholeDaysHalvesToEven) {
  const struct {
    uint32_t seconds;
    Date date;
  } cases[] = {{0, 1462},
               {43199, 1462},
               {43200, 1462},  // half a day, to day 0
               {86399, 1463},
               {86400 + 43200, 1464},  // one and a half, to day 2
               {0xFFFFFFFF, 1462 + 49710}};
  for (const auto& c : cases) {
    EXPECT_EQ(kUtils.PalmLongToDate(static_cast<int32_t>(c.seconds)), c.date) << c.seconds;
  }
}

TEST(PDBUtils, ADateWrittenIsTheDayOfTheMonthOfItsDistance) {
  const struct {
    Date date;
    int32_t seconds;
  } cases[] = {
      {1462, 30 * 86400},                              // distance 0 is 1899-12-30
      {1462 + 1.75, 31 * 86400},                       // 1899-12-31, whatever the time
      {1462 + 2, 86400},         {45000, 14 * 86400},  // 43,538 days: 2019-03-14
      {1461.5, 30 * 86400},                            // half a day before is still the 30th
  };
  for (const auto& c : cases) {
    EXPECT_EQ(kUtils.DateToPalmLong(c.date), c.seconds) << c.date;
  }
}

TEST(PDBUtils, Ids) {
  EXPECT_EQ(kUtils.PalmIDtoLong(u"DATA"), 0x44415441);
  EXPECT_EQ(kUtils.PalmIDtoLong(u"\u20AC\u00E9\u00FFa"), static_cast<int32_t>(0x80E9FF61));
  EXPECT_EQ(kUtils.PalmIDtoLong(u"abc"), 0);
  EXPECT_EQ(kUtils.PalmIDtoLong(u"abcde"), 0);
  EXPECT_EQ(kUtils.PalmLongtoId(0x44415441), u"DATA");
  EXPECT_EQ(kUtils.PalmLongtoId(static_cast<int32_t>(0x80E9FF61)), u"\u20AC\u00E9\u00FFa");
}

TEST(PDBUtils, Utf8OfEveryCode) {
  const struct {
    int32_t code;
    const char* bytes;
  } cases[] = {{0, "00"},           {0x7F, "7F"},         {0x80, "C2 80"},     {0x7FF, "DF BF"},
               {0x800, "E0 A0 80"}, {0x20AC, "E2 82 AC"}, {0xFFFF, "EF BF BF"}};
  for (const auto& c : cases) EXPECT_EQ(kUtils.ToUTF8(c.code), FromHex(c.bytes)) << c.code;
  for (int32_t code = 0x80; code <= 0xFFFF; ++code) {
    ASSERT_EQ(kUtils.ToUTF16(kUtils.ToUTF8(code)), code);
  }
  EXPECT_EQ(ErrorOf([] { kUtils.ToUTF8(-1); }), 5);
  EXPECT_EQ(ErrorOf([] { kUtils.ToUTF8(0x10000); }), 5);
  for (const char* cut : {"", "C2", "E2 82"}) {
    EXPECT_EQ(ErrorOf([&] { kUtils.ToUTF16(FromHex(cut)); }), 9) << cut;
  }
}

TEST(PDBUtils, Utf8LengthCountsAnsiCodes) {
  EXPECT_EQ(kUtils.UTF8Length(u""), 0);
  EXPECT_EQ(kUtils.UTF8Length(u"ab"), 2);
  EXPECT_EQ(kUtils.UTF8Length(u"\u20AC"), 1);  // code 128 is stored as it is
  EXPECT_EQ(kUtils.UTF8Length(u"\u00E9"), 2);
  EXPECT_EQ(kUtils.UTF8Length(u"\u0416"), 1);  // '?'
}

}  // namespace
}  // namespace pylon

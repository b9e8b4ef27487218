#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/Date.h"
#include "base/TaggedValue.h"

namespace pylon {

// The texts of values. A field's value is a text, and every accessor converts from it and to it, so
// there is one form for each kind, the same in every locale, and each loses nothing:
//
//   whole numbers    -12
//   single, double   the shortest decimal that reads back as the same single or double: 0.1, 1E+15;
//                    inf, -inf; nan with its 52-bit fraction in hex, nan(0000000000001), left out
//                    when it is the ordinary one
//   currency         12.5, with up to four decimals
//   date             2023-03-15 18:00:00, and a fraction of the second, 18:00:00.25, where the date
//                    lies between seconds. A date of the first or last weeks around day zero that
//                    no nanosecond meets is its number instead.
//
// Also reads these forms as a person would type them: blanks around, a plus sign, zeros that say
// nothing, an exponent with a small letter, a date without its time, and a number for a date, which
// counts days. A text that reads as nothing of the kind is error 13, an empty one too; a number
// that the wanted type can't hold is error 6. Roundings go to the nearest, halves to the even.

// The bits of a number. 32-bit programs hand floating-point results over in a register that changes
// some NaNs, and records keep theirs.
struct SingleBits {
  uint32_t bits = 0;

  static SingleBits Of(float value) { return {std::bit_cast<uint32_t>(value)}; }
  float Number() const { return std::bit_cast<float>(bits); }
  bool operator==(const SingleBits&) const = default;
};
struct DoubleBits {
  uint64_t bits = 0;

  static DoubleBits Of(double value) { return {std::bit_cast<uint64_t>(value)}; }
  double Number() const { return std::bit_cast<double>(bits); }
  bool operator==(const DoubleBits&) const = default;
};

std::u16string TextOf(int32_t value);
std::u16string TextOf(SingleBits value);
std::u16string TextOf(DoubleBits value);
std::u16string TextOf(Currency value);
std::u16string TextOf(DateStamp value);  // error 6 outside the years 100 to 9999

int64_t ParseWhole(std::u16string_view text, int64_t least, int64_t greatest);
SingleBits ParseSingle(std::u16string_view text);
DoubleBits ParseDouble(std::u16string_view text);
Currency ParseCurrency(std::u16string_view text);
DateStamp ParseDateStamp(std::u16string_view text);

}  // namespace pylon

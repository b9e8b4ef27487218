#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/Bytes.h"
#include "base/Date.h"

namespace pylon {

// Conversions between the values of handheld data and the host's: unsigned numbers (held in the
// next wider signed type), dates (unsigned seconds since 1904-01-01 00:00), four-character ids and
// UTF-8. Stateless except for the code page, which it borrows.
//
// Values out of range raise error 6.
class PDBUtils {
 public:
  explicit PDBUtils(const AnsiCodePage& code_page = AnsiCodePage::Windows1252())
      : code_page_(&code_page) {}

  int32_t UnsignedToLong(double value) const;  // 0 to 4,294,967,295, whole part
  double LongToUnsigned(int32_t value) const;
  int16_t UnsignedToInteger(int32_t value) const;  // 0 to 65,535
  int32_t IntegerToUnsigned(int16_t value) const;

  // Rounds to whole days: a time after noon counts as the next day, noon itself as the even one.
  Date PalmLongToDate(int32_t d) const;
  // Only the day of the month of the distance from 1904-01-01 survives, in seconds: 86,400 to
  // 2,678,400. Existing files hold such dates, so the arithmetic stays; it does not invert
  // PalmLongToDate.
  int32_t DateToPalmLong(Date d) const;

  // Unsigned minutes since midnight; past a day's the result is more than a day.
  Date PalmIntegerToTime(int16_t minutes) const;

  // The first character is the most significant byte; 0 unless there are exactly four.
  int32_t PalmIDtoLong(std::u16string_view id) const;
  std::u16string PalmLongtoId(int32_t id) const;

  Bytes ToUTF8(int32_t code) const;       // 1 to 3 bytes; codes outside 0 to 65,535 raise error 5
  int32_t ToUTF16(ByteSpan bytes) const;  // one sequence of 2 or 3 bytes; too short raises error 9
  // Bytes that PDBByteStream.StringToByte needs for the text, without the terminator.
  int32_t UTF8Length(std::u16string_view text) const;

  // Texts are turned into UTF-8 by their ANSI codes, not by their characters, and 128 is still
  // stored as it is: what StringToByte writes, and UTF8Length counts, for compatibility.
  static constexpr uint8_t kLastRawCode = 128;

 private:
  const AnsiCodePage* code_page_;
};

}  // namespace pylon

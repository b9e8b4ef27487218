#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pylon {

// A date of the automation world: days since 1899-12-30, the fraction being the time of day. Before
// that day the whole part counts backwards while the fraction still counts forwards, so -1.25 is
// 1899-12-29 06:00. Local time; year 100 to 9999.
using Date = double;

struct DateParts {
  int year = 1899;
  int month = 12;  // 1 to 12
  int day = 30;    // 1 to 31
  int hour = 0;
  int minute = 0;
  int second = 0;
};

Date ToDate(const DateParts& parts);  // parts that no calendar holds raise error 5
DateParts ToDateParts(Date date);     // to the nearest second; outside the years error 6

// "yyyy-mm-dd hh:mm:ss", whatever the locale.
std::u16string FormatDate(Date date);
// Reads that form; the time may be missing. Nothing for any other text.
std::optional<Date> ParseDate(std::u16string_view text);

// The source of the time. Implementations: SystemClock and the clocks of tests.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date Now() const = 0;
};

class SystemClock final : public Clock {
 public:
  Date Now() const override;  // local time, to the millisecond
};

}  // namespace pylon

#include "base/Date.h"

#include <chrono>
#include <cmath>
#include <ctime>

#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon {
namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr double kSecondsPerDay = 86400;
constexpr sys_days kDayZero =
    std::chrono::year(1899) / std::chrono::December / std::chrono::day(30);
constexpr Date kFirst = -657434;  // 0100-01-01
constexpr Date kEnd = 2958466;    // 10000-01-01

std::u16string Padded(int value, size_t width) {
  std::u16string digits = ToText(value);
  return std::u16string(width > digits.size() ? width - digits.size() : 0, u'0') + digits;
}

// Takes the digits of "yyyy-mm-dd hh:mm:ss" one field at a time.
class FieldReader {
 public:
  explicit FieldReader(std::u16string_view text) : text_(text) {}

  bool Number(size_t width, int& value) {
    if (text_.size() < width) return false;
    value = 0;
    for (const char16_t c : text_.substr(0, width)) {
      if (c < u'0' || c > u'9') return false;
      value = value * 10 + (c - u'0');
    }
    text_.remove_prefix(width);
    return true;
  }
  bool Mark(char16_t mark) {
    if (text_.empty() || text_.front() != mark) return false;
    text_.remove_prefix(1);
    return true;
  }
  bool AtEnd() const { return text_.empty(); }

 private:
  std::u16string_view text_;
};

bool ReadFields(std::u16string_view text, DateParts& parts) {
  FieldReader reader(text);
  if (!(reader.Number(4, parts.year) && reader.Mark(u'-') && reader.Number(2, parts.month) &&
        reader.Mark(u'-') && reader.Number(2, parts.day))) {
    return false;
  }
  parts.hour = parts.minute = parts.second = 0;
  if (reader.AtEnd()) return true;
  return reader.Mark(u' ') && reader.Number(2, parts.hour) && reader.Mark(u':') &&
         reader.Number(2, parts.minute) && reader.Mark(u':') && reader.Number(2, parts.second) &&
         reader.AtEnd();
}

bool Exists(const DateParts& parts, const year_month_day& day) {
  return day.ok() && parts.year >= 100 && parts.year <= 9999 && parts.hour >= 0 &&
         parts.hour < 24 && parts.minute >= 0 && parts.minute < 60 && parts.second >= 0 &&
         parts.second < 60;
}

std::optional<Date> FromParts(const DateParts& parts) {
  // Before the calendar's own types, which hold no more than a byte.
  if (parts.month < 1 || parts.month > 12 || parts.day < 1 || parts.day > 31) return std::nullopt;
  const year_month_day day(std::chrono::year(parts.year),
                           std::chrono::month(static_cast<unsigned>(parts.month)),
                           std::chrono::day(static_cast<unsigned>(parts.day)));
  if (!Exists(parts, day)) return std::nullopt;
  const auto whole = static_cast<double>((sys_days(day) - kDayZero).count());
  const double time = (parts.hour * 3600.0 + parts.minute * 60.0 + parts.second) / kSecondsPerDay;
  return whole < 0 ? whole - time : whole + time;
}

}  // namespace

Date ToDate(const DateParts& parts) {
  const std::optional<Date> date = FromParts(parts);
  if (!date) throw InvalidArgument();
  return *date;
}

DateParts ToDateParts(Date date) {
  if (!(date > kFirst - 1 && date < kEnd)) throw Overflow();
  auto whole = static_cast<int>(date);  // towards zero
  auto seconds = static_cast<int>(std::lround(std::fabs(date - whole) * kSecondsPerDay));
  if (seconds >= static_cast<int>(kSecondsPerDay)) {
    seconds = 0;
    ++whole;
    if (whole >= kEnd) throw Overflow();
  }
  const year_month_day day(kDayZero + days(whole));
  return {static_cast<int>(day.year()),
          static_cast<int>(static_cast<unsigned>(day.month())),
          static_cast<int>(static_cast<unsigned>(day.day())),
          seconds / 3600,
          seconds / 60 % 60,
          seconds % 60};
}

std::u16string FormatDate(Date date) {
  const DateParts p = ToDateParts(date);
  return Padded(p.year, 4) + u"-" + Padded(p.month, 2) + u"-" + Padded(p.day, 2) + u" " +
         Padded(p.hour, 2) + u":" + Padded(p.minute, 2) + u":" + Padded(p.second, 2);
}

std::optional<Date> ParseDate(std::u16string_view text) {
  DateParts parts;
  if (!ReadFields(text, parts)) return std::nullopt;
  return FromParts(parts);
}

Date SystemClock::Now() const {
  using std::chrono::system_clock;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  std::tm local = {};
#ifdef _WIN32
  localtime_s(&local, &seconds);
#else
  localtime_r(&seconds, &local);
#endif
  const auto sub_second = now - system_clock::from_time_t(seconds);
  const double fraction = std::chrono::duration<double>(sub_second).count();
  const Date whole = ToDate({local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                             local.tm_min, local.tm_sec > 59 ? 59 : local.tm_sec});
  return whole + std::floor(fraction * 1000) / 1000 / kSecondsPerDay;
}

}  // namespace pylon

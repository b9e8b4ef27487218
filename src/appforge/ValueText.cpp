#include "appforge/ValueText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <system_error>

#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon {
namespace {

constexpr int kCurrencyDecimals = 4;
constexpr uint64_t kCurrencyUnit = 10000;

constexpr uint64_t kSignBit = uint64_t{1} << 63;
constexpr uint64_t kFractionBits = (uint64_t{1} << 52) - 1;
constexpr uint64_t kInfinityBits = uint64_t{0x7FF} << 52;
constexpr uint64_t kOrdinaryNaN = uint64_t{1} << 51;
constexpr int kFractionDigits = 13;  // in hex
constexpr int kSingleShift = 52 - 23;

constexpr double kSecondsPerDay = 86400;
constexpr int kSecondDigits = 9;      // of a fraction
constexpr size_t kSecondsWidth = 19;  // of "yyyy-mm-dd hh:mm:ss"

// --- Numbers taken apart ---

// A number as its text gives it.
struct Number {
  enum class Kind { kFinite, kInfinity, kNaN };

  Kind kind = Kind::kFinite;
  bool negative = false;
  // A finite one is 0.digits x 10^point; no zeros at either end of the digits, none at all for 0.
  std::string digits;
  int64_t point = 0;
  uint64_t fraction = 0;  // of a NaN
};

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Takes a text from its front.
class Scanner {
 public:
  explicit Scanner(std::u16string_view text) : rest_(text) {}

  bool AtEnd() const { return rest_.empty(); }
  bool Take(std::u16string_view word) {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }
  std::u16string_view TakeDigits() {
    const auto end = std::ranges::find_if_not(rest_, IsDigit);
    const std::u16string_view digits = rest_.substr(0, static_cast<size_t>(end - rest_.begin()));
    rest_.remove_prefix(digits.size());
    return digits;
  }
  std::u16string_view rest() const { return rest_; }

 private:
  std::u16string_view rest_;
};

// Far beyond every exponent that makes a difference, and far from where sums overflow.
constexpr int64_t kHugeExponent = int64_t{1} << 48;

bool ScanExponent(Scanner& scanner, int64_t& exponent) {
  exponent = 0;
  if (!scanner.Take(u"E") && !scanner.Take(u"e")) return true;
  const bool negative = scanner.Take(u"-");
  if (!negative) scanner.Take(u"+");
  const std::u16string_view digits = scanner.TakeDigits();
  for (const char16_t c : digits) exponent = std::min(exponent * 10 + (c - u'0'), kHugeExponent);
  if (negative) exponent = -exponent;
  return !digits.empty();
}

bool ScanFinite(Scanner& scanner, Number& number) {
  const std::u16string_view whole = scanner.TakeDigits();
  std::u16string_view decimals;
  if (scanner.Take(u".")) decimals = scanner.TakeDigits();
  int64_t exponent = 0;
  if ((whole.empty() && decimals.empty()) || !ScanExponent(scanner, exponent)) return false;

  std::string& digits = number.digits;
  digits.reserve(whole.size() + decimals.size());
  for (const std::u16string_view part : {whole, decimals}) {
    for (const char16_t c : part) digits.push_back(static_cast<char>(c));
  }
  digits.erase(digits.find_last_not_of('0') + 1);
  const size_t zeros = std::min(digits.find_first_not_of('0'), digits.size());
  digits.erase(0, zeros);
  number.point = static_cast<int64_t>(whole.size()) - static_cast<int64_t>(zeros) + exponent;
  return true;
}

bool ScanNaN(Scanner& scanner, Number& number) {
  number.kind = Number::Kind::kNaN;
  number.fraction = kOrdinaryNaN;
  if (!scanner.Take(u"(")) return true;
  number.fraction = 0;
  for (int i = 0; i < kFractionDigits; ++i) {
    const std::u16string_view rest = scanner.rest();
    if (rest.empty() || rest.front() >= 0x80) return false;
    const char digit = static_cast<char>(rest.front());
    unsigned value = 0;
    if (std::from_chars(&digit, &digit + 1, value, 16).ec != std::errc()) return false;
    number.fraction = number.fraction << 4 | value;
    scanner.Take(rest.substr(0, 1));
  }
  return number.fraction != 0 && scanner.Take(u")");
}

std::optional<Number> Scan(std::u16string_view text) {
  Scanner scanner(Trim(text));
  Number number;
  number.negative = scanner.Take(u"-");
  if (!number.negative) scanner.Take(u"+");
  if (scanner.Take(u"inf")) {
    number.kind = Number::Kind::kInfinity;
  } else if (!(scanner.Take(u"nan") ? ScanNaN(scanner, number) : ScanFinite(scanner, number))) {
    return std::nullopt;
  }
  if (!scanner.AtEnd()) return std::nullopt;
  return number;
}

Number Parsed(std::u16string_view text) {
  std::optional<Number> number = Scan(text);
  if (!number) throw TypeMismatch();
  return *std::move(number);
}

// The number times 10^decimals, rounded.
int64_t Scaled(const Number& number, int decimals, int64_t least, int64_t greatest) {
  if (number.kind != Number::Kind::kFinite) throw Overflow();
  if (number.digits.empty()) return 0;
  // Digits in front of the point that the result is cut at; 2^63 has 19.
  const int64_t whole_digits = number.point + decimals;
  if (whole_digits > 19) throw Overflow();
  uint64_t value = 0;
  for (int64_t i = 0; i < whole_digits; ++i) {
    const auto at = static_cast<size_t>(i);
    value = value * 10 + (at < number.digits.size() ? static_cast<uint64_t>(number.digits[at] - '0')
                                                    : uint64_t{0});
  }
  if (whole_digits >= 0 && static_cast<size_t>(whole_digits) < number.digits.size()) {
    // The digits hold no zero at their end, so that "5" alone is half.
    const std::string_view rest =
        std::string_view(number.digits).substr(static_cast<size_t>(whole_digits));
    if (rest == "5" ? value % 2 == 1 : rest.front() >= '5') ++value;
  }
  if (number.negative) {
    if (value > uint64_t{0} - static_cast<uint64_t>(least)) throw Overflow();
    return static_cast<int64_t>(uint64_t{0} - value);
  }
  if (value > static_cast<uint64_t>(greatest)) throw Overflow();
  return static_cast<int64_t>(value);
}

// The float or double nearest to a finite number.
template <class Float>
Float Nearest(const Number& number) {
  // Nothing that has so many digits in front of the point, or zeros behind it, fits in either.
  constexpr int64_t kMostDigits = 400;
  Float value = 0;
  if (!number.digits.empty() && number.point > -kMostDigits) {
    if (number.point > kMostDigits) throw Overflow();
    const std::string text =
        number.digits + "e" +
        std::to_string(number.point - static_cast<int64_t>(number.digits.size()));
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    // One answer for what is too large and what is too small.
    if (result.ec != std::errc()) {
      if (number.point > 0) throw Overflow();
      value = 0;
    }
  }
  return number.negative ? -value : value;
}

// --- Numbers written ---

// In between, digits alone are easy to read; beyond, they are more than the number has.
constexpr double kLeastPlain = 1e-4;
template <class Float>
constexpr Float kPlainEnd = static_cast<Float>(1e15);
template <>
constexpr float kPlainEnd<float> = 1e7F;

template <class Float>
std::u16string FiniteText(Float value) {
  char buffer[32];
  const Float size = std::fabs(value);
  const bool plain =
      size == 0 || (size >= static_cast<Float>(kLeastPlain) && size < kPlainEnd<Float>);
  const auto result =
      std::to_chars(std::begin(buffer), std::end(buffer), value,
                    plain ? std::chars_format::fixed : std::chars_format::scientific);
  std::replace(buffer, result.ptr, 'e', 'E');
  return {buffer, result.ptr};
}

std::u16string NotFiniteText(bool negative, uint64_t fraction) {
  std::u16string text = negative ? u"-" : u"";
  if (fraction == 0) return text + u"inf";
  text += u"nan";
  if (fraction == kOrdinaryNaN) return text;
  text += u'(';
  for (int shift = 4 * (kFractionDigits - 1); shift >= 0; shift -= 4) {
    text += u"0123456789abcdef"[fraction >> shift & 0xF];
  }
  return text + u')';
}

// --- Dates ---

// The whole part of a date is the day; the time counts forwards from it on either side of day zero.
Date AtTime(double day, double ticks, double ticks_per_day) {
  const double time = ticks / ticks_per_day;
  return day < 0 ? day - time : day + time;
}

double TimeOfDay(Date date) { return std::fabs(date - std::trunc(date)); }

std::u16string DateText(double day, int64_t ticks, int digits) {
  std::string fraction(static_cast<size_t>(digits), '0');
  for (auto digit = fraction.rbegin(); digit != fraction.rend(); ++digit, ticks /= 10) {
    *digit = static_cast<char>('0' + ticks % 10);
  }
  std::u16string text = FormatDate(AtTime(day, static_cast<double>(ticks), kSecondsPerDay));
  if (digits > 0) text += u"." + FromAscii(fraction);
  return text;
}

std::optional<Date> ParseCalendarDate(std::u16string_view text) {
  const std::optional<Date> seconds = ParseDate(text.substr(0, kSecondsWidth));
  if (!seconds) return std::nullopt;
  double ticks = std::round(TimeOfDay(*seconds) * kSecondsPerDay);
  double ticks_per_day = kSecondsPerDay;
  if (text.size() > kSecondsWidth) {
    Scanner scanner(text.substr(kSecondsWidth));
    const bool has_point = scanner.Take(u".");
    const std::u16string_view fraction = scanner.TakeDigits();
    if (!has_point || fraction.empty() || fraction.size() > kSecondDigits || !scanner.AtEnd()) {
      return std::nullopt;
    }
    for (const char16_t c : fraction) {
      ticks = ticks * 10 + (c - u'0');
      ticks_per_day *= 10;
    }
  }
  // By the same arithmetic as the text was chosen.
  return AtTime(std::trunc(*seconds), ticks, ticks_per_day);
}

}  // namespace

std::u16string TextOf(int32_t value) { return ToText(value); }

std::u16string TextOf(SingleBits value) {
  if (std::isfinite(value.Number())) return FiniteText(value.Number());
  return NotFiniteText(value.bits >> 31 != 0, uint64_t{value.bits} << kSingleShift & kFractionBits);
}

std::u16string TextOf(DoubleBits value) {
  if (std::isfinite(value.Number())) return FiniteText(value.Number());
  return NotFiniteText(value.bits >> 63 != 0, value.bits & kFractionBits);
}

std::u16string TextOf(Currency value) {
  const bool negative = value.scaled < 0;
  const auto bits = static_cast<uint64_t>(value.scaled);
  const uint64_t size = negative ? uint64_t{0} - bits : bits;
  std::string text = (negative ? "-" : "") + std::to_string(size / kCurrencyUnit);
  if (const uint64_t rest = size % kCurrencyUnit; rest != 0) {
    // Behind the point: the digits of 10,000 + rest without the 1 and the zeros at the end.
    std::string decimals = std::to_string(kCurrencyUnit + rest);
    decimals.erase(decimals.find_last_not_of('0') + 1);
    decimals.front() = '.';
    text += decimals;
  }
  return FromAscii(text);
}

std::u16string TextOf(DateStamp value) {
  const Date date = value.value;
  const double day = std::trunc(date);
  ToDateParts(day);  // error 6 outside the calendar
  const double time = TimeOfDay(date);
  double ticks_per_day = kSecondsPerDay;
  for (int digits = 0; digits <= kSecondDigits; ++digits, ticks_per_day *= 10) {
    const double ticks = std::round(time * ticks_per_day);
    if (ticks < ticks_per_day && AtTime(day, ticks, ticks_per_day) == date) {
      return DateText(day, static_cast<int64_t>(ticks), digits);
    }
  }
  return TextOf(DoubleBits::Of(date));
}

int64_t ParseWhole(std::u16string_view text, int64_t least, int64_t greatest) {
  return Scaled(Parsed(text), 0, least, greatest);
}

SingleBits ParseSingle(std::u16string_view text) {
  const Number number = Parsed(text);
  const uint32_t sign = number.negative ? uint32_t{1} << 31 : 0;
  constexpr uint32_t kInfinity = uint32_t{0xFF} << 23;
  switch (number.kind) {
    case Number::Kind::kInfinity:
      return {sign | kInfinity};
    case Number::Kind::kNaN: {
      const auto fraction = static_cast<uint32_t>(number.fraction >> kSingleShift);
      // A fraction of which nothing is left would be infinity.
      return {sign | kInfinity |
              (fraction != 0 ? fraction : static_cast<uint32_t>(kOrdinaryNaN >> kSingleShift))};
    }
    default:
      return SingleBits::Of(Nearest<float>(number));
  }
}

DoubleBits ParseDouble(std::u16string_view text) {
  const Number number = Parsed(text);
  const uint64_t sign = number.negative ? kSignBit : 0;
  switch (number.kind) {
    case Number::Kind::kInfinity:
      return {sign | kInfinityBits};
    case Number::Kind::kNaN:
      return {sign | kInfinityBits | number.fraction};
    default:
      return DoubleBits::Of(Nearest<double>(number));
  }
}

Currency ParseCurrency(std::u16string_view text) {
  return {Scaled(Parsed(text), kCurrencyDecimals, std::numeric_limits<int64_t>::min(),
                 std::numeric_limits<int64_t>::max())};
}

DateStamp ParseDateStamp(std::u16string_view text) {
  const std::optional<Date> calendar_date = ParseCalendarDate(Trim(text));
  const Date date = calendar_date ? *calendar_date : ParseDouble(text).Number();
  ToDateParts(std::trunc(date));  // error 6 outside the calendar
  return {date == 0 ? 0 : date};  // no -0
}

}  // namespace pylon

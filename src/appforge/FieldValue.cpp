#include "appforge/FieldValue.h"

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

#include "base/AutomationError.h"

namespace pylon {

FieldValue::FieldValue(DateStamp value) {
  ToDateParts(std::trunc(value.value));   // only what has a text
  if (value.value == 0) value.value = 0;  // -0 has the same text
  value_ = value;
}

FieldValue::FieldValue(const TaggedValue& value) {
  std::visit(
      [this]<class T>(const T& v) {
        if constexpr (std::is_same_v<T, bool>) {
          value_ = v ? u"True" : u"False";
        } else if constexpr (std::is_integral_v<T>) {
          value_ = int32_t{v};
        } else if constexpr (std::is_same_v<T, float>) {
          value_ = SingleBits::Of(v);
        } else if constexpr (std::is_same_v<T, double>) {
          value_ = DoubleBits::Of(v);
        } else if constexpr (!std::is_same_v<T, std::monostate>) {
          *this = FieldValue(v);
        }
      },
      value);
}

std::u16string_view FieldValue::TextIn(std::u16string& made) const {
  return std::visit(
      [&made]<class T>(const T& v) -> std::u16string_view {
        if constexpr (std::is_same_v<T, std::u16string>) {
          return v;
        } else {
          return made = TextOf(v);
        }
      },
      value_);
}

std::u16string FieldValue::ToText() const {
  std::u16string made;
  return std::u16string(TextIn(made));
}

template <class Parse>
auto FieldValue::FromText(Parse parse) const {
  std::u16string made;
  return parse(TextIn(made));
}

bool FieldValue::IsOne() const {
  if (const int32_t* whole = std::get_if<int32_t>(&value_)) return *whole == 1;
  return FromText([](std::u16string_view text) { return text == u"1"; });
}

template <class Integer>
Integer FieldValue::ToWhole() const {
  if (const int32_t* whole = std::get_if<int32_t>(&value_)) {
    if (!std::in_range<Integer>(*whole)) throw Overflow();
    return static_cast<Integer>(*whole);
  }
  return FromText([](std::u16string_view text) {
    using Limits = std::numeric_limits<Integer>;
    return static_cast<Integer>(ParseWhole(text, Limits::min(), Limits::max()));
  });
}

uint8_t FieldValue::ToByte() const { return ToWhole<uint8_t>(); }
int16_t FieldValue::ToInteger() const { return ToWhole<int16_t>(); }
int32_t FieldValue::ToLong() const { return ToWhole<int32_t>(); }

SingleBits FieldValue::ToSingle() const {
  if (const SingleBits* single = std::get_if<SingleBits>(&value_)) return *single;
  if (const int32_t* whole = std::get_if<int32_t>(&value_)) {
    return SingleBits::Of(static_cast<float>(*whole));
  }
  return FromText(ParseSingle);
}

DoubleBits FieldValue::ToDouble() const {
  if (const DoubleBits* number = std::get_if<DoubleBits>(&value_)) return *number;
  if (const int32_t* whole = std::get_if<int32_t>(&value_)) return DoubleBits::Of(*whole);
  return FromText(ParseDouble);
}

Currency FieldValue::ToCurrency() const {
  if (const Currency* currency = std::get_if<Currency>(&value_)) return *currency;
  return FromText(ParseCurrency);
}

DateStamp FieldValue::ToDate() const {
  if (const DateStamp* date = std::get_if<DateStamp>(&value_)) return *date;
  return FromText(ParseDateStamp);
}

}  // namespace pylon

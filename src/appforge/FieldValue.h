#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "appforge/ValueText.h"

namespace pylon {

// The value of one field: in effect a text, of which every accessor makes its own type. It is kept
// as the number that it came as, so that nothing is turned into text and back unless a caller asks
// for another type; what comes out is what the text would give. See ValueText.h for the texts and
// for the errors of the conversions, 13 and 6.
class FieldValue {
 public:
  FieldValue() = default;  // no value: the empty text
  explicit FieldValue(std::u16string text) : value_(std::move(text)) {}
  explicit FieldValue(int32_t value) : value_(value) {}
  explicit FieldValue(SingleBits value) : value_(value) {}
  explicit FieldValue(DoubleBits value) : value_(value) {}
  explicit FieldValue(Currency value) : value_(value) {}
  explicit FieldValue(DateStamp value);  // error 6 outside the years 100 to 9999
  // The text that a value has by itself; a boolean's is "True" or "False".
  explicit FieldValue(const TaggedValue& value);

  bool empty() const {
    const std::u16string* text = std::get_if<std::u16string>(&value_);
    return text && text->empty();
  }

  std::u16string ToText() const;
  bool IsOne() const;  // the text is exactly "1", which is true
  uint8_t ToByte() const;
  int16_t ToInteger() const;
  int32_t ToLong() const;
  SingleBits ToSingle() const;
  DoubleBits ToDouble() const;
  Currency ToCurrency() const;
  DateStamp ToDate() const;

  // The text where it is one already, else the one that is made in `made`.
  std::u16string_view TextIn(std::u16string& made) const;

 private:
  template <class Parse>
  auto FromText(Parse parse) const;
  template <class Integer>
  Integer ToWhole() const;

  std::variant<std::u16string, int32_t, SingleBits, DoubleBits, Currency, DateStamp> value_;
};

}  // namespace pylon

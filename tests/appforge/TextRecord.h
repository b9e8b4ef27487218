#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "appforge/PDBAppforgeRecord.h"
#include "base/Text.h"
#include "tests/support/Errors.h"

namespace pylon::testing {

// The plain reference of PDBAppforgeRecord: it keeps every value as a text from the moment that it
// is set or decoded, and converts the text on each access. It shares the conversions of ValueText.h
// and nothing else.
class TextRecord {
 public:
  explicit TextRecord(std::vector<int32_t> types) : types_(std::move(types)) { Clear(); }

  void Clear() { values_.assign(types_.size() + 1, {}); }
  bool HasValue(int16_t i) const { return !At(i).empty(); }

  void Decode(const PDBByteStream& stream) {
    Clear();
    int32_t offset = 0;
    for (size_t i = 1; i <= types_.size(); ++i) values_[i] = Read(types_[i - 1], stream, offset);
  }
  // In place, which is what an error leaves; and into an empty stream, where what texts leave over
  // is zero.
  void Encode(PDBByteStream& stream) {
    const int32_t length = DataLength();
    PDBByteStream fresh = stream;
    fresh.Clear();
    stream.Resize(length);
    fresh.Resize(length);
    int32_t at = 0, fresh_at = 0;
    for (size_t i = 1; i <= types_.size(); ++i) {
      Write(types_[i - 1], values_[i], stream, at);
      Write(types_[i - 1], values_[i], fresh, fresh_at);
    }
    stream = fresh;
  }
  int32_t DataLength() const {
    int32_t length = 0;
    for (size_t i = 0; i < types_.size(); ++i) {
      length += FieldWidth(types_[i]);
      if (IsTextField(types_[i])) length += PDBUtils().UTF8Length(values_[i + 1]);
    }
    return length;
  }

  TaggedValue Value(int16_t i) const {
    const std::u16string& text = At(i);
    switch (i == 0 ? 0 : types_[static_cast<size_t>(i) - 1]) {
      case 1:
        return static_cast<uint8_t>(ParseWhole(text, 0, 255));
      case 2:
        return IntegerValue(i);
      case 3:
        return text.empty() ? int32_t{0} : LongValue(i);
      case 4:
        return SingleValue(i);
      case 5:
      case 10:
        return text;
      case 6:
        if (text.empty()) return false;
        if (ErrorOf([&] { ParseDouble(text); }) != 0) return true;
        return ParseDouble(text).Number() != 0;
      case 7:
        return text.empty() ? DateStamp{0} : ParseDateStamp(text);
      case 8:
        return DoubleValue(i);
      case 9:
        return CurrencyValue(i);
      default:
        return {};
    }
  }
  void SetValue(int16_t i, const TaggedValue& value) {
    std::u16string& text = At(i);
    const int32_t type = i == 0 ? 0 : types_[static_cast<size_t>(i) - 1];
    const auto* truth = std::get_if<bool>(&value);
    const auto* date = std::get_if<DateStamp>(&value);
    const bool has_text = type >= 1 && type <= 10 && !(type == 6 && date);
    const std::u16string own = has_text ? OwnText(value) : u"";
    if (value.index() == 0) {
      text.clear();
    } else if (type == 1) {
      const std::u16string number = truth  ? (*truth ? u"-1" : u"0")
                                    : date ? TextOf(DoubleBits::Of(date->value))
                                           : own;
      text = TextOf(static_cast<int32_t>(ParseWhole(number, -32768, 32767)));
    } else if (type == 6) {
      const bool minus_zero = own == u"-0" && !std::holds_alternative<std::u16string>(value);
      const bool zero =
          own == u"0" || minus_zero || (truth && !*truth) || (date && date->value == 0);
      text = zero ? u"0" : u"1";
    } else if (type >= 1 && type <= 10) {
      text = own;
    }
  }

  uint8_t ByteValue(int16_t i) const { return static_cast<uint8_t>(ParseWhole(At(i), 0, 255)); }
  bool BooleanValue(int16_t i) const { return At(i) == u"1"; }
  int16_t IntegerValue(int16_t i) const {
    return HasValue(i) ? static_cast<int16_t>(ParseWhole(At(i), -32768, 32767)) : int16_t{0};
  }
  int32_t LongValue(int16_t i) const {
    return static_cast<int32_t>(ParseWhole(At(i), std::numeric_limits<int32_t>::min(),
                                           std::numeric_limits<int32_t>::max()));
  }
  double DoubleValue(int16_t i) const { return HasValue(i) ? ParseDouble(At(i)).Number() : 0; }
  Currency CurrencyValue(int16_t i) const {
    return HasValue(i) ? ParseCurrency(At(i)) : Currency{};
  }
  float SingleValue(int16_t i) const { return HasValue(i) ? ParseSingle(At(i)).Number() : 0; }
  Date DateValue(int16_t i) const { return ParseDateStamp(At(i)).value; }
  std::u16string StringValue(int16_t i) const { return At(i); }

  // By the accessor of the value's type.
  void SetTyped(int16_t i, const TaggedValue& value) {
    if (value.index() == 0) return;
    const bool* truth = std::get_if<bool>(&value);
    At(i) = truth ? (*truth ? u"1" : u"0") : OwnText(value);
  }

 private:
  static std::u16string OwnText(const TaggedValue& value) {
    return std::visit(
        []<class T>(const T& v) -> std::u16string {
          if constexpr (std::is_same_v<T, std::monostate>)
            return {};
          else if constexpr (std::is_same_v<T, bool>)
            return v ? u"True" : u"False";
          else if constexpr (std::is_same_v<T, std::u16string>)
            return v;
          else if constexpr (std::is_same_v<T, float>)
            return TextOf(SingleBits::Of(v));
          else if constexpr (std::is_same_v<T, double>)
            return TextOf(DoubleBits::Of(v));
          else if constexpr (std::is_integral_v<T>)
            return TextOf(int32_t{v});
          else
            return TextOf(v);
        },
        value);
  }

  static std::u16string Read(int32_t type, const PDBByteStream& stream, int32_t& offset) {
    uint8_t byte = 0;
    int16_t integer = 0;
    int32_t number = 0;
    float single = 0;
    double real = 0;
    int64_t money = 0;
    bool swap = true;
    std::u16string text;
    switch (type) {
      case 1:
        stream.GetByte(byte, offset);
        return TextOf(int32_t{byte});
      case 2:
        stream.ByteToInteger(integer, offset, true);
        return TextOf(int32_t{integer});
      case 3:
        stream.ByteToLong(number, offset, true);
        return TextOf(number);
      case 4:
        stream.ByteToSingle(single, offset, true);
        return TextOf(SingleBits::Of(single));
      case 5:
      case 10:
        stream.ByteToString(text, offset);
        return text;
      case 6:
        stream.GetByte(byte, offset);
        return byte != 0 ? u"1" : u"0";
      case 7: {
        stream.ByteToLong(number, offset, true);
        double seconds = number;
        if (seconds < 0) seconds += 4294967296.0;
        // From 1904, or from 1972; day and time apart, as the text of a whole second reads.
        const bool late = seconds > 2145916800.0;
        if (late) seconds -= 2145916800.0;
        const double time = std::fmod(seconds, 86400);
        return TextOf(DateStamp{(late ? 26299 : 1462) + (seconds - time) / 86400 + time / 86400});
      }
      case 8:
        stream.ByteToDouble(real, offset, swap);
        return TextOf(DoubleBits::Of(real));
      case 9:
        stream.ByteToCurrency(money, offset, swap);
        return TextOf(Currency{money});
      default:
        return {};
    }
  }

  static void Write(int32_t type, std::u16string& text, PDBByteStream& stream, int32_t& offset) {
    if (text.empty() && type >= 1 && type <= 9 && type != 5 && type != 6) text = u"0";
    switch (type) {
      case 1:
        return stream.SetByte(static_cast<uint8_t>(ParseWhole(text, 0, 255)), offset);
      case 2:
        return stream.IntegerToByte(static_cast<int16_t>(ParseWhole(text, -32768, 32767)), offset,
                                    true);
      case 3:
        return stream.LongToByte(
            static_cast<int32_t>(ParseWhole(text, std::numeric_limits<int32_t>::min(),
                                            std::numeric_limits<int32_t>::max())),
            offset, true);
      case 4:
        return stream.SingleToByte(ParseSingle(text).Number(), offset, true);
      case 5:
      case 10:
        if (text.find(u'\0') != text.npos) throw InvalidArgument();
        return stream.StringToByte(text, offset);
      case 6:
        return stream.SetByte(text == u"1" ? 255 : 0, offset);
      case 7: {
        const Date date = ParseDateStamp(text).value;
        // By the calendar, to the second. The day alone, so that the time is rounded on its own.
        const double day = std::trunc(date);
        const double from_day_zero = day * 86400 + std::round(std::fabs(date - day) * 86400);
        double seconds = date <= 26299 ? from_day_zero - 1462 * 86400.0
                                       : from_day_zero - 26299 * 86400.0 + 2145916800.0;
        if (seconds >= 2147483648.0) seconds -= 4294967296.0;
        if (seconds < -2147483648.0 || seconds > 2147483647.0) throw Overflow();
        return stream.LongToByte(static_cast<int32_t>(seconds), offset, true);
      }
      case 8:
        return stream.DoubleToByte(ParseDouble(text).Number(), offset, true);
      case 9:
        return stream.CurrencyToByte(ParseCurrency(text).scaled, offset, true);
      default:
        return;
    }
  }

  const std::u16string& At(int16_t i) const {
    if (i < 0 || static_cast<size_t>(i) >= values_.size()) throw SubscriptOutOfRange();
    return values_[static_cast<size_t>(i)];
  }
  std::u16string& At(int16_t i) { return const_cast<std::u16string&>(std::as_const(*this).At(i)); }

  std::vector<int32_t> types_;
  std::vector<std::u16string> values_;
};

// Draws everything from an input of bytes, which a fuzzer can shape; zeros when it has ended.
class Choices {
 public:
  explicit Choices(ByteSpan bytes) : bytes_(bytes) {}

  bool AtEnd() const { return bytes_.empty(); }
  uint8_t Byte() {
    if (bytes_.empty()) return 0;
    const auto byte = std::to_integer<uint8_t>(bytes_.front());
    bytes_ = bytes_.subspan(1);
    return byte;
  }
  uint64_t Bits(int bytes) {
    uint64_t bits = 0;
    for (int i = 0; i < bytes; ++i) bits = bits << 8 | Byte();
    return bits;
  }
  Bytes Some() {
    const size_t wanted = Byte();
    const size_t size = std::min(wanted, bytes_.size());
    Bytes some(bytes_.begin(), bytes_.begin() + static_cast<ptrdiff_t>(size));
    bytes_ = bytes_.subspan(size);
    return some;
  }
  std::u16string Text() {
    // Texts that convert to something, and the characters of others.
    static constexpr std::u16string_view kTexts =
        u"|0|1|-0|0.0|2.5|True|False|abc|1e10|65536|0.1|-1|inf|nan|256|1E+400| 7 |2023-03-15|"
        u"1972-01-01 00:00:00|2040-01-01 12:34:56.789|1900-01-01 00:00:01|\u20AC\u00E9|"
        u"922337203685477.5807|";
    static constexpr std::u16string_view kCharacters = u"0123456789-+.eE:() infa\u00E9";
    const size_t at = Byte();
    if (at < kTexts.size()) {
      const std::u16string_view text = kTexts.substr(at);
      return std::u16string(text.substr(0, text.find(u'|')));  // from within one, too
    }
    std::u16string text;
    for (size_t i = at % 24; i > 0; --i) text.push_back(kCharacters[Byte() % kCharacters.size()]);
    return text;
  }
  double Number() {
    switch (Byte() % 4) {
      case 0:
        return static_cast<double>(static_cast<int8_t>(Byte())) / 4;
      case 1:
        return static_cast<double>(static_cast<int32_t>(Bits(4))) / 1000;
      case 2:
        return static_cast<double>(static_cast<int64_t>(Bits(6))) / 86400;
      default:
        return std::bit_cast<double>(Bits(8));
    }
  }
  TaggedValue Value() {
    switch (Byte() % 10) {
      case 0:
        return {};
      case 1:
        return Byte() % 2 == 0;
      case 2:
        return Byte();
      case 3:
        return static_cast<int16_t>(Bits(2));
      case 4:
        return static_cast<int32_t>(Bits(4));
      case 5:
        return std::bit_cast<float>(static_cast<uint32_t>(Bits(4)));
      case 6:
        return Number();
      case 7:
        return Currency{static_cast<int64_t>(Bits(8))};
      case 8:
        return DateStamp{Number()};
      default:
        return Text();
    }
  }

 private:
  ByteSpan bytes_;
};

// Sets the value by the accessor of its type.
inline void SetTyped(PDBAppforgeRecord& record, int16_t i, const TaggedValue& value) {
  std::visit(
      [&]<class T>(const T& v) {
        if constexpr (std::is_same_v<T, bool>) record.SetBooleanValue(i, v);
        if constexpr (std::is_same_v<T, uint8_t>) record.SetByteValue(i, v);
        if constexpr (std::is_same_v<T, int16_t>) record.SetIntegerValue(i, v);
        if constexpr (std::is_same_v<T, int32_t>) record.SetLongValue(i, v);
        if constexpr (std::is_same_v<T, float>) record.SetSingleValue(i, v);
        if constexpr (std::is_same_v<T, double>) record.SetDoubleValue(i, v);
        if constexpr (std::is_same_v<T, Currency>) record.SetCurrencyValue(i, v);
        if constexpr (std::is_same_v<T, DateStamp>) record.SetDateValue(i, v.value);
        if constexpr (std::is_same_v<T, std::u16string>) record.SetStringValue(i, v);
      },
      value);
}

inline void SetTyped(TextRecord& record, int16_t i, const TaggedValue& value) {
  record.SetTyped(i, value);
}

// 32-bit programs return numbers in a register that makes every NaN a quiet one.
inline TaggedValue Quiet(TaggedValue value) {
  if (auto* single = std::get_if<float>(&value); single && std::isnan(*single)) {
    *single = std::bit_cast<float>(std::bit_cast<uint32_t>(*single) | uint32_t{1} << 22);
  }
  if (auto* number = std::get_if<double>(&value); number && std::isnan(*number)) {
    *number = std::bit_cast<double>(std::bit_cast<uint64_t>(*number) | uint64_t{1} << 51);
  }
  return value;
}

// What a call gave, or the error that it raised; numbers as their bits show.
template <class Call>
std::string Outcome(Call&& call) {
  std::string outcome = "done";
  const int32_t error = ErrorOf([&] {
    if constexpr (std::is_void_v<decltype(call())>) {
      call();
    } else {
      const TaggedValue value = Quiet(call());
      outcome = std::to_string(value.index()) + ":" + ToUtf8(FieldValue(value).ToText());
    }
  });
  return error == 0 ? outcome : "error " + std::to_string(error);
}

// Does the same to a record and to its reference, as the input says, and tells the first difference
// between the two; nothing when there is none.
inline std::optional<std::string> FirstDifference(ByteSpan input) {
  Choices choices(input);
  std::vector<int32_t> types(choices.Byte() % 14);
  for (int32_t& type : types) type = choices.Byte() % 12;
  const auto definition = std::make_shared<PDBAppforgeDefinition>();
  for (const int32_t type : types) definition->AddFieldName(u"", type);
  PDBAppforgeRecord record;
  record.SetAppforgeDefinition(definition);
  TextRecord reference(types);
  PDBByteStream stream;
  stream.SetUTF8Strings(choices.Byte() % 2 == 0);
  stream.SetGlobalByteSwap(choices.Byte() % 2 == 0);
  PDBByteStream reference_stream = stream;

  std::optional<std::string> difference;
  const auto both = [&](const char* what, auto&& call) {
    if (difference) return;
    const std::string outcome = Outcome([&] { return call(record, stream); });
    const std::string expected = Outcome([&] { return call(reference, reference_stream); });
    if (outcome != expected) difference = std::string(what) + ": " + outcome + ", not " + expected;
  };
  const auto read = [&](int16_t i) {
    both("HasValue", [i](auto& r, auto&) { return r.HasValue(i); });
    both("Value", [i](auto& r, auto&) { return r.Value(i); });
    both("ByteValue", [i](auto& r, auto&) { return r.ByteValue(i); });
    both("BooleanValue", [i](auto& r, auto&) { return r.BooleanValue(i); });
    both("IntegerValue", [i](auto& r, auto&) { return r.IntegerValue(i); });
    both("LongValue", [i](auto& r, auto&) { return r.LongValue(i); });
    both("DoubleValue", [i](auto& r, auto&) { return r.DoubleValue(i); });
    both("CurrencyValue", [i](auto& r, auto&) { return r.CurrencyValue(i); });
    both("SingleValue", [i](auto& r, auto&) { return r.SingleValue(i); });
    both("DateValue", [i](auto& r, auto&) { return DateStamp{r.DateValue(i)}; });
    both("StringValue", [i](auto& r, auto&) { return r.StringValue(i); });
  };
  while (!choices.AtEnd() && !difference) {
    const auto i = static_cast<int16_t>(choices.Byte() % (types.size() + 3) - 1);
    const TaggedValue value = choices.Value();
    switch (choices.Byte() % 8) {
      case 0:
        if (choices.Byte() % 4 != 0) {
          stream.Fill(choices.Some());
        } else {
          stream.SetByteArray({choices.Some(), i == 2 ? 1 : 0});
        }
        reference_stream = stream;
        both("Decode", [](auto& r, auto& s) { r.Decode(s); });
        break;
      case 1:
      case 2:
        both("Encode", [](auto& r, auto& s) { r.Encode(s); });
        break;
      case 3:
        both("Clear", [](auto& r, auto&) { r.Clear(); });
        break;
      case 4:
      case 5:
        both("SetValue", [&](auto& r, auto&) { r.SetValue(i, value); });
        break;
      default:
        both("a typed set", [&](auto& r, auto&) { SetTyped(r, i, value); });
        break;
    }
    both("the stream", [](auto&, auto& s) {
      std::u16string text = ToText(s.length());
      for (const std::byte b : s.ByteArray().value_or(PDBByteStream::Array{}).bytes) {
        text.push_back(std::to_integer<char16_t>(b));
      }
      return text;
    });
    both("DataLength", [](auto& r, auto&) { return r.DataLength(); });
    read(i);
  }
  for (size_t i = 0; i <= types.size(); ++i) read(static_cast<int16_t>(i));
  return difference;
}

}  // namespace pylon::testing

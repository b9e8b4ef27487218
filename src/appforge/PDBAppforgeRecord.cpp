#include "appforge/PDBAppforgeRecord.h"

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon {
namespace {

constexpr uint8_t kTrueByte = 255;
constexpr int64_t kSecondsPerDay = 86400;
constexpr int32_t kPalmDayZero = 1462;  // 1904-01-01
constexpr int64_t kUnsignedRange = int64_t{1} << 32;

DateStamp FromPalmSeconds(int32_t seconds) {
  const auto value = static_cast<uint32_t>(seconds);
  const int64_t day = kPalmDayZero + value / kSecondsPerDay;
  const auto time = static_cast<double>(value % kSecondsPerDay);
  return {static_cast<double>(day) + time / static_cast<double>(kSecondsPerDay)};
}

// To the nearest second: the fraction of a day is rarely exact. Dates before 1904 and from
// 2040-02-06 06:28:16 on come out as the seconds of another date; so the format has it, and an
// unset date, which is day zero, must be written.
int32_t ToPalmSeconds(DateStamp date) {
  const double day = std::trunc(date.value);
  const double time = std::fabs(date.value - day) * static_cast<double>(kSecondsPerDay);
  int64_t seconds =
      (static_cast<int64_t>(day) - kPalmDayZero) * kSecondsPerDay + std::llround(time);
  if (seconds > std::numeric_limits<int32_t>::max()) seconds -= kUnsignedRange;
  if (!std::in_range<int32_t>(seconds)) throw Overflow();
  return static_cast<int32_t>(seconds);
}

bool IsZero(const TaggedValue& value) {
  return std::visit(
      []<class T>(const T& v) {
        if constexpr (std::is_same_v<T, std::u16string>) {
          return v == u"0";
        } else if constexpr (std::is_same_v<T, Currency>) {
          return v.scaled == 0;
        } else if constexpr (std::is_same_v<T, DateStamp>) {
          return v.value == 0;
        } else if constexpr (std::is_same_v<T, std::monostate>) {
          return true;
        } else {
          return v == T{};
        }
      },
      value);
}

// As Basic converts it, whose true is -1 and whose dates are numbers.
FieldValue Whole16(const TaggedValue& value) {
  FieldValue from(value);
  if (const bool* truth = std::get_if<bool>(&value)) from = FieldValue(int32_t{*truth ? -1 : 0});
  if (const DateStamp* date = std::get_if<DateStamp>(&value)) {
    from = FieldValue(DoubleBits::Of(date->value));
  }
  return FieldValue(int32_t{from.ToInteger()});
}

bool IsNumberZero(const FieldValue& value) {
  try {
    return value.empty() || value.ToDouble().Number() == 0;
  } catch (const AutomationError&) {
    return false;  // a text that is not a number
  }
}

// Every number is read and written with SwapByte true. Singles and doubles travel as the whole
// numbers of the same width, since it is their bits that count; the stream reads and writes both
// alike.
FieldValue DecodeField(int32_t type, const PDBByteStream& stream, int32_t& offset) {
  uint8_t byte = 0;
  int16_t integer = 0;
  int32_t number = 0;
  int64_t wide = 0;
  bool swap = true;  // a variable: the stream may invert it
  std::u16string text;
  switch (type) {
    case eByteField:
      stream.GetByte(byte, offset);
      return FieldValue(int32_t{byte});
    case eBooleanField:
      stream.GetByte(byte, offset);
      return FieldValue(int32_t{byte != 0});
    case eIntegerField:
      stream.ByteToInteger(integer, offset, true);
      return FieldValue(int32_t{integer});
    case eLongField:
      stream.ByteToLong(number, offset, true);
      return FieldValue(number);
    case eFloatField:
      stream.ByteToLong(number, offset, true);
      return FieldValue(SingleBits{static_cast<uint32_t>(number)});
    case eDateField:
      stream.ByteToLong(number, offset, true);
      return FieldValue(FromPalmSeconds(number));
    case eDoubleField:
      stream.ByteToCurrency(wide, offset, swap);
      return FieldValue(DoubleBits{static_cast<uint64_t>(wide)});
    case eCurrencyField:
      stream.ByteToCurrency(wide, offset, swap);
      return FieldValue(Currency{wide});
    case eStringField:
    case eSignatureField:
      stream.ByteToString(text, offset);
      return FieldValue(std::move(text));
    default:
      return {};
  }
}

void EncodeField(int32_t index, int32_t type, FieldValue& value, PDBByteStream& stream,
                 int32_t& offset) {
  const bool is_number = FieldWidth(type) > 0 && !IsTextField(type) && type != eBooleanField;
  if (is_number && value.empty()) value = FieldValue(0);
  std::u16string made;
  switch (type) {
    case eByteField:
      return stream.SetByte(value.ToByte(), offset);
    case eBooleanField:
      return stream.SetByte(value.IsOne() ? kTrueByte : uint8_t{0}, offset);
    case eIntegerField:
      return stream.IntegerToByte(value.ToInteger(), offset, true);
    case eLongField:
      return stream.LongToByte(value.ToLong(), offset, true);
    case eFloatField:
      return stream.LongToByte(static_cast<int32_t>(value.ToSingle().bits), offset, true);
    case eDateField:
      return stream.LongToByte(ToPalmSeconds(value.ToDate()), offset, true);
    case eDoubleField:
      return stream.CurrencyToByte(static_cast<int64_t>(value.ToDouble().bits), offset, true);
    case eCurrencyField:
      return stream.CurrencyToByte(value.ToCurrency().scaled, offset, true);
    case eStringField:
    case eSignatureField: {
      const std::u16string_view text = value.TextIn(made);
      // It would end there, and all fields behind it would lie elsewhere.
      if (text.find(u'\0') != text.npos) {
        throw AutomationError(ErrorNumber::kInvalidArgument,
                              u"Field " + ToText(index) + u" has a text with a NUL in it");
      }
      return stream.StringToByte(text, offset);
    }
    default:
      return;
  }
}

}  // namespace

const PDBAppforgeDefinition& PDBAppforgeRecord::Bound() const {
  if (!definition_) throw SubscriptOutOfRange();
  return *definition_;
}

const FieldValue& PDBAppforgeRecord::At(int32_t index) const {
  if (index < 0 || index > Bound().FieldCount() || std::cmp_greater_equal(index, values_.size())) {
    throw SubscriptOutOfRange();
  }
  return values_[static_cast<size_t>(index)];
}

int32_t PDBAppforgeRecord::TypeOf(int16_t index) const {
  return index == 0 ? eInvalidField : Bound().FieldType(index);
}

void PDBAppforgeRecord::SetAppforgeDefinition(std::shared_ptr<PDBAppforgeDefinition> value) {
  definition_ = std::move(value);
  values_.clear();
  if (definition_) Clear();
}

void PDBAppforgeRecord::Clear() {
  const auto count = static_cast<size_t>(Bound().FieldCount());
  values_.clear();
  values_.resize(count + 1);
}

void PDBAppforgeRecord::Decode(const PDBByteStream& oByteStream) {
  Clear();
  const int16_t count = definition_->FieldCount();
  int32_t offset = 0;
  for (int32_t i = 1; i <= count; ++i) {
    At(i) = DecodeField(definition_->FieldType(static_cast<int16_t>(i)), oByteStream, offset);
  }
}

void PDBAppforgeRecord::Encode(PDBByteStream& oByteStream) {
  const int32_t length = DataLength();
  oByteStream.Resize(length);
  const int16_t count = definition_->FieldCount();
  int32_t offset = 0;
  for (int32_t i = 1; i <= count; ++i) {
    EncodeField(i, definition_->FieldType(static_cast<int16_t>(i)), At(i), oByteStream, offset);
  }
  if (offset < length) {
    // Zeros behind shorter texts, not what the stream held before.
    oByteStream.Resize(offset);
    oByteStream.Resize(length);
  }
}

int32_t PDBAppforgeRecord::DataLength() const {
  const int16_t count = Bound().FieldCount();
  int64_t length = 0;
  for (int32_t i = 1; i <= count; ++i) {
    const int32_t type = definition_->FieldType(static_cast<int16_t>(i));
    length += FieldWidth(type);
    if (!IsTextField(type)) continue;
    std::u16string made;
    length += utils_.UTF8Length(At(i).TextIn(made));
  }
  if (!std::in_range<int32_t>(length)) throw Overflow();
  return static_cast<int32_t>(length);
}

TaggedValue PDBAppforgeRecord::Value(int16_t Index) const {
  const FieldValue& value = At(Index);
  switch (TypeOf(Index)) {
    case eByteField:
      return value.ToByte();
    case eIntegerField:
      return IntegerValue(Index);
    case eLongField:
      return value.empty() ? 0 : value.ToLong();
    case eFloatField:
      return SingleValue(Index);
    case eDoubleField:
      return DoubleValue(Index);
    case eCurrencyField:
      return CurrencyValue(Index);
    case eBooleanField:
      return !IsNumberZero(value);
    case eDateField:
      return value.empty() ? DateStamp{} : value.ToDate();
    case eStringField:
    case eSignatureField:
      return value.ToText();
    default:
      return {};
  }
}

void PDBAppforgeRecord::SetValue(int16_t Index, const TaggedValue& value) {
  FieldValue& field = At(Index);
  if (std::holds_alternative<std::monostate>(value)) {
    field = FieldValue();
    return;
  }
  switch (TypeOf(Index)) {
    case eByteField:
      field = Whole16(value);
      break;
    case eBooleanField:
      field = FieldValue(int32_t{!IsZero(value)});
      break;
    case eIntegerField:
    case eLongField:
    case eFloatField:
    case eDoubleField:
    case eCurrencyField:
    case eDateField:
    case eStringField:
    case eSignatureField:
      field = FieldValue(value);
      break;
    default:
      break;
  }
}

int16_t PDBAppforgeRecord::IntegerValue(int16_t Index) const {
  const FieldValue& value = At(Index);
  return value.empty() ? int16_t{0} : value.ToInteger();
}

double PDBAppforgeRecord::DoubleValue(int16_t Index) const {
  const FieldValue& value = At(Index);
  return value.empty() ? 0 : value.ToDouble().Number();
}

Currency PDBAppforgeRecord::CurrencyValue(int16_t Index) const {
  const FieldValue& value = At(Index);
  return value.empty() ? Currency{} : value.ToCurrency();
}

float PDBAppforgeRecord::SingleValue(int16_t Index) const {
  const FieldValue& value = At(Index);
  return value.empty() ? 0 : value.ToSingle().Number();
}

}  // namespace pylon

// Decodes any bytes into a record of any schema and sets any values in it. However they came, the
// record is its texts: another one with the same texts shows the same. And what it encodes decodes
// to a record that encodes the same.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "appforge/PDBAppforgeRecord.h"
#include "base/Text.h"
#include "tests/support/Errors.h"

namespace pylon {
namespace {

using testing::ErrorOf;

// Numbers, bytes and texts from an input, which a fuzzer can shape; zeros when it has ended.
class Choices {
 public:
  explicit Choices(ByteSpan bytes) : bytes_(bytes) {}

  bool AtEnd() const { return bytes_.empty(); }
  uint64_t Bits(size_t count) {
    uint64_t bits = 0;
    for (const std::byte byte : Take(count)) bits = bits << 8 | std::to_integer<uint8_t>(byte);
    return bits;
  }
  uint8_t Byte() { return static_cast<uint8_t>(Bits(1)); }
  ByteSpan Some() { return Take(Byte()); }
  std::u16string Text() {
    // Texts that convert to something, also from within one, and the characters of others.
    static constexpr std::u16string_view kTexts =
        u"|0|1|-0|0.0|2.5|True|False|abc|1e10|65536|0.1|-1|inf|nan|256|1E+400| 7 |2023-03-15|"
        u"1972-01-19 03:14:07|2040-01-01 12:34:56.789|1900-01-01 00:00:01|\u20AC\u00E9|"
        u"922337203685477.5807|";
    static constexpr std::u16string_view kCharacters = u"0123456789-+.eE:() infa\u00E9";
    const size_t at = Byte();
    if (at < kTexts.size()) {
      return std::u16string(kTexts.substr(at, kTexts.find(u'|', at) - at));
    }
    std::u16string text;
    for (size_t i = at % 24; i > 0; --i) text.push_back(kCharacters[Byte() % kCharacters.size()]);
    return text;
  }
  double Number() {
    switch (Byte() % 3) {
      case 0:
        return static_cast<double>(static_cast<int8_t>(Byte())) / 4;
      case 1:
        return static_cast<double>(static_cast<int64_t>(Bits(6))) / 86400;
      default:
        return std::bit_cast<double>(Bits(8));
    }
  }

 private:
  ByteSpan Take(size_t count) {
    const ByteSpan taken = bytes_.first(std::min(count, bytes_.size()));
    bytes_ = bytes_.subspan(taken.size());
    return taken;
  }

  ByteSpan bytes_;
};

// Sets a value of any kind, by SetValue or by the accessor of its kind.
void SetAny(PDBAppforgeRecord& record, int16_t i, Choices& choices) {
  const bool typed = choices.Byte() % 2 == 0;
  const auto set = [&]<class T>(T value, auto accessor) {
    return typed ? (record.*accessor)(i, value) : record.SetValue(i, value);
  };
  using Record = PDBAppforgeRecord;
  switch (choices.Byte() % 10) {
    case 0:
      return record.SetValue(i, {});
    case 1:
      return set(choices.Byte() % 2 == 0, &Record::SetBooleanValue);
    case 2:
      return set(choices.Byte(), &Record::SetByteValue);
    case 3:
      return set(static_cast<int16_t>(choices.Bits(2)), &Record::SetIntegerValue);
    case 4:
      return set(static_cast<int32_t>(choices.Bits(4)), &Record::SetLongValue);
    case 5:
      return set(std::bit_cast<float>(static_cast<uint32_t>(choices.Bits(4))),
                 &Record::SetSingleValue);
    case 6:
      return set(choices.Number(), &Record::SetDoubleValue);
    case 7:
      return set(Currency{static_cast<int64_t>(choices.Bits(8))}, &Record::SetCurrencyValue);
    case 8:
      return record.SetDateValue(i, choices.Number());
    default:
      return set(choices.Text(), &Record::SetStringValue);
  }
}

// The value that a call gave, or the error that it raised.
template <class Call>
std::string Outcome(Call&& call) {
  TaggedValue value;
  const int32_t error = ErrorOf([&] { value = call(); });
  if (error != 0) return "error " + std::to_string(error);
  return std::to_string(value.index()) + ": " + ToUtf8(FieldValue(value).ToText());
}

// A record as text: the result of each accessor for a field, and the bytes of the record.
std::vector<std::string> Shown(PDBAppforgeRecord record, int16_t i, PDBByteStream stream) {
  std::vector<std::string> shown = {
      Outcome([&] { return record.HasValue(i); }),
      Outcome([&] { return record.Value(i); }),
      Outcome([&] { return record.ByteValue(i); }),
      Outcome([&] { return record.BooleanValue(i); }),
      Outcome([&] { return record.IntegerValue(i); }),
      Outcome([&] { return record.LongValue(i); }),
      Outcome([&] { return record.DoubleValue(i); }),
      Outcome([&] { return record.CurrencyValue(i); }),
      Outcome([&] { return record.SingleValue(i); }),
      Outcome([&] { return DateStamp{record.DateValue(i)}; }),
      Outcome([&] { return record.DataLength(); }),
      Outcome([&] { return (record.Encode(stream), TaggedValue()); })};
  for (const std::byte byte : stream.RecordBytes()) {
    shown.push_back(std::to_string(std::to_integer<int>(byte)));
  }
  return shown;
}

// Whether what is encoded decodes to a record that encodes the same. Texts may lose characters.
bool GoesBothWays(PDBAppforgeRecord record) {
  PDBByteStream first, second;
  if (ErrorOf([&] { record.Encode(first); }) != 0) return true;
  record.Decode(first);
  record.Encode(second);
  return std::ranges::equal(first.RecordBytes(), second.RecordBytes());
}

void Run(ByteSpan input) {
  Choices choices(input);
  const auto definition = std::make_shared<PDBAppforgeDefinition>();
  for (int count = choices.Byte() % 14; count > 0; --count) {
    definition->AddFieldName(u"", choices.Byte() % 12);
  }
  bool has_text = false;
  for (int16_t i = 1; i <= definition->FieldCount(); ++i) {
    has_text = has_text || IsTextField(definition->FieldType(i));
  }
  PDBAppforgeRecord record;
  record.SetAppforgeDefinition(definition);
  PDBByteStream stream;
  stream.SetUTF8Strings(choices.Byte() % 2 == 0);
  stream.SetGlobalByteSwap(choices.Byte() % 2 == 0);
  int16_t field = 0;
  while (!choices.AtEnd()) {
    field = static_cast<int16_t>(choices.Byte() % (definition->FieldCount() + 1));
    const int32_t error = ErrorOf([&] {
      switch (choices.Byte() % 8) {
        case 0:
          stream.Fill(choices.Some());
          return record.Decode(stream);
        case 1:
          return record.Encode(stream);
        case 2:
          return record.Clear();
        default:
          return SetAny(record, field, choices);
      }
    });
    if (error != 0 && error != 5 && error != 6 && error != 9 && error != 13) {
      throw std::logic_error("error " + std::to_string(error));
    }
  }
  PDBAppforgeRecord of_texts;
  of_texts.SetAppforgeDefinition(definition);
  for (int16_t i = 0; i <= definition->FieldCount(); ++i) {
    of_texts.SetStringValue(i, record.StringValue(i));
  }
  const std::vector<std::string> shown = Shown(record, field, stream);
  const std::vector<std::string> expected = Shown(of_texts, field, stream);
  for (size_t at = 0; at < std::max(shown.size(), expected.size()); ++at) {
    const std::string own = at < shown.size() ? shown[at] : "nothing";
    const std::string other = at < expected.size() ? expected[at] : "nothing";
    if (own != other)
      throw std::logic_error(std::to_string(at).append(": " + own).append(", not " + other));
  }
  if (!has_text && !GoesBothWays(record)) throw std::logic_error("decodes to another record");
}

}  // namespace
}  // namespace pylon

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  pylon::Run(std::as_bytes(std::span(data, size)));
  return 0;
}

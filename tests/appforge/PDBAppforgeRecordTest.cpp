#include "appforge/PDBAppforgeRecord.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>

#include "tests/support/Errors.h"
#include "tests/support/PdbTesting.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace pylon {
namespace {

using testing::ErrorOf;
using testing::FromHex;
using testing::StreamOf;
using testing::ToHex;

PDBAppforgeRecord RecordOf(std::initializer_list<int32_t> types) {
  auto definition = std::make_shared<PDBAppforgeDefinition>();
  for (const int32_t type : types) definition->AddFieldName(u"", type);
  PDBAppforgeRecord record;
  record.SetAppforgeDefinition(definition);
  return record;
}

std::string Encoded(PDBAppforgeRecord& record) {
  PDBByteStream stream;
  record.Encode(stream);
  return ToHex(stream.RecordBytes());
}

TEST(PDBAppforgeRecord, FieldsAsBytesAndTexts) {
  const struct {
    int32_t type;
    const char* bytes;
    const char16_t* text;
    TaggedValue value;
  } cases[] = {
      {eByteField, "FF", u"255", uint8_t{255}},
      {eIntegerField, "FF FE", u"-2", int16_t{-2}},
      {eLongField, "01 02 03 04", u"16909060", 0x01020304},
      {eFloatField, "3F C0 00 00", u"1.5", 1.5F},
      {eFloatField, "7F 80 00 00", u"inf", HUGE_VALF},
      {eStringField, "41 C3 A9 00", u"A\u00E9", u"A\u00E9"},
      {eBooleanField, "FF", u"1", true},
      {eBooleanField, "00", u"0", false},
      {eDateField, "00 00 00 00", u"1904-01-01 00:00:00", DateStamp{1462}},
      {eDateField, "7F E8 17 40", u"1971-12-31 23:58:56", DateStamp{26299 - 64.0 / 86400}},
      {eDateField, "7F E8 17 80", u"1972-01-01 00:00:00", DateStamp{26299}},
      {eDateField, "80 00 00 00", u"1972-01-19 03:14:08", DateStamp{26317 + 11648.0 / 86400}},
      {eDateField, "FF D0 2F 00", u"2040-01-01 00:00:00", DateStamp{51136}},
      {eDateField, "FF FF FF FF", u"2040-02-06 06:28:15", DateStamp{51172 + 23295.0 / 86400}},
      {eDoubleField, "C0 00 00 00 00 00 00 00", u"-2", -2.0},
      {eCurrencyField, "00 00 00 00 00 00 30 39", u"1.2345", Currency{12345}},
      {eSignatureField, "C3 BF 00", u"\u00FF", u"\u00FF"},
      {eInvalidField, "", u"", {}},
      {99, "", u"", {}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.text));
    PDBAppforgeRecord record = RecordOf({c.type});
    record.Decode(StreamOf(FromHex(c.bytes)));
    EXPECT_EQ(ToUtf8(record.StringValue(1)), ToUtf8(c.text));
    EXPECT_EQ(record.Value(1), c.value);
    EXPECT_EQ(Encoded(record), c.bytes);
    // The same from its text, and by its value.
    record.Clear();
    record.SetStringValue(1, c.text);
    EXPECT_EQ(Encoded(record), c.bytes);
    record.SetValue(1, c.value);
    EXPECT_EQ(Encoded(record), c.bytes);
  }
}

TEST(PDBAppforgeRecord, BitsOfNumbersThatAreNoneStay) {
  PDBAppforgeRecord record = RecordOf({eFloatField, eDoubleField, eDoubleField});
  const char* bytes = "7F 80 00 01 FF F0 00 00 00 00 00 01 80 00 00 00 00 00 00 00";
  record.Decode(StreamOf(FromHex(bytes)));
  EXPECT_EQ(Encoded(record), bytes);
  for (int16_t i = 1; i <= 3; ++i) record.SetStringValue(i, record.StringValue(i));
  EXPECT_EQ(Encoded(record), bytes);
  // But every byte that is not zero is true.
  record = RecordOf({eBooleanField});
  record.Decode(StreamOf(FromHex("01")));
  EXPECT_TRUE(record.BooleanValue(1));
  EXPECT_EQ(Encoded(record), "FF");
}

// Dates that the seconds don't hold: in bytes, what the arithmetic makes of them.
TEST(PDBAppforgeRecord, OtherDates) {
  const struct {
    const char16_t* date;
    const char* bytes;  // null: error 6
  } cases[] = {{u"2023-03-15 12:00:00.4", "E0 37 63 C0"}, {u"2023-03-15 12:00:00.6", "E0 37 63 C1"},
               {u"1903-12-31 23:59:59", "FF FF FF FF"},   {u"0", "F8 78 8F 00"},
               {u"1972-01-19 03:14:07", "7F FF FF FF"},   {u"2040-02-06 06:28:16", "00 00 00 00"},
               {u"1835-12-12 20:45:52", "80 00 00 00"},   {u"1835-12-12 20:45:51", nullptr},
               {u"2108-02-25 09:42:23", "7F FF FF FF"},   {u"2108-02-25 09:42:24", nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.date));
    PDBAppforgeRecord record = RecordOf({eDateField});
    record.SetStringValue(1, c.date);
    std::string bytes;
    EXPECT_EQ(ErrorOf([&] { bytes = Encoded(record); }), c.bytes ? 0 : 6);
    EXPECT_EQ(bytes, c.bytes ? c.bytes : "");
  }
}

TEST(PDBAppforgeRecord, WithoutValues) {
  PDBAppforgeRecord record = RecordOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0});
  const TaggedValue values[] = {int16_t{0},  0,   0.0F,       u"", false,
                                DateStamp{}, 0.0, Currency{}, u"", {}};
  for (int16_t i = 1; i <= 11; ++i) {
    EXPECT_FALSE(record.HasValue(i));
    if (i != eByteField) {
      EXPECT_EQ(record.Value(i), values[i - 2]) << i;
    }
    EXPECT_EQ(ErrorOf([&] { (void)record.ByteValue(i); }), 13);
    EXPECT_EQ(ErrorOf([&] { (void)record.LongValue(i); }), 13);
    EXPECT_EQ(ErrorOf([&] { (void)record.DateValue(i); }), 13);
    EXPECT_EQ(record.IntegerValue(i), 0);
    EXPECT_EQ(record.SingleValue(i), 0);
    EXPECT_EQ(record.DoubleValue(i), 0);
    EXPECT_EQ(record.CurrencyValue(i), Currency{});
    EXPECT_FALSE(record.BooleanValue(i));
    EXPECT_EQ(record.StringValue(i), u"");
  }
  EXPECT_EQ(ErrorOf([&] { (void)record.Value(1); }), 13);
  // Numbers and dates become 0, which for a date is day zero; the others stay without.
  EXPECT_EQ(record.DataLength(), 34);
  Bytes zeros = FromHex("00 0000 00000000 00000000 00 00 F8788F00");
  zeros.resize(34);
  EXPECT_EQ(Encoded(record), ToHex(zeros));
  for (int16_t i = 1; i <= 11; ++i) {
    EXPECT_EQ(record.HasValue(i), i < 10 && i != eStringField && i != eBooleanField) << i;
  }
  EXPECT_EQ(record.IntegerValue(2), 0);
  EXPECT_EQ(record.DateValue(7), 0);
}

TEST(PDBAppforgeRecord, AccessorsConvertTheText) {
  PDBAppforgeRecord record = RecordOf({eStringField});
  const struct {
    const char16_t* text;
    int32_t error_of_byte, error_of_integer, error_of_long, error_of_date;
    int32_t whole;  // of the first that has no error
    double number;
    bool truth;
  } cases[] = {{u"1", 0, 0, 0, 0, 1, 1, true},
               {u" 1", 0, 0, 0, 0, 1, 1, false},
               {u"1.0", 0, 0, 0, 0, 1, 1, false},
               {u"-1", 6, 0, 0, 0, -1, -1, false},
               {u"2.5", 0, 0, 0, 0, 2, 2.5, false},
               {u"255.5", 6, 0, 0, 0, 256, 255.5, false},
               {u"40000", 6, 6, 0, 0, 40000, 40000, false},
               {u"3000000", 6, 6, 0, 6, 3000000, 3000000, false},
               {u"3e9", 6, 6, 6, 6, 0, 3e9, false},
               {u"inf", 6, 6, 6, 6, 0, HUGE_VAL, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.text));
    record.SetStringValue(1, c.text);
    int32_t whole = 0;
    EXPECT_EQ(ErrorOf([&] { whole = record.LongValue(1); }), c.error_of_long);
    EXPECT_EQ(ErrorOf([&] { whole = record.IntegerValue(1); }), c.error_of_integer);
    EXPECT_EQ(ErrorOf([&] { whole = record.ByteValue(1); }), c.error_of_byte);
    EXPECT_EQ(whole, c.whole);
    EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(record.DateValue(1), c.number); }), c.error_of_date);
    EXPECT_EQ(record.DoubleValue(1), c.number);
    EXPECT_EQ(record.SingleValue(1), static_cast<float>(c.number));
    EXPECT_EQ(record.BooleanValue(1), c.truth);
  }
  // By the text that a number has, not by its bits.
  record.SetSingleValue(1, 0.1F);
  EXPECT_EQ(record.DoubleValue(1), 0.1);
  record.SetDoubleValue(1, 1.00005);
  EXPECT_EQ(record.CurrencyValue(1), Currency{10000});
  record.SetDateValue(1, 45000);
  EXPECT_EQ(record.StringValue(1), u"2023-03-15 00:00:00");
  EXPECT_EQ(ErrorOf([&] { (void)record.DoubleValue(1); }), 13);
  EXPECT_EQ(ErrorOf([&] { record.SetDateValue(1, 3e6); }), 6);
  EXPECT_EQ(record.DateValue(1), 45000);
}

TEST(PDBAppforgeRecord, SetValueTakesAnyValue) {
  const std::u16string kept = u"kept";
  const struct {
    int32_t type;
    TaggedValue value;
    const char16_t* text;  // null: the error, and what was there stays
    int32_t error;
  } cases[] = {{eLongField, {}, u"", 0},
               {eByteField, {}, u"", 0},
               {eByteField, 2.5, u"2", 0},
               {eByteField, true, u"-1", 0},
               {eByteField, 300, u"300", 0},  // fails when it is encoded
               {eByteField, 40000, nullptr, 6},
               {eByteField, DateStamp{3.75}, u"4", 0},
               {eByteField, DateStamp{45000}, nullptr, 6},
               {eByteField, u"12.5", u"12", 0},
               {eByteField, u"", nullptr, 13},
               {eByteField, u"2023-03-15", nullptr, 13},
               {eLongField, DateStamp{45000}, u"2023-03-15 00:00:00", 0},
               {eLongField, u"twelve", u"twelve", 0},
               {eIntegerField, true, u"True", 0},
               {eDateField, 2, u"2", 0},
               {eDateField, DateStamp{1e10}, nullptr, 6},
               {eCurrencyField, 0.1F, u"0.1", 0},
               {eStringField, false, u"False", 0},
               {eStringField, Currency{-5}, u"-0.0005", 0},
               {eBooleanField, false, u"0", 0},
               {eBooleanField, true, u"1", 0},
               {eBooleanField, -0.0, u"0", 0},
               {eBooleanField, 0.1F, u"1", 0},
               {eBooleanField, uint8_t{0}, u"0", 0},
               {eBooleanField, Currency{1}, u"1", 0},
               {eBooleanField, DateStamp{0}, u"0", 0},
               {eBooleanField, u"0", u"0", 0},
               {eBooleanField, u"0.0", u"1", 0},
               {eBooleanField, u"", u"1", 0},
               {eInvalidField, 5, u"kept", 0},
               {eInvalidField, {}, u"", 0},
               {99, 5, u"kept", 0}};
  for (const auto& c : cases) {
    const std::string name = "type " + std::to_string(c.type) + ", value of kind " +
                             std::to_string(c.value.index()) + ", " +
                             (c.text ? ToUtf8(c.text) : "error");
    PDBAppforgeRecord record = RecordOf({c.type});
    record.SetStringValue(1, kept);
    EXPECT_EQ(ErrorOf([&] { record.SetValue(1, c.value); }), c.error) << name;
    EXPECT_EQ(ToUtf8(record.StringValue(1)), ToUtf8(c.text ? c.text : kept)) << name;
  }
}

TEST(PDBAppforgeRecord, ABooleanIsTrueUnlessItsTextIsTheNumberZero) {
  PDBAppforgeRecord record = RecordOf({eBooleanField});
  for (const auto& [text, truth] : std::initializer_list<std::pair<const char16_t*, bool>>{
           {u"0", false}, {u"-0.0", false}, {u"1", true}, {u"-1", true}, {u"True", true}}) {
    record.SetStringValue(1, text);
    EXPECT_EQ(record.Value(1), TaggedValue(truth)) << ToUtf8(text);
    EXPECT_EQ(Encoded(record), record.BooleanValue(1) ? "FF" : "00") << ToUtf8(text);
  }
}

TEST(PDBAppforgeRecord, Indexes) {
  using Call = std::function<void(PDBAppforgeRecord&, int16_t)>;
  const Call calls[] = {[](auto& r, int16_t i) { (void)r.HasValue(i); },
                        [](auto& r, int16_t i) { (void)r.Value(i); },
                        [](auto& r, int16_t i) { r.SetValue(i, 1); },
                        [](auto& r, int16_t i) { (void)r.StringValue(i); },
                        [](auto& r, int16_t i) { r.SetStringValue(i, u"1"); },
                        [](auto& r, int16_t i) { (void)r.IntegerValue(i); },
                        [](auto& r, int16_t i) { r.SetDateValue(i, 1); }};
  PDBAppforgeRecord unbound;
  PDBAppforgeRecord record = RecordOf({eLongField, eStringField});
  for (const Call& call : calls) {
    for (const int16_t i : std::initializer_list<int16_t>{0, 1, 2}) {
      EXPECT_EQ(ErrorOf([&] { call(record, i); }), 0);
      EXPECT_EQ(ErrorOf([&] { call(unbound, i); }), 9);
    }
    for (const int16_t i : std::initializer_list<int16_t>{-32768, -1, 3, 32767}) {
      EXPECT_EQ(ErrorOf([&] { call(record, i); }), 9);
    }
  }
  PDBByteStream stream;
  EXPECT_EQ(ErrorOf([&] { unbound.Clear(); }), 9);
  EXPECT_EQ(ErrorOf([&] { unbound.Decode(stream); }), 9);
  EXPECT_EQ(ErrorOf([&] { unbound.Encode(stream); }), 9);
  EXPECT_EQ(ErrorOf([&] { (void)unbound.DataLength(); }), 9);
}

TEST(PDBAppforgeRecord, PositionZeroIsKeptAndNeverEncoded) {
  PDBAppforgeRecord record = RecordOf({eByteField});
  record.SetStringValue(0, u"kept");
  record.SetByteValue(1, 7);
  EXPECT_EQ(Encoded(record), "07");
  EXPECT_EQ(record.StringValue(0), u"kept");
  EXPECT_EQ(record.Value(0), TaggedValue());
  record.Decode(StreamOf(FromHex("08")));
  EXPECT_FALSE(record.HasValue(0));
}

// The record has the fields of the definition as it was when they last met.
TEST(PDBAppforgeRecord, ADefinitionThatChanges) {
  PDBAppforgeRecord record = RecordOf({eByteField});
  record.SetByteValue(1, 7);
  record.AppforgeDefinition()->AddFieldName(u"", eByteField);
  EXPECT_EQ(ErrorOf([&] { (void)record.HasValue(2); }), 9);
  EXPECT_EQ(record.ByteValue(1), 7);
  EXPECT_EQ(ErrorOf([&] { Encoded(record); }), 9);
  record.Clear();
  EXPECT_EQ(Encoded(record), "00 00");
  record.AppforgeDefinition()->ClearFieldName();
  EXPECT_EQ(ErrorOf([&] { (void)record.ByteValue(1); }), 9);
  EXPECT_EQ(Encoded(record), "");
  record.SetAppforgeDefinition(nullptr);
  EXPECT_EQ(ErrorOf([&] { (void)record.HasValue(0); }), 9);
}

TEST(PDBAppforgeRecord, AShortStreamEndsTheDecoding) {
  PDBAppforgeRecord record = RecordOf({eByteField, eLongField, eStringField});
  for (int16_t i = 1; i <= 3; ++i) record.SetStringValue(i, u"old");
  EXPECT_EQ(ErrorOf([&] { record.Decode(StreamOf(FromHex("07 00 00"))); }), 9);
  EXPECT_EQ(record.StringValue(1), u"7");
  EXPECT_FALSE(record.HasValue(2));
  EXPECT_FALSE(record.HasValue(3));
}

TEST(PDBAppforgeRecord, AnErrorEndsTheEncodingWhereItIs) {
  PDBAppforgeRecord record = RecordOf({eByteField, eLongField, eByteField});
  PDBByteStream stream = StreamOf(FromHex("01 02 03 04 05 06 07 08 09"));
  record.SetStringValue(2, u"many");
  EXPECT_EQ(ErrorOf([&] { record.Encode(stream); }), 13);
  EXPECT_EQ(ToHex(stream.ByteArray()->bytes), "00 02 03 04 05 06");
  EXPECT_TRUE(record.HasValue(1));
  EXPECT_FALSE(record.HasValue(3));

  record = RecordOf({eStringField});
  record.SetStringValue(1, {u'a', 0, u'b'});
  EXPECT_EQ(ErrorOf([&] { Encoded(record); }), 5) << "it would end at the NUL";
}

TEST(PDBAppforgeRecord, TextsOfOneByteACharacterLeaveZeros) {
  PDBAppforgeRecord record = RecordOf({eStringField, eByteField});
  record.SetStringValue(1, u"\u00E9\u00E9\u00E9");
  record.SetByteValue(2, 7);
  EXPECT_EQ(record.DataLength(), 8);
  PDBByteStream stream = StreamOf(Bytes(20, std::byte{0xAA}));
  stream.SetUTF8Strings(false);
  record.Encode(stream);
  EXPECT_EQ(ToHex(stream.ByteArray()->bytes), "E9 E9 E9 00 07 00 00 00");
  record.SetStringValue(1, std::u16string(32768, u'x'));
  EXPECT_EQ(ErrorOf([&] { record.Encode(stream); }), 6);
}

// The fuzz target's comparison, over random inputs.
TEST(PDBAppforgeRecord, IsItsTextsAndGoesBothWays) {
  std::mt19937 random(1);
  for (int i = 0; i < 1500; ++i) {
    std::vector<uint8_t> input(random() % 120);
    for (uint8_t& byte : input) byte = static_cast<uint8_t>(random());
    ASSERT_NO_THROW(LLVMFuzzerTestOneInput(input.data(), input.size())) << i;
  }
}

}  // namespace
}  // namespace pylon

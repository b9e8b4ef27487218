#include "pdb/PDBByteStream.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "tests/support/Errors.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::ErrorOf;
using testing::FromHex;
using testing::StreamOf;
using testing::ToHex;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

std::string Contents(const PDBByteStream& stream) { return ToHex(stream.ByteArray()->bytes); }

PDBByteStream ArrayOf(std::string_view hex, int32_t lower_bound = 0) {
  PDBByteStream stream;
  stream.SetByteArray({FromHex(hex), lower_bound});
  return stream;
}

TEST(PDBByteStream, ANewStreamHoldsNothing) {
  PDBByteStream stream;
  EXPECT_EQ(stream.length(), 0);
  EXPECT_TRUE(stream.UTF8Strings());
  EXPECT_FALSE(stream.GlobalByteSwap());
  EXPECT_EQ(stream.ByteArray(), std::nullopt);
  std::u16string text = u"old";
  int32_t offset = 7;
  stream.ByteToString(text, offset);
  EXPECT_EQ(text, u"");
  EXPECT_EQ(offset, 7);
}

// Writes and reads with and without swap; `plain` and `swapped` end with the spare byte.
template <class T, class Swap>
void ExpectNumber(void (PDBByteStream::*write)(T, int32_t&, bool),
                  void (PDBByteStream::*read)(T&, int32_t&, Swap) const, T value, const char* plain,
                  const char* swapped) {
  for (const bool swap : {false, true}) {
    for (const bool global : {false, true}) {
      PDBByteStream stream;
      stream.SetGlobalByteSwap(global);
      int32_t offset = 0;
      (stream.*write)(value, offset, swap);
      EXPECT_EQ(Contents(stream), swap != global ? swapped : plain);
      EXPECT_EQ(offset, stream.length());
      int32_t start = 0;
      T back = 0;
      bool read_swap = swap;
      (stream.*read)(back, start, read_swap);
      EXPECT_EQ(back, value) << plain;
      EXPECT_EQ(start, offset);
    }
  }
}

TEST(PDBByteStream, NumbersInBothByteOrders) {
  using S = PDBByteStream;
  ExpectNumber<int16_t>(&S::IntegerToByte, &S::ByteToInteger, -2, "FE FF 00", "FF FE 00");
  ExpectNumber<int32_t>(&S::Int24ToByte, &S::ByteToInt24, 0x123456, "12 34 56 00", "56 34 12 00");
  ExpectNumber<int32_t>(&S::LongToByte, &S::ByteToLong, 0x01020304, "04 03 02 01 00",
                        "01 02 03 04 00");
  ExpectNumber<float>(&S::SingleToByte, &S::ByteToSingle, 1.5f, "00 00 C0 3F 00", "3F C0 00 00 00");
  ExpectNumber<double>(&S::DoubleToByte, &S::ByteToDouble, -2, "00 00 00 00 00 00 00 C0 00",
                       "C0 00 00 00 00 00 00 00 00");
  ExpectNumber<int64_t>(&S::CurrencyToByte, &S::ByteToCurrency, 12345, "39 30 00 00 00 00 00 00 00",
                        "00 00 00 00 00 00 30 39 00");
}

TEST(PDBByteStream, DoubleAndCurrencyLeaveTheCallersSwapInverted) {
  PDBByteStream stream = StreamOf(FromHex("00 00 00 00 00 00 00 C0"));
  stream.SetGlobalByteSwap(true);
  double value = 0;
  int64_t currency = 0;
  int32_t offset = 0;
  bool swap = true;
  stream.ByteToDouble(value, offset, swap);
  EXPECT_EQ(value, -2);
  EXPECT_FALSE(swap);
  offset = 0;
  stream.ByteToCurrency(currency, offset, swap);
  EXPECT_EQ(currency, 0xC0);
  EXPECT_TRUE(swap);
}

TEST(PDBByteStream, VfsSwapsAndOtherPlatformsLeaveTheSwapAlone) {
  PDBByteStream stream;
  int32_t offset = 0;
  stream.SetDatabaseFor(dftPalmVFS);
  stream.SetDatabaseFor(dftWindows);
  EXPECT_EQ(stream.DatabaseFor(), dftWindows);
  stream.LongToByte(0x01020304, offset, true);
  stream.LongToByte(0x01020304, offset);
  EXPECT_EQ(Contents(stream), "04 03 02 01 01 02 03 04 00");
}

TEST(PDBByteStream, TheInt24WriterKeepsItsLimits) {
  const struct {
    int32_t value;
    int32_t error;
  } cases[] = {{0, 0},        {0x7FFF, 0},   {0x8000, 6},    {0xFF7FFF, 0},
               {0xFFFFFF, 6}, {0x12FF00, 6}, {0x1000000, 6}, {-1, 6}};
  for (const auto& c : cases) {
    PDBByteStream stream;
    int32_t offset = 0;
    EXPECT_EQ(ErrorOf([&] { stream.Int24ToByte(c.value, offset); }), c.error) << c.value;
    EXPECT_EQ(offset, c.error ? 0 : 3);
  }
}

TEST(PDBByteStream, BufferBounds) {
  PDBByteStream stream;
  stream.Resize(10);
  EXPECT_EQ(stream.length(), 9);
  stream.Resize(0);
  EXPECT_EQ(stream.length(), -1);
  EXPECT_EQ(ErrorOf([&] { stream.Resize(-1); }), 9);
  stream.Clear();
  EXPECT_EQ(stream.length(), 0);

  stream = StreamOf(FromHex("01 02"));
  EXPECT_EQ(stream.length(), 2);
  int32_t offset = 5;
  stream.SetByte(9, offset);  // a gap is zero
  EXPECT_EQ(Contents(stream), "01 02 00 00 00 09 00");

  // An array is taken as it is: its last byte is no spare, and a byte behind it makes one.
  stream = ArrayOf("01 02 03");
  EXPECT_EQ(stream.length(), 2);
  EXPECT_EQ(ToHex(stream.RecordBytes()), "01 02");
  EXPECT_EQ(ToHex(stream.BlockBytes()), "01 02 03");
  offset = 2;
  stream.SetByte(7, offset);
  EXPECT_EQ(Contents(stream), "01 02 07 00");
  EXPECT_EQ(ToHex(stream.BlockBytes()), "01 02 07");
  EXPECT_EQ(ToHex(stream.RecordBytes()), "01 02 07");
  stream.Resize(4);
  EXPECT_EQ(ToHex(stream.BlockBytes()), "01 02 07 00");
}

// The offset and text that a failed call leaves behind are checked along with its error.
TEST(PDBByteStream, OutOfBounds) {
  using S = PDBByteStream;
  using Call = std::function<void(S&, std::u16string&, int32_t&)>;
  const auto field = [](int32_t length) -> Call {
    return [length](S& s, auto& text, int32_t& o) { s.ByteToFixString(text, o, length); };
  };
  int32_t number = 0;
  uint8_t byte = 0;
  const Call read = [&](S& s, auto&, int32_t& o) { s.ByteToLong(number, o); };
  const Call write = [](S& s, auto&, int32_t& o) { s.LongToByte(1, o); };
  const Call get = [&](S& s, auto&, int32_t& o) { s.GetByte(byte, o); };
  const Call set = [](S& s, auto&, int32_t& o) { s.SetByte(1, o); };
  const Call resize = [](S& s, auto&, int32_t&) { s.Resize(2); };
  const Call text = [](S& s, auto& t, int32_t& o) { s.ByteToString(t, o); };
  const Call c_string = [](S& s, auto& t, int32_t& o) { s.ByteToCString(t, o); };
  const std::u16string too_long(32768, u'x');
  const Call put_text = [&](S& s, auto&, int32_t& o) { s.StringToByte(too_long, o); };
  const Call put_c_string = [&](S& s, auto&, int32_t& o) { s.CStringToByte(too_long, o); };
  const Call put_field = [](S& s, auto&, int32_t& o) { s.FixStringToByte(u"", o, 32768); };
  const struct {
    const char* name;
    S stream;
    int32_t offset;
    Call call;
    int32_t error;
  } cases[] = {
      {"read without a buffer", S(), 0, get, 9},
      {"read past the end", ArrayOf("01 02 03"), 0, read, 9},
      {"read before the start", ArrayOf("01 02 03"), -1, get, 9},
      {"read at the largest offset", ArrayOf("01 02 03"), kMax, read, 9},
      {"write before the start", S(), -1, write, 9},
      {"write past the largest offset", S(), kMax - 3, write, 6},
      {"read below a lower bound", ArrayOf("01 02 03", 1), 0, get, 9},
      {"grow above a lower bound", ArrayOf("01 02 03", 1), 3, set, 9},
      {"resize above a lower bound", ArrayOf("01 02 03", 1), 0, resize, 9},
      {"fixed field past the end, text within", ArrayOf("41 00 03"), 0, field(4), 9},
      {"fixed field of negative length", ArrayOf("41"), 0, field(-1), 6},
      {"fixed field too long to count", S(), 0, put_field, 6},
      {"CString of negative length", ArrayOf("FF FF FF 00"), 0, c_string, 6},
      {"CString longer than the buffer", ArrayOf("05 41 42"), 0, c_string, 9},
      {"CString too long to count", S(), 0, put_c_string, 6},
      {"string too long to count", S(), 0, put_text, 6},
      {"string at a large offset", StreamOf(Bytes(50000)), 40000, text, 6},
      {"string that grows too long", StreamOf(Bytes(50000, std::byte{'x'})), 32000, text, 6},
      {"two bytes cut", ArrayOf("41 C3"), 0, text, 9},
      {"three bytes cut", ArrayOf("41 E2 82"), 0, text, 9}};
  for (const auto& c : cases) {
    S stream = c.stream;
    std::u16string old = u"old";
    int32_t offset = c.offset;
    EXPECT_EQ(ErrorOf([&] { c.call(stream, old, offset); }), c.error) << c.name;
    EXPECT_EQ(old, u"old") << c.name;
    EXPECT_EQ(offset, c.offset) << c.name;
  }
}

TEST(PDBByteStream, LowerBoundsOfOtherArrays) {
  const PDBByteStream stream = ArrayOf("0A 0B 0C", 5);
  EXPECT_EQ(stream.length(), 7);
  uint8_t value = 0;
  int32_t offset = 6;
  stream.GetByte(value, offset);
  EXPECT_EQ(value, 0x0B);
  EXPECT_EQ(stream.ByteArray()->lower_bound, 5);
  EXPECT_EQ(ToHex(stream.RecordBytes()), "0A 0B 0C");
}

TEST(PDBByteStream, NullTerminatedStringsAreWritten) {
  const struct {
    const char16_t* text;
    bool utf8;
    const char* bytes;  // the spare one included
  } cases[] = {{u"", true, "00 00"},
               {u"Ab", true, "41 62 00 00"},
               {u"\u00E9", true, "C3 A9 00 00"},
               {u"\u20AC", true, "80 00 00"},     // ANSI code 128 is stored as it is
               {u"\u2122", true, "C2 99 00 00"},  // by its ANSI code 0x99, not its character
               {u"\u00E9\u20AC", false, "E9 80 00 00"},
               {u"\u0416", true, "3F 00 00"}};
  for (const auto& c : cases) {
    PDBByteStream stream;
    stream.SetUTF8Strings(c.utf8);
    int32_t offset = 0;
    stream.StringToByte(c.text, offset);
    EXPECT_EQ(Contents(stream), c.bytes);
    EXPECT_EQ(offset, stream.length());
  }
}

TEST(PDBByteStream, NullTerminatedStringsAreRead) {
  const struct {
    const char* name;
    const char* bytes;
    int32_t offset;
    bool utf8;
    const char16_t* text;
    int32_t end;
  } cases[] = {{"terminated", "41 42 00 43", 0, true, u"AB", 3},
               {"from within", "41 42 00 43", 1, true, u"B", 3},
               {"empty", "00 41", 0, true, u"", 1},
               {"without terminator", "41 42", 0, true, u"AB", 2},
               {"from behind the end", "41 42", 9, true, u"", 2},
               {"two bytes", "C3 A9 00", 0, true, u"\u00E9", 3},
               {"last two-byte lead", "DB BF 00", 0, true, u"\u06FF", 3},
               {"DC is a character", "DC 42 00", 0, true, u"\u00DC\u0042", 3},
               {"E0 is a character", "E0 A0 80 00", 0, true, u"\u00E0\u00A0\u20AC", 4},
               {"three bytes", "E2 82 AC 00", 0, true, u"\u20AC", 4},
               {"four bytes count as three", "F0 9F 98 80 00", 0, true, u"\u07D8\u20AC", 5},
               {"C1 is a character", "C1 00", 0, true, u"\u00C1", 2},
               {"code page", "C3 A9 80 00", 0, false, u"\u00C3\u00A9\u20AC", 4}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    PDBByteStream stream = ArrayOf(c.bytes);
    stream.SetUTF8Strings(c.utf8);
    std::u16string text;
    int32_t offset = c.offset;
    stream.ByteToString(text, offset);
    EXPECT_EQ(text, c.text);
    EXPECT_EQ(offset, c.end);
  }
}

TEST(PDBByteStream, FixedFieldsAreCutAndPadded) {
  PDBByteStream stream;
  int32_t offset = 0;
  stream.FixStringToByte(u"\u00E9\u20AC", offset, 4);
  stream.FixStringToByte(u"abcdef", offset, 2);
  EXPECT_EQ(Contents(stream), "E9 80 00 00 61 62 00");
  std::u16string text;
  offset = 0;
  stream.ByteToFixString(text, offset, 4);
  EXPECT_EQ(text, u"\u00E9\u20AC");
  stream.ByteToFixString(text, offset, 2);
  EXPECT_EQ(text, u"ab");
  EXPECT_EQ(offset, 6);
  stream.ByteToFixString(text, offset, 0);
  EXPECT_EQ(text, u"");
}

TEST(PDBByteStream, AFilledOneHasAByteMoreThanTheBlock) {
  PDBByteStream stream;
  stream.Fill(Bytes(3));
  EXPECT_EQ(stream.ByteArray()->bytes.size(), 4U);
  EXPECT_EQ(stream.BlockBytes().size(), 3U);
}

TEST(PDBByteStream, CStringsOfEveryKindOfLength) {
  for (const bool global : {false, true}) {
    for (const size_t size : {0u, 1u, 254u, 255u, 256u, 32767u}) {
      SCOPED_TRACE(size);
      PDBByteStream stream;
      stream.SetGlobalByteSwap(global);
      const std::u16string text(size, u'\u00E9');
      int32_t offset = 0;
      stream.CStringToByte(text, offset);
      EXPECT_EQ(offset, static_cast<int32_t>(size + (size < 255 ? 1 : 3)));
      if (size == 256) {
        EXPECT_EQ(Contents(stream).substr(0, 8), global ? "FF 01 00" : "FF 00 01");
      }
      std::u16string back;
      offset = 0;
      stream.ByteToCString(back, offset);
      EXPECT_EQ(back, text);
      EXPECT_EQ(offset, stream.length());
    }
  }
}

}  // namespace
}  // namespace pylon

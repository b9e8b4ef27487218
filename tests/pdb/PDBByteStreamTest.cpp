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

// Every numeric member: what it writes with and without swap, and that it reads it back.
TEST(PDBByteStream, NumbersInBothByteOrders) {
  struct Case {
    const char* name;
    std::function<void(PDBByteStream&, int32_t&, bool)> write;
    std::function<bool(const PDBByteStream&, int32_t&, bool)> reads_back;
    const char* plain;
    const char* swapped;
  };
  const Case cases[] = {
      {"Integer", [](auto& s, auto& o, bool swap) { s.IntegerToByte(-2, o, swap); },
       [](auto& s, auto& o, bool swap) {
         int16_t v = 0;
         s.ByteToInteger(v, o, swap);
         return v == -2;
       },
       "FE FF 00", "FF FE 00"},
      {"Int24", [](auto& s, auto& o, bool swap) { s.Int24ToByte(0x123456, o, swap); },
       [](auto& s, auto& o, bool swap) {
         int32_t v = 0;
         s.ByteToInt24(v, o, swap);
         return v == 0x123456;
       },
       "12 34 56 00", "56 34 12 00"},
      {"Long", [](auto& s, auto& o, bool swap) { s.LongToByte(0x01020304, o, swap); },
       [](auto& s, auto& o, bool swap) {
         int32_t v = 0;
         s.ByteToLong(v, o, swap);
         return v == 0x01020304;
       },
       "04 03 02 01 00", "01 02 03 04 00"},
      {"Single", [](auto& s, auto& o, bool swap) { s.SingleToByte(1.5f, o, swap); },
       [](auto& s, auto& o, bool swap) {
         float v = 0;
         s.ByteToSingle(v, o, swap);
         return v == 1.5f;
       },
       "00 00 C0 3F 00", "3F C0 00 00 00"},
      {"Double", [](auto& s, auto& o, bool swap) { s.DoubleToByte(-2, o, swap); },
       [](auto& s, auto& o, bool swap) {
         double v = 0;
         s.ByteToDouble(v, o, swap);
         return v == -2;
       },
       "00 00 00 00 00 00 00 C0 00", "C0 00 00 00 00 00 00 00 00"},
      {"Currency", [](auto& s, auto& o, bool swap) { s.CurrencyToByte(12345, o, swap); },
       [](auto& s, auto& o, bool swap) {
         int64_t v = 0;
         s.ByteToCurrency(v, o, swap);
         return v == 12345;
       },
       "39 30 00 00 00 00 00 00 00", "00 00 00 00 00 00 30 39 00"},
  };
  for (const Case& c : cases) {
    for (const bool swap : {false, true}) {
      for (const bool global : {false, true}) {
        SCOPED_TRACE(std::string(c.name) + (swap ? " swapped" : "") + (global ? " global" : ""));
        PDBByteStream stream;
        stream.SetGlobalByteSwap(global);
        int32_t offset = 0;
        c.write(stream, offset, swap);
        EXPECT_EQ(Contents(stream), swap != global ? c.swapped : c.plain);
        EXPECT_EQ(offset, stream.length());  // one byte is spare
        const int32_t end = offset;
        offset = 0;
        EXPECT_TRUE(c.reads_back(stream, offset, swap));
        EXPECT_EQ(offset, end);
      }
    }
  }
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
  } cases[] = {{0, 0},        {0x7FFF, 0},   {0x8000, 6},   {0xFF7FFF, 0},
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

TEST(PDBByteStream, OutOfBounds) {
  const struct {
    const char* name;
    PDBByteStream stream;
    std::function<void(PDBByteStream&)> call;
    int32_t error;
  } cases[] = {
      {"read without a buffer", PDBByteStream(),
       [](auto& s) { uint8_t v; int32_t o = 0; s.GetByte(v, o); }, 9},
      {"read past the end", ArrayOf("01 02 03"),
       [](auto& s) { int32_t v; int32_t o = 0; s.ByteToLong(v, o); }, 9},
      {"read before the start", ArrayOf("01 02 03"),
       [](auto& s) { uint8_t v; int32_t o = -1; s.GetByte(v, o); }, 9},
      {"read at the largest offset", ArrayOf("01 02 03"),
       [](auto& s) { int32_t v; int32_t o = kMax; s.ByteToLong(v, o); }, 9},
      {"write before the start", PDBByteStream(),
       [](auto& s) { int32_t o = -1; s.LongToByte(1, o); }, 9},
      {"write past the largest offset", PDBByteStream(),
       [](auto& s) { int32_t o = kMax - 3; s.LongToByte(1, o); }, 6},
      {"read below a lower bound", ArrayOf("01 02 03", 1),
       [](auto& s) { uint8_t v; int32_t o = 0; s.GetByte(v, o); }, 9},
      {"grow above a lower bound", ArrayOf("01 02 03", 1),
       [](auto& s) { int32_t o = 3; s.SetByte(1, o); }, 9},
      {"resize above a lower bound", ArrayOf("01 02 03", 1), [](auto& s) { s.Resize(2); }, 9},
      {"fixed field past the end, text within", ArrayOf("41 00 03"),
       [](auto& s) { std::u16string t; int32_t o = 0; s.ByteToFixString(t, o, 4); }, 9},
      {"fixed field of negative length", ArrayOf("41"),
       [](auto& s) { std::u16string t; int32_t o = 0; s.ByteToFixString(t, o, -1); }, 6},
      {"fixed field too long to count", PDBByteStream(),
       [](auto& s) { int32_t o = 0; s.FixStringToByte(u"", o, 32768); }, 6},
      {"CString of negative length", ArrayOf("FF FF FF 00"),
       [](auto& s) { std::u16string t; int32_t o = 0; s.ByteToCString(t, o); }, 6},
      {"CString longer than the buffer", ArrayOf("05 41 42"),
       [](auto& s) { std::u16string t; int32_t o = 0; s.ByteToCString(t, o); }, 9},
      {"CString too long to count", PDBByteStream(),
       [](auto& s) { int32_t o = 0; s.CStringToByte(std::u16string(32768, u'x'), o); }, 6},
      {"string too long to count", PDBByteStream(),
       [](auto& s) { int32_t o = 0; s.StringToByte(std::u16string(32768, u'x'), o); }, 6},
      {"string at a large offset", StreamOf(Bytes(50000)),
       [](auto& s) { std::u16string t; int32_t o = 40000; s.ByteToString(t, o); }, 6},
      {"string that passes the largest index", StreamOf(Bytes(50000, std::byte{'x'})),
       [](auto& s) { std::u16string t; int32_t o = 32000; s.ByteToString(t, o); }, 6},
      {"two bytes cut", ArrayOf("41 C3"),
       [](auto& s) { std::u16string t; int32_t o = 0; s.ByteToString(t, o); }, 9},
      {"three bytes cut", ArrayOf("41 E2 82"),
       [](auto& s) { std::u16string t; int32_t o = 0; s.ByteToString(t, o); }, 9},
  };
  for (const auto& c : cases) {
    PDBByteStream stream = c.stream;
    EXPECT_EQ(ErrorOf([&] { c.call(stream); }), c.error) << c.name;
  }
}

TEST(PDBByteStream, AFailedReadChangesNothing) {
  const PDBByteStream stream = ArrayOf("03 41 42");
  std::u16string text = u"old";
  int32_t offset = 0;
  EXPECT_EQ(ErrorOf([&] { stream.ByteToCString(text, offset); }), 9);
  EXPECT_EQ(text, u"old");
  EXPECT_EQ(offset, 0);
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
  } cases[] = {
      {u"", true, "00 00"},
      {u"Ab", true, "41 62 00 00"},
      {u"\u00E9", true, "C3 A9 00 00"},
      {u"\u20AC", true, "80 00 00"},        // ANSI code 128 is stored as it is
      {u"\u2122", true, "C2 99 00 00"},     // by its ANSI code 0x99, not its character
      {u"\u00E9\u20AC", false, "E9 80 00 00"},
      {u"\u0416", true, "3F 00 00"},
  };
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
  } cases[] = {
      {"terminated", "41 42 00 43", 0, true, u"AB", 3},
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
      {"code page", "C3 A9 80 00", 0, false, u"\u00C3\u00A9\u20AC", 4},
  };
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

// A megabyte by single bytes: quadratic growth would not end within the test's time.
TEST(PDBByteStream, GrowthIsLinear) {
  PDBByteStream stream;
  int32_t offset = 0;
  while (offset < 1 << 20) stream.SetByte(static_cast<uint8_t>(offset), offset);
  EXPECT_EQ(stream.length(), 1 << 20);
}

}  // namespace
}  // namespace pylon

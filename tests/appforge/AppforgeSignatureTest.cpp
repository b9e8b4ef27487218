#include "appforge/AppforgeSignature.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/Errors.h"
#include "tests/support/MemoryDisk.h"
#include "tests/support/PdbTesting.h"

namespace pylon {

void PrintTo(const SignatureLine& line, std::ostream* out) {
  *out << line.from.x << "," << line.from.y << " - " << line.to.x << "," << line.to.y;
}

namespace {

using testing::Ascii;
using ::testing::ElementsAreArray;
using testing::ErrorOf;
using ::testing::HasSubstr;
using testing::MemoryDisk;
using testing::ToHex;

SignatureLine Line(int16_t x1, int16_t y1, int16_t x2, int16_t y2) { return {{x1, y1}, {x2, y2}}; }
SignatureLine Dot(int16_t x, int16_t y) { return Line(x, y, x, y); }

TEST(AppforgeSignature, TextIsStrokes) {
  const struct {
    const char* name;
    std::u16string text;
    std::vector<SignatureLine> lines;
  } cases[] = {{"nothing", u"", {}},
               {"one point", u"\x05\x06\uFFFF", {Dot(5, 6)}},
               {"a pen that is still down on its first point", u"\x05\x06", {}},
               {"a stroke",
                u"\x01\x02\x03\x04\x05\x06\uFFFF",
                {Line(1, 2, 3, 4), Line(3, 4, 5, 6), Dot(5, 6)}},
               {"a stroke whose pen is still down", u"\x01\x02\x03\x04", {Line(1, 2, 3, 4)}},
               {"two strokes",
                u"\x01\x02\x03\x04\uFFFF\x07\x08\x09\x0A\uFFFF",
                {Line(1, 2, 3, 4), Dot(3, 4), Line(7, 8, 9, 10), Dot(9, 10)}},
               {"a pen that is up already", u"\uFFFF\x01\x02\uFFFF\uFFFF", {Dot(1, 2)}},
               {"U+FFFF as a y", u"\x01\uFFFF\x02\uFFFF\uFFFF", {Line(1, -1, 2, -1), Dot(2, -1)}},
               {"zeros", std::u16string(4, u'\0') + u"\uFFFF", {Dot(0, 0), Dot(0, 0)}},
               {"the ends of 16 bits",
                {0x8000, 0x7FFF, 0x7FFF, 0x8000, 0xFFFF},
                {Line(-32768, 32767, 32767, -32768), Dot(32767, -32768)}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    AppforgeSignature signature;
    signature.SetSignature(c.text);
    EXPECT_THAT(signature.Lines(), ElementsAreArray(c.lines));
  }
  for (const char16_t* text : {u"\x01", u"\x01\x02\x03", u"\uFFFF\x01", u"\x01\x02\uFFFF\x03"}) {
    AppforgeSignature signature;
    signature.SetSignature(text);
    EXPECT_EQ(ErrorOf([&] { signature.Lines(); }), 5) << ToUtf8(text);
  }
}

// Notes what is drawn; every byte of its pixels is 0xCC.
class NotingSurface final : public SignatureSurface {
 public:
  void Clear(int32_t width, int32_t height, int32_t color) override {
    notes.push_back("clear " + std::to_string(width) + " x " + std::to_string(height) + " " +
                    std::to_string(color));
    const size_t row = (static_cast<size_t>(width) * 3 + 3) / 4 * 4;
    pixels_.assign(row * static_cast<size_t>(height), std::byte{0xCC});
  }
  void DrawLines(std::span<const SignatureLine> lines, int32_t color) override {
    notes.push_back("lines " + std::to_string(lines.size()) + " " + std::to_string(color));
  }
  void Print(std::u16string_view text, std::u16string_view font_name, int32_t font_points,
             int32_t color) override {
    notes.push_back("print " + ToUtf8(text) + " " + ToUtf8(font_name) + " " +
                    std::to_string(font_points) + " " + std::to_string(color));
  }
  ByteSpan Pixels() override { return pixels_; }

  std::vector<std::string> notes;

 private:
  Bytes pixels_;
};

class SignaturePictures : public ::testing::Test {
 protected:
  static constexpr char16_t kPath[] = u"C:\\pictures\\me.bmp";

  SignaturePictures() { signature_.SetSignature(u"\x01\x02\x03\x04\uFFFF"); }

  void Create(const SignaturePicture& picture = {}) {
    signature_.CreateBMP(kPath, picture, surface_, *folder_.Factory()());
  }

  AppforgeSignature signature_;
  NotingSurface surface_;
  MemoryDisk folder_;
};

TEST_F(SignaturePictures, AreWindowsBitmaps) {
  SignaturePicture picture;
  picture.ImageWidth = 3;
  picture.ImageHeight = 2;
  Create(picture);
  EXPECT_EQ(ToHex(folder_.files[kPath]),
            "42 4D 4E 00 00 00 00 00 00 00 36 00 00 00 "  // 78 bytes, pixels from 54
            "28 00 00 00 03 00 00 00 02 00 00 00 01 00 18 00 00 00 00 00 18 00 00 00 "
            "C3 0E 00 00 C3 0E 00 00 00 00 00 00 00 00 00 00 "
            "CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC CC");
}

TEST_F(SignaturePictures, AreDrawnAsAskedFor) {
  signature_.SetStamp(u"2003-05-01");
  Create();
  SignaturePicture picture;
  picture.StampColor = 1;
  picture.StampFontSize = 20;
  picture.StampFontName = u"Tahoma";
  picture.BackColor = 2;
  picture.SignatureColor = 3;
  picture.ImageWidth = 10.5F;
  picture.ImageHeight = 0.1F;
  Create(picture);
  picture.StampFontSize = -3;
  picture.StampFontName.clear();
  picture.ImageWidth = -1;
  picture.ImageHeight = -std::numeric_limits<float>::infinity();
  Create(picture);
  signature_.SetStamp({});
  Create();
  EXPECT_THAT(surface_.notes, ElementsAreArray({
                                  "clear 320 x 160 16777215",
                                  "lines 2 0",
                                  "print 2003-05-01 Arial 10 0",  //
                                  "clear 11 x 1 2",
                                  "lines 2 3",
                                  "print 2003-05-01 Tahoma 20 1",  //
                                  "clear 320 x 160 2",
                                  "lines 2 3",
                                  "print 2003-05-01 Arial 10 1",  //
                                  "clear 320 x 160 16777215",
                                  "lines 2 0",
                              }));
}

TEST_F(SignaturePictures, ImpossibleOnesAreRefusedBeforeAnythingHappens) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const struct {
    float width, height;
    int32_t font_size;
    const char16_t* text;
    int32_t error;
  } cases[] = {{NAN, 10, 10, u"", 5},    {10, NAN, 10, u"", 5},  {kInfinity, 10, 10, u"", 6},
               {32768, 1, 10, u"", 6},   {1, 3e38F, 10, u"", 6}, {32767, 32767, 10, u"", 7},
               {8192, 8193, 10, u"", 7}, {10, 10, 2161, u"", 5}, {10, 10, 10, u"\x01", 5}};
  for (const auto& c : cases) {
    signature_.SetSignature(c.text);
    SignaturePicture picture;
    picture.ImageWidth = c.width;
    picture.ImageHeight = c.height;
    picture.StampFontSize = c.font_size;
    EXPECT_EQ(ErrorOf([&] { Create(picture); }), c.error) << &c - cases;
  }
  EXPECT_TRUE(surface_.notes.empty());
  EXPECT_EQ(folder_.calls.size(), 0U);

  EXPECT_EQ(ErrorOf([&] {
              AppforgeSignature().CreateBMP(u"C:\\pictures\\", {}, surface_, *folder_.Factory()());
            }),
            5);
}

TEST_F(SignaturePictures, AreThereWholeOrNotAtAll) {
  Create();
  const Bytes whole = folder_.files[kPath];
  const Bytes old = Ascii("an older picture");
  for (const std::string operation : {"Open", "Write", "Close", "Replace"}) {
    for (int n = 1; n <= 2; ++n) {
      SCOPED_TRACE(operation + " " + std::to_string(n));
      folder_.files = {{kPath, old}};
      folder_.FailNth(operation, n);
      const int32_t error = ErrorOf([&] { Create(); });
      folder_.FailNth(operation, 0);
      EXPECT_EQ(folder_.files[kPath], error ? old : whole);
      EXPECT_EQ(folder_.files.size(), 1U);
      EXPECT_TRUE(folder_.open.empty());
      EXPECT_EQ(error, n == 1 || error ? 75 : 0);
    }
  }
  folder_.open.insert(kPath);
  try {
    Create();
    ADD_FAILURE() << "no error";
  } catch (const AutomationError& error) {
    EXPECT_EQ(error.number(), 75);
    EXPECT_THAT(error.what(), HasSubstr("me.bmp"));
    EXPECT_THAT(error.what(), HasSubstr("error 32"));
  }
}

}  // namespace
}  // namespace pylon

#include "appforge/frmSignature.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "appforge/AppforgeSignature.h"
#include "files/cFileIO.h"
#include "tests/files/TempFolder.h"
#include "tests/support/Errors.h"
#include "tests/toolkit/Desktop.h"

namespace pylon {
namespace {

using testing::ErrorOf;
using testing::Holder;
using testing::TempFolder;

constexpr COLORREF kBlack = RGB(0, 0, 0);
constexpr COLORREF kWhite = RGB(255, 255, 255);
constexpr COLORREF kBlue = RGB(0, 0, 200);
constexpr COLORREF kYellow = RGB(255, 255, 128);
constexpr COLORREF kRed = RGB(255, 0, 0);

// The pixels of a picture file as the system itself reads it.
class Picture {
 public:
  explicit Picture(const std::u16string& path) {
    const auto bitmap = static_cast<HBITMAP>(
        ::LoadImageW(nullptr, Wide(path), IMAGE_BITMAP, 0, 0, LR_LOADFROMFILE));
    EXPECT_TRUE(bitmap);
    BITMAP info = {};
    ::GetObjectW(bitmap, sizeof(info), &info);
    width = info.bmWidth;
    height = info.bmHeight;
    const HDC dc = ::CreateCompatibleDC(nullptr);
    const HGDIOBJ old = ::SelectObject(dc, bitmap);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) pixels_.push_back(::GetPixel(dc, x, y));
    }
    ::SelectObject(dc, old);
    ::DeleteDC(dc);
    ::DeleteObject(bitmap);
  }

  COLORREF At(int x, int y) const { return pixels_.at(static_cast<size_t>(y * width + x)); }
  std::map<COLORREF, int> Colors() const {
    std::map<COLORREF, int> colors;
    for (const COLORREF color : pixels_) ++colors[color];
    return colors;
  }
  // Around all that isn't background; right and bottom belong to it.
  RECT Ink(COLORREF background) const {
    RECT ink = {width, height, -1, -1};
    for (LONG y = 0; y < height; ++y) {
      for (LONG x = 0; x < width; ++x) {
        if (At(x, y) == background) continue;
        ink = {std::min(ink.left, x), std::min(ink.top, y), std::max(ink.right, x),
               std::max(ink.bottom, y)};
      }
    }
    return ink;
  }

  int width = 0;
  int height = 0;

 private:
  std::vector<COLORREF> pixels_;
};

struct SignatureWindow : ::testing::Test {
  void Create(const SignaturePicture& picture = {}) {
    frmSignature surface;
    cFileIO file({}, AnsiCodePage::Windows1252());
    signature.CreateBMP(Path(), picture, surface, file);
  }
  Picture Draw(const SignaturePicture& picture = {}) {
    Create(picture);
    return Picture(Path());
  }
  std::u16string Path() const { return folder.File(u"me.bmp"); }

  TempFolder folder;
  AppforgeSignature signature;
};

SignaturePicture Sized(float width, float height) {
  SignaturePicture picture;
  picture.ImageWidth = width;
  picture.ImageHeight = height;
  return picture;
}

TEST_F(SignatureWindow, DrawsStrokesAndDots) {
  SKIP_WITHOUT_DRAWING();
  const struct {
    const char* name;
    const char16_t* text;
    std::vector<POINT> ink;
  } cases[] = {
      {"nothing", u"", {}},
      {"one point", u"\x03\x02\uFFFF", {{3, 2}}},
      {"two points one upon the other", u"\x03\x02\x03\x02\uFFFF", {{3, 2}}},
      {"a line to the right", u"\x01\x01\x04\x01\uFFFF", {{1, 1}, {2, 1}, {3, 1}, {4, 1}}},
      {"a line up whose pen is still down", u"\x02\x03\x02\x01", {{2, 3}, {2, 2}, {2, 1}}},
      {"an angle", u"\x01\x01\x01\x02\x02\x03\uFFFF", {{1, 1}, {1, 2}, {2, 3}}},
      {"two strokes",
       u"\x01\x01\x02\x01\uFFFF\x05\x01\x05\x02\uFFFF",
       {{1, 1}, {2, 1}, {5, 1}, {5, 2}}},
      {"the corners", u"\x01\x01\uFFFF\x07\x05\uFFFF\x07\x01\uFFFF", {{1, 1}, {7, 5}, {7, 1}}},
      {"beyond the edges",
       u"\uFFFE\x02\x01\x02\uFFFF\x06\x04\x7FFF\x04\uFFFF\x08\x01\uFFFF",
       {{0, 2}, {1, 2}, {6, 4}, {7, 4}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    signature.SetSignature(c.text);
    const Picture drawn = Draw(Sized(8, 6));
    ASSERT_EQ(drawn.width, 8);
    ASSERT_EQ(drawn.height, 6);
    for (const POINT& point : c.ink) EXPECT_EQ(drawn.At(point.x, point.y), kBlack);
    EXPECT_EQ(drawn.Colors()[kWhite], 48 - static_cast<int>(c.ink.size()));
  }
}

TEST_F(SignatureWindow, PrintsTheStampOverTheSignature) {
  SKIP_WITHOUT_DRAWING();
  signature.SetStamp(u"2003-05-01");
  const Picture plain = Draw();
  EXPECT_EQ(plain.width, SignaturePicture::kDesignedWidth);
  EXPECT_EQ(plain.height, SignaturePicture::kDesignedHeight);
  EXPECT_EQ(plain.At(319, 159), kWhite);
  EXPECT_GT(plain.Colors()[kBlack], 20);
  const RECT small = plain.Ink(kWhite);
  EXPECT_LT(small.left, 8);
  EXPECT_LT(small.top, 8);

  SignaturePicture picture;
  picture.StampFontSize = 30;
  picture.StampFontName = u"No Such Font";
  picture.StampColor = static_cast<int32_t>(kRed);
  picture.BackColor = static_cast<int32_t>(kYellow);
  picture.SignatureColor = static_cast<int32_t>(kBlue);
  signature.SetSignature(std::u16string{1, 20, 300, 20, 0xFFFF});
  const Picture large = Draw(picture);
  EXPECT_EQ(large.At(319, 159), kYellow);
  EXPECT_EQ(large.At(300, 20), kBlue);
  EXPECT_GT(large.Colors()[kRed], 100);
  bool over = false;
  for (int x = 1; x <= 300; ++x) over = over || large.At(x, 20) == kRed;
  EXPECT_TRUE(over);
  EXPECT_GT(large.Ink(kYellow).bottom, 2 * small.bottom);

  signature.SetSignature({});
  signature.SetStamp(u"one\r\ntwo & three");
  EXPECT_GT(Draw().Ink(kWhite).bottom, small.bottom + 8);
  signature.SetStamp(std::u16string(10000, u'W'));
  EXPECT_EQ(Draw().Ink(kWhite).right, 319);
}

TEST_F(SignatureWindow, TakesSystemColors) {
  SKIP_WITHOUT_DRAWING();
  for (const int index : {COLOR_WINDOW, COLOR_HIGHLIGHT, COLOR_BTNFACE}) {
    SignaturePicture picture = Sized(2, 2);
    picture.BackColor = static_cast<int32_t>(0x80000000U | static_cast<uint32_t>(index));
    EXPECT_EQ(Draw(picture).At(1, 1), ::GetSysColor(index));
  }
}

TEST_F(SignatureWindow, RefusesColorsAndFontsThatCantBe) {
  SKIP_WITHOUT_DRAWING();
  folder.Write(u"me.bmp", "an older file");
  signature.SetStamp(u"stamp");
  const auto error_of = [&](auto change) {
    SignaturePicture picture;
    change(picture);
    return ErrorOf([&] { Create(picture); });
  };
  for (const uint32_t color : {0x01000000U, 0x02FFFFFFU, 0x7FFFFFFFU, 0x80001000U, 0x800000FFU,
                               0x81000000U, 0xFFFFFFFFU}) {
    const auto value = static_cast<int32_t>(color);
    EXPECT_EQ(error_of([&](SignaturePicture& p) { p.BackColor = value; }), 5) << color;
    EXPECT_EQ(error_of([&](SignaturePicture& p) { p.SignatureColor = value; }), 5) << color;
    EXPECT_EQ(error_of([&](SignaturePicture& p) { p.StampColor = value; }), 5) << color;
  }
  EXPECT_EQ(error_of([&](SignaturePicture& p) { p.StampFontName.assign(32, u'x'); }), 5);
  EXPECT_EQ(folder.Read(u"me.bmp"), "an older file");
  EXPECT_EQ(folder.List(), u"me.bmp ");
}

TEST_F(SignatureWindow, PutsTheFileInPlaceOrLeavesWhatIsThere) {
  SKIP_WITHOUT_DRAWING();
  folder.Write(u"me.bmp", "an older file");
  {
    const Holder other(Path());
    EXPECT_EQ(ErrorOf([&] { Create(); }), 75);
  }
  EXPECT_EQ(folder.Read(u"me.bmp"), "an older file");
  Create();
  EXPECT_EQ(folder.Read(u"me.bmp").size(), 54U + 320 * 3 * 160);
  EXPECT_EQ(folder.List(), u"me.bmp ");

  frmSignature surface;
  for (const std::u16string& path : {folder.File(u"no such folder\\me.bmp"), folder.path(),
                                     std::u16string(u"Q:\\me.bmp"), folder.File(u"m?.bmp")}) {
    cFileIO file({}, AnsiCodePage::Windows1252());
    EXPECT_EQ(ErrorOf([&] { signature.CreateBMP(path, {}, surface, file); }), 75);
  }
  EXPECT_EQ(folder.List(), u"me.bmp ");
}

TEST_F(SignatureWindow, ReturnsWhatItTakesFromTheSystem) {
  SKIP_WITHOUT_DRAWING();
  {
    // More pictures than the system has handles for pens, fonts or bitmaps; when it refuses one
    // that is an error.
    frmSignature surface;
    const SignatureLine line = {{0, 0}, {1, 1}};
    for (int i = 0; i < 66000; ++i) {
      surface.Clear(2, 2, 0);
      surface.DrawLines({&line, 1}, 0);
      surface.Print(u".", u"Arial", 10, 0);
    }
    EXPECT_TRUE(::FindWindowW(L"Pylon.frmSignature", nullptr));
  }
  EXPECT_FALSE(::FindWindowW(L"Pylon.frmSignature", nullptr));
}

}  // namespace
}  // namespace pylon

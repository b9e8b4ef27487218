#include "toolkit/ConduitIcon.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/toolkit/Desktop.h"

namespace pylon {
namespace {

constexpr COLORREF kPaper = RGB(1, 2, 3);
constexpr COLORREF kRed = RGB(255, 0, 0);
constexpr COLORREF kGreen = RGB(0, 255, 0);

// The pixels of a 32-pixel icon drawn on kPaper.
struct Drawing {
  explicit Drawing(HICON icon) {
    const HDC screen = ::GetDC(nullptr);
    const HDC dc = ::CreateCompatibleDC(screen);
    const HBITMAP bitmap = ::CreateCompatibleBitmap(screen, 32, 32);
    const HGDIOBJ old = ::SelectObject(dc, bitmap);
    const HBRUSH paper = ::CreateSolidBrush(kPaper);
    const RECT all = {0, 0, 32, 32};
    ::FillRect(dc, &all, paper);
    EXPECT_TRUE(::DrawIconEx(dc, 0, 0, icon, 32, 32, 0, nullptr, DI_NORMAL));
    for (int y = 0; y < 32; ++y) {
      for (int x = 0; x < 32; ++x) pixels.push_back(::GetPixel(dc, x, y));
    }
    ::DeleteObject(paper);
    ::SelectObject(dc, old);
    ::DeleteObject(bitmap);
    ::DeleteDC(dc);
    ::ReleaseDC(nullptr, screen);
  }
  COLORREF At(size_t x, size_t y) const { return pixels[y * 32 + x]; }
  std::vector<COLORREF> pixels;
};

struct ConduitIcons : testing::Test {
  void SetUp() override { std::filesystem::create_directories(folder); }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::u16string File(const char* name, const std::vector<uint8_t>& bytes) const {
    const std::filesystem::path path = folder / name;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return FromWide(path.wstring());
  }

  const std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                       (L"pylon icons " + std::to_wstring(::GetCurrentProcessId()));
};

// width x height pixels of one colour, 24 bits each.
std::vector<uint8_t> BmpOf(uint8_t width, uint8_t height, COLORREF color) {
  std::vector<uint8_t> bytes = {
      'B', 'M', 0, 0, 0,     0, 0, 0, 0,      0, 54, 0, 0, 0,  // file header
      40,  0,   0, 0, width, 0, 0, 0, height, 0, 0,  0, 1, 0, 24, 0};
  bytes.resize(54);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      bytes.insert(bytes.end(), {GetBValue(color), GetGValue(color), GetRValue(color)});
    }
    bytes.resize((bytes.size() - 54 + 3) / 4 * 4 + 54);
  }
  return bytes;
}

// 32 x 32 opaque pixels of one colour.
std::vector<uint8_t> IcoOf(COLORREF color) {
  std::vector<uint8_t> bytes = {0,  0,  1, 0, 1,  0,  // one icon
                                32, 32, 0, 0, 1,  0, 32, 0, 0xA8, 0x10, 0, 0, 22, 0, 0,  0,
                                40, 0,  0, 0, 32, 0, 0,  0, 64,   0,    0, 0, 1,  0, 32, 0};
  bytes.resize(22 + 40);
  for (int i = 0; i < 32 * 32; ++i) {
    bytes.insert(bytes.end(), {GetBValue(color), GetGValue(color), GetRValue(color), 255});
  }
  bytes.resize(bytes.size() + 32 * 4);  // mask: all opaque
  return bytes;
}

TEST_F(ConduitIcons, PictureFilesAreFittedIntoTheSquare) {
  SKIP_WITHOUT_DRAWING();
  const Drawing square(ConduitIcon(File("square.bmp", BmpOf(20, 20, kRed)), 32).get());
  EXPECT_EQ(square.At(0, 0), kRed);
  EXPECT_EQ(square.At(31, 31), kRed);
  const Drawing wide(ConduitIcon(File("wide.bmp", BmpOf(40, 20, kRed)), 32).get());
  EXPECT_EQ(wide.At(16, 16), kRed);
  EXPECT_EQ(wide.At(0, 16), kRed);
  EXPECT_EQ(wide.At(16, 0), kPaper);
  EXPECT_EQ(wide.At(16, 31), kPaper);
  const Drawing icon(ConduitIcon(File("green.ico", IcoOf(kGreen)), 32).get());
  EXPECT_EQ(icon.At(16, 16), kGreen);
}

TEST_F(ConduitIcons, EmbeddedIconsComeFromTheNamedFile) {
  SKIP_WITHOUT_DRAWING();
  const std::u16string file = File("red.ico", IcoOf(kRed));
  for (const char16_t* prefix : {u"RES:", u"res:", u"Res:"}) {
    EXPECT_EQ(Drawing(ConduitIcon(prefix + file, 32).get()).At(16, 16), kRed);
  }
}

TEST_F(ConduitIcons, WhatGivesNoIconGivesTheProgramsOwn) {
  SKIP_WITHOUT_DRAWING();
  const std::vector<COLORREF> own = Drawing(ProgramIcon(32).get()).pixels;
  EXPECT_NE(own, std::vector<COLORREF>(32 * 32, kPaper));
  std::vector<uint8_t> cut = IcoOf(kRed);
  cut.resize(100);
  const std::u16string texts[] = {
      u"",
      u"RES:",
      u"RES:C:\\no such folder\\program.exe",
      u"C:\\no such folder\\picture.bmp",
      FromWide(folder.wstring()),
      File("empty.ico", {}),
      File("cut.ico", cut),
      File("text.bmp", {'h', 'e', 'l', 'l', 'o'}),
      u"RES:" + File("text.exe", {'M', 'Z', 'l', 'o'}),
  };
  for (const std::u16string& text : texts) {
    const Icon icon = ConduitIcon(text, 32);
    ASSERT_TRUE(icon);
    EXPECT_EQ(Drawing(icon.get()).pixels, own) << &text - texts;
  }
}

}  // namespace
}  // namespace pylon

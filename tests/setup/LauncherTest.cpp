#include <gtest/gtest.h>

#include <chrono>

#include "base/Text.h"
#include "files/ProgramFiles.h"
#include "setup/cIconExtract.h"
#include "setup/modShellandWait.h"
#include "tests/files/TempFolder.h"
#include "tests/setup/CommandReport.h"
#include "tests/toolkit/Desktop.h"

namespace pylon {
namespace {

TEST(ShellandWait, AProgramsEndAndExitCodeAreSeenAndWhyOneDoesNotStart) {
  for (const DWORD code : {DWORD{0}, DWORD{7}, DWORD{STILL_ACTIVE}}) {
    const WaitResult result = ShellandWait(u"cmd.exe /c exit " + ToText(code), 60, u"open");
    EXPECT_EQ(result.end, WaitEnd::kEnded);
    EXPECT_EQ(result.code, code) << "259 stands for a program that still runs, but is one too";
  }
  for (const char16_t* missing : {u"C:\\no such.exe", u"C:\\no such document.txt"}) {
    const WaitResult result = ShellandWait(missing, 0, u"open");
    EXPECT_EQ(result.end, WaitEnd::kNotStarted);
    EXPECT_NE(result.code, 0U);
  }
}

TEST(ShellandWait, ATimeOutOrTheCallerEndsTheWaitAndNotTheProgram) {
  const std::u16string program = u"cmd.exe /c ping -n 5 127.0.0.1";
  const auto start = std::chrono::steady_clock::now();
  const WaitResult result = ShellandWait(program, 1, u"open");
  if (result.end == WaitEnd::kEnded) GTEST_SKIP() << "ping ends at once here";
  EXPECT_EQ(result.end, WaitEnd::kTimedOut);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));

  int yields = 0;
  EXPECT_EQ(ShellandWait(program, 0, u"open", [&] { return ++yields < 3; }).end, WaitEnd::kStopped);
  EXPECT_EQ(yields, 3);

  ::PostQuitMessage(5);
  EXPECT_EQ(ShellandWait(program, 0, u"open").end, WaitEnd::kStopped);
  MSG message = {};
  EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) << "still to come";
}

TEST(ShellandWait, ADocumentGoesToTheShellWithTheVerb) {
  // A document of a kind that this very program opens.
  const testing::TempFolder folder;
  const std::wstring key = L"Software\\Classes\\Pylon.TestDocument\\shell\\peek\\command";
  const std::u16string command = u"\"" + ProgramPath() + u"\" peeked \"%1\"";
  const auto set = [](const std::wstring& path, const std::u16string& text) {
    ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), nullptr, REG_SZ, text.c_str(),
                                static_cast<DWORD>((text.size() + 1) * 2)),
              ERROR_SUCCESS);
  };
  set(key, command);
  set(L"Software\\Classes\\.pylontest", u"Pylon.TestDocument");
  folder.Write(u"my paper.pylontest", "text");
  const testing::CommandReport report(folder.File(u"report.txt"));
  const WaitResult result = ShellandWait(folder.File(u"my paper.pylontest"), 30, u"peek");
  EXPECT_NE(result.end, WaitEnd::kNotStarted) << result.code;
  if (result.end != WaitEnd::kNotStarted) {
    EXPECT_NE(report.Wait().find("peeked"), std::string::npos) << report.Wait();
  }
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\Classes\\Pylon.TestDocument");
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\Classes\\.pylontest");
}

// What is drawn on white, counted in other pixels; the square that they lie in.
struct Sheet {
  Sheet() {
    const HDC screen = ::GetDC(nullptr);
    dc = ::CreateCompatibleDC(screen);
    bitmap = ::CreateCompatibleBitmap(screen, 64, 64);
    old = ::SelectObject(dc, bitmap);
    ::PatBlt(dc, 0, 0, 64, 64, WHITENESS);
    ::ReleaseDC(nullptr, screen);
  }
  ~Sheet() {
    ::SelectObject(dc, old);
    ::DeleteObject(bitmap);
    ::DeleteDC(dc);
  }
  int Furthest() const {
    int furthest = 0;
    for (int y = 0; y < 64; ++y) {
      for (int x = 0; x < 64; ++x) {
        if (::GetPixel(dc, x, y) != RGB(255, 255, 255)) furthest = std::max({furthest, x, y});
      }
    }
    return furthest;
  }
  HDC dc;
  HBITMAP bitmap;
  HGDIOBJ old;
};

TEST(IconExtract, DrawsTheFirstIconInBothSizes) {
  SKIP_WITHOUT_DRAWING();
  cIconExtract icon;
  icon.SetExeName(ProgramFolder() + u"\\..\\..\\Pylon.exe");
  ASSERT_TRUE(icon.HasIcon());
  const Sheet small, large, twice;
  EXPECT_TRUE(icon.GetIconSmall(small.dc));
  EXPECT_TRUE(icon.GetIconLarge(large.dc));
  EXPECT_TRUE(icon.GetIconLarge(twice.dc, 0, 0, 64));
  EXPECT_GT(small.Furthest(), 8);
  EXPECT_LT(small.Furthest(), ::GetSystemMetrics(SM_CXSMICON));
  EXPECT_GT(large.Furthest(), small.Furthest());
  EXPECT_GT(twice.Furthest(), 32);
}

TEST(IconExtract, WithoutAnIconNothingIsDrawn) {
  SKIP_WITHOUT_DRAWING();
  const testing::TempFolder folder;
  folder.Write(u"no program.exe", "MZ");
  for (const std::u16string& name :
       {std::u16string(), std::u16string(u"C:\\no such.exe"), std::u16string(u"Z:\\x\\"),
        std::u16string(u"C:\\windows"), folder.File(u"no program.exe")}) {
    cIconExtract icon;
    icon.SetExeName(name);
    const Sheet sheet;
    EXPECT_FALSE(icon.HasIcon()) << ToUtf8(name);
    EXPECT_FALSE(icon.GetIconSmall(sheet.dc));
    EXPECT_FALSE(icon.GetIconLarge(sheet.dc));
    EXPECT_EQ(sheet.Furthest(), 0);
  }
}

}  // namespace
}  // namespace pylon

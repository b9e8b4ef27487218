#include "setup/frmAbout.h"

#include <gtest/gtest.h>

#include "base/Text.h"
#include "files/ProgramFiles.h"
#include "tests/files/TempFolder.h"
#include "tests/setup/CommandReport.h"
#include "tests/setup/SetupDesk.h"

namespace pylon {
namespace {

using namespace testing;

constexpr wchar_t kToolKey[] = L"SOFTWARE\\Microsoft\\Shared Tools\\MSINFO";
constexpr wchar_t kLocationKey[] = L"SOFTWARE\\Microsoft\\Shared Tools Location";

std::u16string PylonExe() { return ProgramFolder() + u"\\..\\..\\Pylon.exe"; }

void Set(HKEY root, const wchar_t* key, const wchar_t* name, DWORD type, const void* data,
         size_t size) {
  ASSERT_EQ(::RegSetKeyValueW(root, key, name, type, data, static_cast<DWORD>(size)),
            ERROR_SUCCESS);
}
void SetText(HKEY root, const wchar_t* key, const wchar_t* name, const std::u16string& text,
             DWORD type = REG_SZ) {
  Set(root, key, name, type, text.c_str(), (text.size() + 1) * 2);
}

struct AboutWindow : ::testing::Test {
  static void SetUpTestSuite() { UseRealPixels(); }
  void TearDown() override {
    ::RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Pylon\\Test");
    for (const wchar_t* key : {kToolKey, kLocationKey}) {
      if (written_) ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, key);
    }
  }
  // On a PC that has the tool its registration stays as it is.
  bool HasTool() const { return !frmAbout::SysInfoPath().empty(); }
  void SetTool(const wchar_t* key, const wchar_t* name, const std::u16string& text) {
    written_ = true;
    SetText(HKEY_LOCAL_MACHINE, key, name, text);
  }
  bool written_ = false;
};

TEST_F(AboutWindow, TellsWhatTheProgramSaysOfItselfAndKeepsTheUserFromItsOwner) {
  const HWND owner = ::CreateWindowExW(0, L"STATIC", L"owner", WS_OVERLAPPEDWINDOW, 0, 0, 200, 100,
                                       nullptr, nullptr, nullptr, nullptr);
  frmAbout about(PylonExe());
  about.Show(owner);
  EXPECT_FALSE(::IsWindowEnabled(owner));
  const HWND window = about.handle();
  EXPECT_EQ(TextOf(window), u"About Pylon Manager");
  EXPECT_EQ(TextIn(window, frmAbout::kVersion), u"Version 1.0 Build 0");
  EXPECT_EQ(TextIn(window, frmAbout::kTitle),
            u"Pylon Manager - HotSync/ActiveSync Conduit Manager");
  EXPECT_EQ(TextIn(window, frmAbout::kDescription),
            u"Pylon Manger is used provide a common interface between HotSync and ActiveSync.");
  const std::u16string legal = TextIn(window, frmAbout::kLegal);
  EXPECT_TRUE(legal.starts_with(u"Copyright")) << ToUtf8(legal);
  EXPECT_NE(legal.find(u"\r\n"), legal.npos);
  if (testing_windows::SystemDraws()) ExpectTidyAtEveryDpi(window);
  Click(window, frmAbout::kOk);
  EXPECT_EQ(about.handle(), nullptr);
  EXPECT_TRUE(::IsWindowEnabled(owner));
  ::DestroyWindow(owner);
}

TEST_F(AboutWindow, AValueOfTheRegistryReadsAsText) {
  constexpr wchar_t kKey[] = L"Software\\Pylon\\Test";
  SetText(HKEY_CURRENT_USER, kKey, L"text", u"C:\\a b");
  SetText(HKEY_CURRENT_USER, kKey, L"nul", std::u16string(u"cut\0here", 8));
  SetText(HKEY_CURRENT_USER, kKey, L"expand", u"%SystemRoot%", REG_EXPAND_SZ);
  Set(HKEY_CURRENT_USER, kKey, L"open", REG_SZ, u"ab", 4);
  for (const DWORD number : {DWORD{0}, DWORD{0x1A2B}, DWORD{0xFFFFFFFF}}) {
    Set(HKEY_CURRENT_USER, kKey, Wide(u"n" + ToText(number)), REG_DWORD, &number, 4);
  }
  Set(HKEY_CURRENT_USER, kKey, L"bytes", REG_BINARY, "\1\2\3\4", 4);
  const struct {
    const char16_t *name, *text;
  } cases[] = {{u"text", u"C:\\a b"}, {u"nul", u"cut"},      {u"open", u"ab"},
               {u"n0", u"&h0"},       {u"n6699", u"&h1A2B"}, {u"n4294967295", u"&hFFFFFFFF"},
               {u"bytes", u""},       {u"missing", u""}};
  for (const auto& c : cases) {
    EXPECT_EQ(frmAbout::GetKeyValue(HKEY_CURRENT_USER, u"Software\\Pylon\\Test", c.name), c.text)
        << ToUtf8(c.name);
  }
  EXPECT_EQ(
      frmAbout::GetKeyValue(HKEY_CURRENT_USER, u"Software\\Pylon\\Test", u"expand").find(u'%'),
      std::u16string::npos);
  EXPECT_EQ(frmAbout::GetKeyValue(HKEY_CURRENT_USER, u"Software\\Pylon\\No such", u"x"), u"");
}

TEST_F(AboutWindow, SystemInformationIsFoundInBothPlaces) {
  if (HasTool()) GTEST_SKIP() << "this PC has the tool, whose registration the test would change";
  frmAbout about(PylonExe());
  about.Show(nullptr);
  {
    const BoxAnswer answer;
    Click(about.handle(), frmAbout::kSysInfo);
    EXPECT_TRUE(answer.Has(u"System Information Is Unavailable At This Time"));
  }
  const TempFolder folder;
  SetTool(kLocationKey, L"MSINFO", folder.path());
  EXPECT_EQ(frmAbout::SysInfoPath(), u"") << "only when the file is there";
  ASSERT_TRUE(::CopyFileW(Wide(ProgramPath()), Wide(folder.File(u"MSINFO32.EXE")), TRUE));
  EXPECT_EQ(frmAbout::SysInfoPath(), folder.path() + u"\\MSINFO32.EXE");
  SetTool(kToolKey, L"PATH", ProgramPath());
  const CommandReport report(folder.File(u"report.txt"));
  Click(about.handle(), frmAbout::kSysInfo);
  EXPECT_EQ(report.Wait(), ToUtf8(u"\"" + ProgramPath() + u"\""));
}

}  // namespace
}  // namespace pylon

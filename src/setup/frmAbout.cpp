#include "setup/frmAbout.h"

#include <algorithm>
#include <cstdio>

#include "base/Registry.h"
#include "base/Text.h"
#include "files/WindowsFile.h"
#include "setup/StartProcess.h"
#include "setup/Strings.h"
#include "setup/Texts.h"

namespace pylon {
namespace {

constexpr char16_t kToolKey[] = u"SOFTWARE\\Microsoft\\Shared Tools\\MSINFO";
constexpr char16_t kToolValue[] = u"PATH";
constexpr char16_t kLocationKey[] = u"SOFTWARE\\Microsoft\\Shared Tools Location";
constexpr char16_t kLocationValue[] = u"MSINFO";
constexpr char16_t kToolFile[] = u"\\MSINFO32.EXE";

// Units.
constexpr SIZE kSize = {420, 196};
constexpr int kMargin = 16;
constexpr int kGap = 8;
constexpr int kIconSize = 32;

}  // namespace

frmAbout::frmAbout(std::u16string program_path) : record_(VersionRecord::Of(program_path)) {
  icon_.SetExeName(program_path);
  if (record_.title.empty()) record_.title = LoadText(IDS_PROGRAM);
}

void frmAbout::Show(HWND owner) {
  Open({L"Pylon.frmAbout", kSize, {}, 0, kOk}, LoadText(IDS_ABOUT_CAPTION, record_.title), owner);
  ShowOnTop();
}

void frmAbout::AddControls() {
  AddControl(L"STATIC", L"", SS_OWNERDRAW, kIcon);
  for (const int id : {kTitle, kVersion, kDescription, kLegal}) {
    Add(L"STATIC", 0, SS_LEFT | SS_NOPREFIX, id);
  }
  AddButton(kOk, IDS_OK, true);
  AddButton(kSysInfo, IDS_ABOUT_SYSINFO);
  SetText(kTitle, record_.title + u" - " + record_.description);
  SetText(kVersion,
          LoadText(IDS_ABOUT_VERSION, ToText(record_.major) + u"." + ToText(record_.minor)) +
              LoadText(IDS_ABOUT_BUILD, ToText(record_.revision)));
  SetText(kDescription, LoadText(IDS_ABOUT_DESCRIPTION));
  SetText(kLegal, record_.legal_notice + u"\r\n" + record_.trademarks);
}

Layout frmAbout::Arrangement() const {
  using L = Layout;
  const int margin = Scaled(kMargin);
  const int gap = Scaled(kGap);
  const int icon = Scaled(kIconSize);
  const int button = ButtonWidth({kOk, kSysInfo});
  const L texts = L::Column(gap, {Label(kTitle), L::Space(gap / 2), Label(kVersion),
                                  L::Control(kDescription, L::kRest, 2 * Line()),
                                  L::Control(kLegal, L::kRest, L::kRest)});
  return L::Column(
             gap,
             {L::Row(margin, {L::Column(0, {L::Control(kIcon, icon, icon)}), texts}),
              L::Row(gap, {L::Space(L::kRest), Button(kSysInfo, button), Button(kOk, button)})})
      .Within(margin);
}

void frmAbout::OnCommand(int id, int) {
  if (id == kSysInfo) StartSysInfo();
  if (id == kOk || id == IDOK) Close();
}

LRESULT frmAbout::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_DRAWITEM) {
    icon_.GetIconLarge(reinterpret_cast<const DRAWITEMSTRUCT*>(lparam)->hDC, 0, 0,
                       Scaled(kIconSize));
    return TRUE;
  }
  return SetupForm::OnMessage(message, wparam, lparam);
}

void frmAbout::StartSysInfo() {
  const std::u16string path = SysInfoPath();
  if (path.empty() || !StartProcess(path, u"\"" + path + u"\"").process) {
    Ask(LoadText(IDS_NO_SYSINFO), MB_OK);
  }
}

std::u16string frmAbout::SysInfoPath() {
  const std::u16string path = GetKeyValue(HKEY_LOCAL_MACHINE, kToolKey, kToolValue);
  if (!path.empty()) return path;
  const std::u16string folder = GetKeyValue(HKEY_LOCAL_MACHINE, kLocationKey, kLocationValue);
  const std::u16string file = folder + kToolFile;
  return !folder.empty() && win::IsFile(file) ? file : std::u16string();
}

std::u16string frmAbout::GetKeyValue(HKEY root, const std::u16string& key_name,
                                     const std::u16string& value_name) {
  DWORD number = 0;
  DWORD size = sizeof(number);
  if (::RegGetValueW(root, Wide(key_name), Wide(value_name), RRF_RT_REG_DWORD, nullptr, &number,
                     &size) == ERROR_SUCCESS) {
    char digits[16];
    std::snprintf(digits, sizeof(digits), "&h%lX", number);
    return FromAscii(digits);
  }
  return ReadRegistryText(root, key_name, Wide(value_name));
}

}  // namespace pylon

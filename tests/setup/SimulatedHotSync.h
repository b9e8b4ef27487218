#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "base/Text.h"
#include "base/Win32.h"
#include "tests/files/TempFolder.h"

namespace pylon::testing {

// HotSync as the registry of this user shows it, with the simulated libraries of the build tree in
// a folder of its own: absent until Install says otherwise, and absent again at the end. On a PC
// with a real HotSync nothing is touched: see SKIP_WITH_HOTSYNC.
class SimulatedHotSync {
 public:
  static constexpr wchar_t kDesktop[] = L"Software\\U.S. Robotics\\Pilot Desktop";

  SimulatedHotSync() : real_(Exists(kDesktop) && !Exists(Marker())) {
    Remove();
    for (const char16_t* name : {u"condmgr.dll", u"hsapi.dll", u"instaide.dll"}) Give(name, name);
  }
  ~SimulatedHotSync() { Remove(); }
  SimulatedHotSync(const SimulatedHotSync&) = delete;
  SimulatedHotSync& operator=(const SimulatedHotSync&) = delete;

  bool real() const noexcept { return real_; }
  const TempFolder& folder() const noexcept { return folder_; }

  void Install(HKEY root = HKEY_CURRENT_USER) { Install(root, L"Path", folder_.path()); }
  void Install(HKEY root, const wchar_t* value, const std::u16string& path) {
    Mark();
    SetText(root, L"\\Core", value, path);
  }
  // Copies a library of the build tree under any name.
  void Give(const std::u16string& library, const std::u16string& name) {
    const std::u16string built = u"simulators\\palm\\manager\\" + library;
    EXPECT_TRUE(::CopyFileW(Wide(built), Wide(folder_.File(name)), FALSE)) << ToUtf8(built);
  }
  void Take(const std::u16string& name) { ::DeleteFileW(Wide(folder_.File(name))); }
  void AddUser(const wchar_t* name) {
    Mark();
    RegistryKey key;
    EXPECT_EQ(
        ::RegCreateKeyW(HKEY_CURRENT_USER, (std::wstring(kDesktop) + L"\\Users\\" + name).c_str(),
                        key.Receive()),
        ERROR_SUCCESS);
  }
  // What somebody else's installer has left.
  void AddConduit(DWORD creator, const std::u16string& title, const std::u16string& library) {
    Mark();
    EXPECT_EQ(::RegSetKeyValueW(HKEY_CURRENT_USER, Component(7).c_str(), L"Creator", REG_DWORD,
                                &creator, sizeof(creator)),
              ERROR_SUCCESS);
    SetText(HKEY_CURRENT_USER, L"\\Component7", L"Conduit", library);
    if (!title.empty()) SetText(HKEY_CURRENT_USER, L"\\Component7", L"Title", title);
  }
  void SetText(HKEY root, const wchar_t* key, const wchar_t* name, const std::u16string& text) {
    EXPECT_EQ(
        ::RegSetKeyValueW(root, (std::wstring(kDesktop) + key).c_str(), name, REG_SZ, text.c_str(),
                          static_cast<DWORD>((text.size() + 1) * sizeof(char16_t))),
        ERROR_SUCCESS);
  }
  // "CmSetCreatorTitle=-1006" and so on; empty for none.
  void Fail(const std::string& faults) {
    folder_.Write(u"manager.ini", "[Faults]\r\n" + faults + "\r\n");
    ::DeleteFileW(Wide(folder_.File(u"manager.log")));
  }
  int Calls(const std::string& function) const {
    const std::string log = folder_.Read(u"manager.log");
    int calls = 0;
    for (size_t at = 0; (at = log.find(function, at)) != log.npos; ++at) ++calls;
    return calls;
  }
  // Each conduit in a line, its values separated by '|': of what is missing, nothing.
  std::string Conduits() const {
    std::string all;
    for (int i = 0; i < 10; ++i) {
      if (!Exists(Component(i))) continue;
      std::string line;
      for (const wchar_t* name :
           {L"Creator", L"Conduit", L"COMClient", L"Title", L"Directory", L"File", L"Priority"}) {
        line += (line.empty() ? "" : "|") + Value(Component(i), name);
      }
      all += line + "\n";
    }
    return all;
  }

 private:
  static std::wstring Marker() { return std::wstring(kDesktop) + L"\\PylonTest"; }
  static std::wstring Component(int number) {
    return std::wstring(kDesktop) + L"\\Component" + std::to_wstring(number);
  }
  static bool Exists(const std::wstring& path) {
    RegistryKey key;
    return ::RegOpenKeyW(HKEY_CURRENT_USER, path.c_str(), key.Receive()) == ERROR_SUCCESS;
  }
  static std::string Value(const std::wstring& path, const wchar_t* name) {
    BYTE data[512] = {};
    DWORD size = sizeof(data) - 2;
    DWORD type = 0;
    ::RegGetValueW(HKEY_CURRENT_USER, path.c_str(), name, RRF_RT_ANY, &type, data, &size);
    if (type == REG_SZ) return ToUtf8(FromWide(reinterpret_cast<const wchar_t*>(data)));
    if (type != REG_DWORD) return "";
    DWORD number = 0;
    std::memcpy(&number, data, sizeof(number));
    char text[16];
    std::snprintf(text, sizeof(text), "%lx", number);
    return text;
  }
  // What a test that ended early left behind is ours.
  void Mark() {
    RegistryKey key;
    ::RegCreateKeyW(HKEY_CURRENT_USER, Marker().c_str(), key.Receive());
  }
  void Remove() {
    if (real_) return;
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kDesktop);
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kDesktop);
  }

  TempFolder folder_;
  const bool real_;
};
#define SKIP_WITH_HOTSYNC(hot_sync) \
  if ((hot_sync).real()) GTEST_SKIP() << "this PC has HotSync, which the test would change"

}  // namespace pylon::testing

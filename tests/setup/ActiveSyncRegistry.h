#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/Win32.h"

namespace pylon::testing {

// ActiveSync as the registry of this machine shows it: absent until Install says otherwise, and
// absent again at the end. Works by plain Windows calls. On a PC with a real ActiveSync nothing is
// touched: see SKIP_WITH_ACTIVESYNC.
class ActiveSyncRegistry {
 public:
  static constexpr wchar_t kManager[] =
      L"Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\CEAPPMGR.EXE";
  static constexpr wchar_t kServices[] = L"Software\\Microsoft\\Windows CE Services";
  static constexpr wchar_t kAutoStart[] =
      L"Software\\Microsoft\\Windows CE Services\\AutoStartOnConnect";

  ActiveSyncRegistry() : real_(Text(kManager, L"") != kMissing && !Is(kMarker)) { Remove(); }
  ~ActiveSyncRegistry() { Remove(); }
  ActiveSyncRegistry(const ActiveSyncRegistry&) = delete;
  ActiveSyncRegistry& operator=(const ActiveSyncRegistry&) = delete;

  bool real() const noexcept { return real_; }
  void Install(const std::u16string& manager) {
    Set(kManager, kMarker, REG_SZ, u"");  // what a test that ended early left behind is ours
    Set(kManager, L"", REG_SZ, manager);
  }
  // Keys that last can't be made below one that goes with the session, whoever asks.
  void RefuseConduits() {
    RegistryKey key;
    EXPECT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kServices, 0, nullptr, REG_OPTION_VOLATILE,
                                KEY_ALL_ACCESS, nullptr, key.Receive(), nullptr),
              ERROR_SUCCESS);
  }
  static void Set(const wchar_t* key, const wchar_t* name, DWORD type, const std::u16string& text) {
    EXPECT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, type, text.c_str(),
                                static_cast<DWORD>((text.size() + 1) * sizeof(char16_t))),
              ERROR_SUCCESS);
  }
  // The text of a value; kMissing when there is none.
  static std::u16string Text(const wchar_t* key, const std::wstring& name) {
    wchar_t text[1024] = L"";
    DWORD size = sizeof(text);
    const LSTATUS status =
        ::RegGetValueW(HKEY_LOCAL_MACHINE, key, name.c_str(), RRF_RT_REG_SZ, nullptr, text, &size);
    return status == ERROR_SUCCESS ? FromWide(text) : kMissing;
  }
  static std::u16string Conduit(const std::wstring& app_id) {
    return Text(kAutoStart, L"Pylon." + app_id);
  }
  static constexpr char16_t kMissing[] = u"(no such value)";

 private:
  static constexpr wchar_t kMarker[] = L"PylonTest";

  static bool Is(const wchar_t* name) { return Text(kManager, name) != kMissing; }
  void Remove() {
    if (real_) return;
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kManager);
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kServices);
  }

  const bool real_;
};
#define SKIP_WITH_ACTIVESYNC(registry) \
  if ((registry).real()) GTEST_SKIP() << "this PC has ActiveSync, which the test would change"

}  // namespace pylon::testing

#include "tests/probe/ProbeRegistration.h"

#include <array>
#include <filesystem>
#include <string>
#include <system_error>

#include "base/Win32.h"
#include "tests/probe/ProbeConduit.h"

#include <objbase.h>

namespace pylon::testing {
namespace {

void SetKey(const std::wstring& path, const std::wstring& value) {
  RegistryKey key;
  const std::wstring full = L"Software\\Classes\\" + path;
  LSTATUS status = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, full.c_str(), 0, nullptr, 0, KEY_WRITE,
                                     nullptr, key.Receive(), nullptr);
  if (status == ERROR_SUCCESS) {
    status = ::RegSetValueExW(key.get(), nullptr, 0, REG_SZ,
                              reinterpret_cast<const BYTE*>(value.c_str()),
                              static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  }
  if (status != ERROR_SUCCESS) throw std::system_error(status, std::system_category());
}

void RegisterClass(const wchar_t* prog_id, const GUID& id) {
  std::array<wchar_t, 64> text = {};
  ::StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  const std::wstring class_id = text.data();
  SetKey(std::wstring(prog_id) + L"\\CLSID", class_id);
  SetKey(L"CLSID\\" + class_id + L"\\InprocServer32",
         std::filesystem::absolute("probe.dll").wstring());
}

}  // namespace

void RegisterProbe() {
  RegisterClass(L"PylonProbe.Conduit", kProbeConduit);
  RegisterClass(L"PylonProbe.Stranger", kProbeStranger);
}

}  // namespace pylon::testing

#include "tests/probe/ProbeRegistration.h"

#include <array>
#include <filesystem>
#include <string>
#include <system_error>

#include "base/Registry.h"
#include "base/Win32.h"
#include "tests/probe/ProbeConduit.h"

#include <objbase.h>

namespace pylon::testing {
namespace {

void SetKey(const std::u16string& path, const std::u16string& value) {
  const LSTATUS status =
      WriteRegistryText(HKEY_LOCAL_MACHINE, u"Software\\Classes\\" + path, nullptr, value);
  if (status != ERROR_SUCCESS) throw std::system_error(status, std::system_category());
}

void RegisterClass(const std::u16string& prog_id, const GUID& id) {
  std::array<wchar_t, 64> text = {};
  ::StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  const std::u16string class_id = FromWide(text.data());
  SetKey(prog_id + u"\\CLSID", class_id);
  SetKey(u"CLSID\\" + class_id + u"\\InprocServer32",
         std::filesystem::absolute("probe.dll").u16string());
}

}  // namespace

void RegisterProbe() {
  RegisterClass(u"PylonProbe.Conduit", kProbeConduit);
  RegisterClass(u"PylonProbe.Stranger", kProbeStranger);
}

}  // namespace pylon::testing

#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DevicePath.h"
#include "Handles.h"

namespace pocketpc {

struct RegistryValue {
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
};

// Values by key path ("HKLM\Ident") and name; the default value's name is empty.
using RegistryValues =
    std::map<std::wstring, std::map<std::wstring, RegistryValue, LessIgnoringCase>,
             LessIgnoringCase>;

// A value as registry files write it: a text, "dword:", "hex:" or "hex(type):". Nothing when digits
// are wrong.
std::optional<RegistryValue> ParseRegistryValue(std::wstring_view text);

// The root's key path, or null when it is none that the device has.
const wchar_t* RootName(HKEY root) noexcept;

// Reads the device's registry. Failures are thrown as DeviceError.
class DeviceRegistry {
 public:
  explicit DeviceRegistry(RegistryValues values) : values_(std::move(values)) {}

  // A key exists when it, or a key below it, is among the values.
  HKEY Open(HKEY key, const wchar_t* sub_key);
  const RegistryValue& Value(HKEY key, const wchar_t* name);
  void Close(HKEY key);
  void CloseAll() noexcept { open_.Clear(); }

 private:
  std::wstring PathOf(HKEY key);

  RegistryValues values_;
  HandleTable<std::wstring> open_;  // key paths
};

}  // namespace pocketpc

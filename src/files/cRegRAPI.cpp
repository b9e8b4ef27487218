#include "files/cRegRAPI.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/Text.h"

namespace pylon {
namespace {

// A larger one is no name, whatever it is.
constexpr DWORD kLargestName = 4096;  // bytes

class DeviceKey {
 public:
  DeviceKey(const RapiLibrary& api, const wchar_t* name) : api_(api) {
    if (api_.CeRegOpenKeyEx(HKEY_LOCAL_MACHINE, name, 0, 0, &key_) != ERROR_SUCCESS) key_ = nullptr;
  }
  ~DeviceKey() {
    if (key_) api_.CeRegCloseKey(key_);
  }
  DeviceKey(const DeviceKey&) = delete;
  DeviceKey& operator=(const DeviceKey&) = delete;

  explicit operator bool() const noexcept { return key_ != nullptr; }
  bool Query(const wchar_t* name, DWORD& type, void* data, DWORD& size) const {
    return api_.CeRegQueryValueEx(key_, name, nullptr, &type, static_cast<BYTE*>(data), &size) ==
           ERROR_SUCCESS;
  }

 private:
  const RapiLibrary& api_;
  HKEY key_ = nullptr;
};

// The last character is the text's end, or stands where that should be.
std::u16string UpToEnd(std::wstring text) {
  if (!text.empty()) text.pop_back();
  return FromWide(text.substr(0, text.find(L'\0')));
}

std::optional<std::u16string> ReadName(const RapiLibrary& api) {
  constexpr wchar_t kName[] = L"Name";
  const DeviceKey key(api, L"Ident");
  DWORD type = REG_NONE;
  DWORD size = 0;
  if (!key || !key.Query(kName, type, nullptr, size)) return std::nullopt;
  if (type == REG_SZ && size <= kLargestName) {
    std::wstring text((size + 1) / sizeof(wchar_t), L'\0');
    if (!key.Query(kName, type, text.data(), size) || type != REG_SZ) return std::nullopt;
    text.resize(std::min<size_t>(text.size(), (size + 1) / sizeof(wchar_t)));
    return UpToEnd(std::move(text));
  }
  if (type == REG_DWORD) {
    DWORD number = 0;
    size = sizeof number;
    if (!key.Query(kName, type, &number, size) || type != REG_DWORD) return std::nullopt;
    return ToText(static_cast<int32_t>(number));
  }
  return std::nullopt;
}

}  // namespace

cRegRAPI::cRegRAPI(std::shared_ptr<RapiConnection> connection)
    : connection_(std::move(connection)) {}

std::u16string cRegRAPI::DeviceName() const {
  constexpr char16_t kUnknown[] = u"Unknown";
  if (!connection_->IsConnected()) return kUnknown;
  return ReadName(connection_->api()).value_or(kUnknown);
}

}  // namespace pylon

#include "files/cRegRAPI.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/ScopeExit.h"
#include "base/Text.h"

namespace pylon {
namespace {

// A larger value is not a name.
constexpr DWORD kLargestName = 4096;  // bytes

// The last character is the text's NUL, or where the NUL should be.
std::u16string UpToEnd(std::wstring text) {
  if (!text.empty()) text.pop_back();
  return FromWide(text.substr(0, text.find(L'\0')));
}

std::optional<std::u16string> ReadName(const RapiLibrary& api) {
  constexpr wchar_t kName[] = L"Name";
  HKEY key = nullptr;
  if (api.CeRegOpenKeyEx(HKEY_LOCAL_MACHINE, L"Ident", 0, 0, &key) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  const ScopeExit close([&] { api.CeRegCloseKey(key); });
  DWORD type = REG_NONE;
  DWORD size = 0;
  const auto query = [&](void* data) {
    return api.CeRegQueryValueEx(key, kName, nullptr, &type, static_cast<BYTE*>(data), &size) ==
           ERROR_SUCCESS;
  };
  if (!query(nullptr)) return std::nullopt;
  if (type == REG_SZ && size <= kLargestName) {
    std::wstring text((size + 1) / sizeof(wchar_t), L'\0');
    if (!query(text.data()) || type != REG_SZ) return std::nullopt;
    text.resize(std::min<size_t>(text.size(), (size + 1) / sizeof(wchar_t)));
    return UpToEnd(std::move(text));
  }
  if (type == REG_DWORD) {
    DWORD number = 0;
    size = sizeof number;
    if (!query(&number) || type != REG_DWORD) return std::nullopt;
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

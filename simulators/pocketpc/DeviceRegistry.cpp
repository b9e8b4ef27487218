#include "DeviceRegistry.h"

#include <algorithm>
#include <cstring>

namespace pocketpc {
namespace {

bool StartsWithIgnoringCase(std::wstring_view text, std::wstring_view start) {
  return text.size() >= start.size() && EqualIgnoringCase(text.substr(0, start.size()), start);
}

// One to max_digits hexadecimal digits.
std::optional<DWORD> ParseHex(std::wstring_view text, size_t max_digits) {
  if (text.empty() || text.size() > max_digits) return std::nullopt;
  DWORD number = 0;
  for (const wchar_t c : text) {
    const std::wstring_view digits = L"0123456789abcdef";
    const size_t digit = digits.find(c >= L'A' && c <= L'F' ? static_cast<wchar_t>(c | 0x20) : c);
    if (digit == digits.npos) return std::nullopt;
    number = number * 16 + static_cast<DWORD>(digit);
  }
  return number;
}

template <class T>
std::vector<BYTE> BytesOf(const T* data, size_t count) {
  std::vector<BYTE> bytes(count * sizeof(T));
  std::memcpy(bytes.data(), data, bytes.size());
  return bytes;
}

// "01,02,ff", or nothing at all for no bytes.
std::optional<std::vector<BYTE>> ParseBytes(std::wstring_view text) {
  std::vector<BYTE> bytes;
  while (!text.empty()) {
    const std::wstring_view one = text.substr(0, text.find(L','));
    const std::optional<DWORD> byte = ParseHex(one, 2);
    if (!byte) return std::nullopt;
    bytes.push_back(static_cast<BYTE>(*byte));
    text.remove_prefix(std::min(text.size(), one.size() + 1));
  }
  return bytes;
}

}  // namespace

std::optional<RegistryValue> ParseRegistryValue(std::wstring_view text) {
  if (StartsWithIgnoringCase(text, L"dword:")) {
    const std::optional<DWORD> number = ParseHex(text.substr(6), 8);
    if (!number) return std::nullopt;
    return RegistryValue{REG_DWORD, BytesOf(&*number, 1)};
  }
  if (StartsWithIgnoringCase(text, L"hex:") || StartsWithIgnoringCase(text, L"hex(")) {
    const size_t colon = text.find(L':');
    if (colon == text.npos) return std::nullopt;
    std::optional<DWORD> type = REG_BINARY;
    if (text[3] == L'(') {
      if (text[colon - 1] != L')') return std::nullopt;
      type = ParseHex(text.substr(4, colon - 5), 8);
    }
    std::optional<std::vector<BYTE>> bytes = ParseBytes(text.substr(colon + 1));
    if (!type || !bytes) return std::nullopt;
    return RegistryValue{*type, std::move(*bytes)};
  }
  if (text.size() > 1 && text.starts_with(L'"') && text.ends_with(L'"')) {
    text = text.substr(1, text.size() - 2);
  }
  const std::wstring ended(text);
  return RegistryValue{REG_SZ, BytesOf(ended.c_str(), ended.size() + 1)};
}

const wchar_t* RootName(HKEY root) noexcept {
  // Only the low half counts: 64-bit programs pass the constants with and without the sign.
  switch (static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(root))) {
    case 0x80000000:
      return L"HKCR";
    case 0x80000001:
      return L"HKCU";
    case 0x80000002:
      return L"HKLM";
    default:
      return nullptr;
  }
}

std::wstring DeviceRegistry::PathOf(HKEY key) {
  const wchar_t* const root = RootName(key);
  return root ? root : open_[key];
}

HKEY DeviceRegistry::Open(HKEY key, const wchar_t* sub_key) {
  std::wstring path = PathOf(key);
  if (sub_key && *sub_key) path.append(L"\\").append(sub_key);
  const bool is_root = path.find(L'\\') == path.npos;
  const bool exists = is_root || std::ranges::any_of(values_, [&](const auto& entry) {
                        const std::wstring_view other = entry.first;
                        return StartsWithIgnoringCase(other, path) &&
                               (other.size() == path.size() || other[path.size()] == L'\\');
                      });
  Check(exists, ERROR_FILE_NOT_FOUND);
  return static_cast<HKEY>(open_.Add(std::move(path)));
}

const RegistryValue& DeviceRegistry::Value(HKEY key, const wchar_t* name) {
  const auto values = values_.find(PathOf(key));
  Check(values != values_.end(), ERROR_FILE_NOT_FOUND);
  const auto value = values->second.find(std::wstring_view(name ? name : L""));
  Check(value != values->second.end(), ERROR_FILE_NOT_FOUND);
  return value->second;
}

void DeviceRegistry::Close(HKEY key) {
  // The roots are always open.
  if (!RootName(key)) open_.Remove(key);
}

}  // namespace pocketpc

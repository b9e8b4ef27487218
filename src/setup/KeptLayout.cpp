#include "setup/KeptLayout.h"

#include <cwchar>
#include <string>

#include "base/Registry.h"
#include "base/Text.h"

namespace pylon {
namespace {

constexpr char16_t kKey[] = u"Software\\Pylon\\Setup";
constexpr wchar_t kValue[] = L"Layout";
constexpr int kMost = 4000;

}  // namespace

std::optional<KeptLayout> KeptLayout::Load(size_t columns) {
  const std::u16string text = ReadRegistryText(HKEY_CURRENT_USER, kKey, kValue);
  KeptLayout layout;
  layout.columns.resize(columns);
  const wchar_t* rest = Wide(text);
  const auto read = [&rest](int& number) {
    wchar_t* end = nullptr;
    number = static_cast<int>(std::wcstol(rest, &end, 10));
    const bool good = end != rest && number >= 0 && number <= kMost;
    rest = end;
    return good;
  };
  if (!read(layout.width) || !read(layout.height)) return std::nullopt;
  for (int& column : layout.columns) {
    if (!read(column)) return std::nullopt;
  }
  return layout;
}

void KeptLayout::Save() const {
  std::u16string text = ToText(width) + u" " + ToText(height);
  for (const int column : columns) text += u" " + ToText(column);
  (void)WriteRegistryText(HKEY_CURRENT_USER, kKey, kValue, text);
}

}  // namespace pylon

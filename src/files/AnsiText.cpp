#include "files/AnsiText.h"

#include <algorithm>
#include <climits>

#include "base/Win32.h"

namespace pylon::win {

std::optional<std::string> ToAnsi(std::u16string_view text) {
  if (text.empty()) return std::string();
  if (text.size() > INT_MAX) return std::nullopt;
  // UTF-8 as the code page lacks nothing, and has a check of its own for invalid text.
  const bool utf8 = ::GetACP() == CP_UTF8;
  const DWORD flags = utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
  const auto* const wide = reinterpret_cast<const wchar_t*>(text.data());
  const int length = static_cast<int>(text.size());
  BOOL replaced = FALSE;
  const int size = ::WideCharToMultiByte(CP_ACP, flags, wide, length, nullptr, 0, nullptr,
                                         utf8 ? nullptr : &replaced);
  if (size <= 0 || replaced) return std::nullopt;
  std::string ansi(static_cast<size_t>(size), '\0');
  ::WideCharToMultiByte(CP_ACP, flags, wide, length, ansi.data(), size, nullptr, nullptr);
  return ansi;
}

std::u16string FromAnsi(std::string_view ansi) {
  if (ansi.empty()) return {};
  const int size = static_cast<int>(ansi.size());
  const int length = ::MultiByteToWideChar(CP_ACP, 0, ansi.data(), size, nullptr, 0);
  std::wstring wide(static_cast<size_t>(std::max(length, 0)), L'\0');
  ::MultiByteToWideChar(CP_ACP, 0, ansi.data(), size, wide.data(), length);
  return FromWide(wide);
}

}  // namespace pylon::win

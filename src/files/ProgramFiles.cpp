#include "files/ProgramFiles.h"

#include <array>

#include "base/Win32.h"

namespace pylon {

std::u16string ProgramPath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD size = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (size < path.size()) return FromWide({path.data(), size});
    path.resize(path.size() * 2);  // cut, or exactly full
  }
}

std::u16string ProgramFolder() {
  const std::u16string path = ProgramPath();
  return path.substr(0, path.rfind(u'\\'));
}

std::u16string LoggedOnUser() {
  std::array<wchar_t, 257> name = {};
  auto size = static_cast<DWORD>(name.size());
  if (!::GetUserNameW(name.data(), &size)) return u"<unknown>";
  return FromWide(name.data());
}

AnsiCodePage SystemAnsiCodePage() {
  AnsiCodePage::Table table;
  for (size_t byte = 0; byte < table.size(); ++byte) {
    const char character = static_cast<char>(byte);
    wchar_t wide[2];
    const bool whole =
        ::MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, &character, 1, wide, 2) == 1;
    table[byte] = whole ? static_cast<char16_t>(wide[0]) : static_cast<char16_t>(byte);
  }
  return AnsiCodePage(table);
}

}  // namespace pylon

#include "CallLog.h"

#include <windows.h>

#include "DevicePath.h"
#include "Errors.h"

namespace pocketpc {

std::string Utf8(std::wstring_view text) {
  if (text.empty()) return {};
  const int size = static_cast<int>(text.size());
  std::string utf8(3 * text.size(), '\0');
  const int length = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, utf8.data(),
                                           static_cast<int>(utf8.size()), nullptr, nullptr);
  utf8.resize(static_cast<size_t>(length));
  return utf8;
}

void CallLog::Open(const std::wstring& path) {
  file_.reset(NullIfInvalid(::CreateFileW(VerbatimPath(path).c_str(), FILE_APPEND_DATA,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                          nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)));
  CheckWindows(IsOpen());
}

void CallLog::Write(std::wstring_view line) {
  const std::string text = Utf8(line) + "\n";
  DWORD written = 0;
  CheckWindows(
      ::WriteFile(file_.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
      written == text.size());
}

}  // namespace pocketpc

#include "Log.h"

#include <utility>

namespace simulator {

std::string Utf8(std::wstring_view text) {
  if (text.empty()) return {};
  const int size = static_cast<int>(text.size());
  std::string utf8(3 * text.size(), '\0');
  const int length = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, utf8.data(),
                                           static_cast<int>(utf8.size()), nullptr, nullptr);
  utf8.resize(static_cast<size_t>(length));
  return utf8;
}

DWORD Log::Open(const std::wstring& path) {
  Close();
  file_ = ::CreateFileW(path.c_str(), FILE_APPEND_DATA,
                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                        OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  return IsOpen() ? ERROR_SUCCESS : ::GetLastError();
}

DWORD Log::Write(std::wstring_view line) {
  // In one piece, so that two writers don't mix their lines.
  const std::string text = Utf8(line) + "\n";
  DWORD written = 0;
  if (!::WriteFile(file_, text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
    return ::GetLastError();
  }
  return written == text.size() ? ERROR_SUCCESS : ERROR_WRITE_FAULT;
}

void Log::Close() noexcept {
  if (IsOpen()) ::CloseHandle(std::exchange(file_, INVALID_HANDLE_VALUE));
}

}  // namespace simulator

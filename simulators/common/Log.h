#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace simulator {

// UTF-8; what is not valid UTF-16 becomes U+FFFD.
std::string Utf8(std::wstring_view text);

// A log in UTF-8, one line an entry. Several programs may append to one file.
class Log {
 public:
  Log() = default;
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;
  ~Log() { Close(); }

  // Both give a Windows error number, or ERROR_SUCCESS. The file is made when missing; a line is in
  // it when Write returns.
  DWORD Open(const std::wstring& path);
  DWORD Write(std::wstring_view line);
  bool IsOpen() const noexcept { return file_ != INVALID_HANDLE_VALUE; }
  void Close() noexcept;

 private:
  HANDLE file_ = INVALID_HANDLE_VALUE;
};

}  // namespace simulator

#pragma once

#include <string>
#include <string_view>

#include "Handles.h"

namespace pocketpc {

// The log of calls, UTF-8. Lines are in the file when Write returns.
class CallLog {
 public:
  // Appends to the file, which is made when missing. Throws DeviceError.
  void Open(const std::wstring& path);
  bool IsOpen() const noexcept { return file_ != nullptr; }
  // One line, without its end. Throws DeviceError.
  void Write(std::wstring_view line);
  void Close() noexcept { file_.reset(); }

 private:
  OwnedHandle file_;
};

// UTF-8; what is no valid UTF-16 becomes U+FFFD.
std::string Utf8(std::wstring_view text);

}  // namespace pocketpc

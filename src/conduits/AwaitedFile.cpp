#include "conduits/AwaitedFile.h"

#include <string>

#include "base/Win32.h"

namespace pylon {
namespace {

constexpr ULONGLONG kPatience = 500;  // milliseconds
constexpr DWORD kRetry = 10;          // milliseconds

bool IsHeld(cFileIO& file) {
  std::u16string message;
  int32_t error = 0;
  file.ReadErrorHandler(message, error);
  return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
}

}  // namespace

bool OpenAwaited(cFileIO& file, std::u16string_view read_write, WhenHeld when_held) {
  const ULONGLONG deadline = ::GetTickCount64() + kPatience;
  while (!file.OpenFile({}, read_write, {})) {
    if (when_held == WhenHeld::kFail || !IsHeld(file) || ::GetTickCount64() >= deadline) {
      return false;
    }
    ::Sleep(kRetry);
  }
  return true;
}

}  // namespace pylon

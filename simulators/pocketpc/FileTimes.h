#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <string>

#include "DevicePath.h"

namespace pocketpc {

// Times in 100 ns, which can be calculated with.
int64_t Ticks(const FILETIME& time) noexcept;
FILETIME FromTicks(int64_t ticks) noexcept;

// Times of creation that the PC's file system can't store, by device path, in a file of their own.
// Members throw DeviceError when it can't be read or written.
class FileTimes {
 public:
  explicit FileTimes(std::wstring file);

  std::optional<FILETIME> Of(const std::wstring& path) const;
  void Set(const std::wstring& path, const FILETIME& created);
  void Forget(const std::wstring& path);
  // With all that lies below the path.
  void Move(const std::wstring& from, const std::wstring& to);

 private:
  void Read();
  void Write() const;

  std::wstring file_;
  std::map<std::wstring, int64_t, LessIgnoringCase> created_;
};

}  // namespace pocketpc

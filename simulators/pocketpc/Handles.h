#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <utility>

#include "Errors.h"

namespace pocketpc {

template <auto Close>
struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const noexcept { Close(handle); }
};

// Handles of the PC; never INVALID_HANDLE_VALUE.
using OwnedHandle = std::unique_ptr<void, HandleCloser<&::CloseHandle>>;
using OwnedFind = std::unique_ptr<void, HandleCloser<&::FindClose>>;

inline HANDLE NullIfInvalid(HANDLE handle) noexcept {
  return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

// The next number of a device's handle. No valid handle of the PC has such a number, and none is
// given twice, so that a program that mixes up handles fails.
inline ULONG_PTR next_device_handle = 0x5CE00001;

// What the device's handles of one kind stand for.
template <class T>
class HandleTable {
 public:
  HANDLE Add(T object) {
    const ULONG_PTR number = next_device_handle;
    objects_.emplace(number, std::move(object));
    next_device_handle += 4;
    return reinterpret_cast<HANDLE>(number);
  }

  T& operator[](HANDLE handle) {
    const auto found = objects_.find(reinterpret_cast<ULONG_PTR>(handle));
    Check(found != objects_.end(), ERROR_INVALID_HANDLE);
    return found->second;
  }

  void Remove(HANDLE handle) {
    Check(objects_.erase(reinterpret_cast<ULONG_PTR>(handle)) == 1, ERROR_INVALID_HANDLE);
  }

  void Clear() noexcept { objects_.clear(); }

 private:
  std::map<ULONG_PTR, T> objects_;
};

}  // namespace pocketpc

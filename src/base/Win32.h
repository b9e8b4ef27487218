#pragma once

// The one way in which Windows code includes <windows.h>: without the macros that rename members
// of our own classes depending on who included what first.

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#undef CopyFile
#undef CreateFile
#undef DeleteFile
#undef FindText
#undef GetMessage
#undef MoveFile
#undef ReplaceFile
#undef Yield

#include <string>
#include <string_view>
#include <utility>

namespace pylon {

// wchar_t is UTF-16 on Windows: the same units under another name.
inline const wchar_t* Wide(const std::u16string& text) noexcept {
  return reinterpret_cast<const wchar_t*>(text.c_str());
}
inline std::u16string FromWide(std::wstring_view text) { return {text.begin(), text.end()}; }

// Owns one handle of the kind that Traits describes: `Type`, `Invalid()` and `Close(Type)`.
template <class Traits>
class UniqueHandle {
 public:
  using Type = typename Traits::Type;

  UniqueHandle() noexcept = default;
  explicit UniqueHandle(Type handle) noexcept : handle_(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept
      : handle_(std::exchange(other.handle_, Traits::Invalid())) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~UniqueHandle() { Reset(); }

  Type get() const noexcept { return handle_; }
  explicit operator bool() const noexcept { return handle_ != Traits::Invalid(); }
  Type Release() noexcept { return std::exchange(handle_, Traits::Invalid()); }
  void Reset(Type handle = Traits::Invalid()) noexcept {
    const Type old = std::exchange(handle_, handle);
    if (old != Traits::Invalid()) Traits::Close(old);
  }
  // For functions that fill a handle; what was held is closed first.
  Type* Receive() noexcept {
    Reset();
    return &handle_;
  }

 private:
  Type handle_ = Traits::Invalid();
};

struct FileHandleTraits {
  using Type = HANDLE;
  static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Type handle) noexcept { ::CloseHandle(handle); }
};
struct KernelHandleTraits {
  using Type = HANDLE;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type handle) noexcept { ::CloseHandle(handle); }
};
struct RegistryKeyTraits {
  using Type = HKEY;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type key) noexcept { ::RegCloseKey(key); }
};
template <class Object>
struct GdiObjectTraits {
  using Type = Object;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type object) noexcept { ::DeleteObject(object); }
};
struct MemoryDcTraits {
  using Type = HDC;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type dc) noexcept { ::DeleteDC(dc); }
};
struct IconTraits {
  using Type = HICON;
  static Type Invalid() noexcept { return nullptr; }
  static void Close(Type icon) noexcept { ::DestroyIcon(icon); }
};

using FileHandle = UniqueHandle<FileHandleTraits>;      // from CreateFile: invalid is -1
using KernelHandle = UniqueHandle<KernelHandleTraits>;  // process, thread, event, token: null
using RegistryKey = UniqueHandle<RegistryKeyTraits>;
using Bitmap = UniqueHandle<GdiObjectTraits<HBITMAP>>;
using Brush = UniqueHandle<GdiObjectTraits<HBRUSH>>;
using Font = UniqueHandle<GdiObjectTraits<HFONT>>;
using Pen = UniqueHandle<GdiObjectTraits<HPEN>>;
using MemoryDc = UniqueHandle<MemoryDcTraits>;
using Icon = UniqueHandle<IconTraits>;

}  // namespace pylon

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

// Owns one handle. A kind of handle is one line: its type, the function that closes it, and the
// number that stands for "none" when that isn't null. No handle is held outside of it.
template <class T, auto Close, INT_PTR None = 0>
class UniqueHandle {
 public:
  using Type = T;

  UniqueHandle() noexcept = default;
  explicit UniqueHandle(Type handle) noexcept : handle_(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.Release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~UniqueHandle() { Reset(); }

  Type get() const noexcept { return handle_; }
  explicit operator bool() const noexcept { return handle_ != Invalid(); }
  Type Release() noexcept { return std::exchange(handle_, Invalid()); }
  void Reset(Type handle = Invalid()) noexcept {
    const Type old = std::exchange(handle_, handle);
    if (old != Invalid()) Close(old);
  }
  // For functions that fill a handle; what was held is closed first.
  Type* Receive() noexcept {
    Reset();
    return &handle_;
  }

 private:
  static Type Invalid() noexcept { return reinterpret_cast<Type>(None); }

  Type handle_ = Invalid();
};

using FileHandle = UniqueHandle<HANDLE, &::CloseHandle, -1>;     // from CreateFile
using KernelHandle = UniqueHandle<HANDLE, &::CloseHandle>;       // process, thread, event, token
using FileSearch = UniqueHandle<HANDLE, &::FindClose, -1>;       // from FindFirstFile
using FileView = UniqueHandle<const void*, &::UnmapViewOfFile>;  // from MapViewOfFile
using RegistryKey = UniqueHandle<HKEY, &::RegCloseKey>;
using Dll = UniqueHandle<HMODULE, &::FreeLibrary>;
using GlobalMemory = UniqueHandle<HGLOBAL, &::GlobalFree>;
using LocalText = UniqueHandle<wchar_t*, &::LocalFree>;
using WindowHandle = UniqueHandle<HWND, &::DestroyWindow>;
using MemoryDc = UniqueHandle<HDC, &::DeleteDC>;
using Bitmap = UniqueHandle<HBITMAP, &::DeleteObject>;
using Brush = UniqueHandle<HBRUSH, &::DeleteObject>;
using Font = UniqueHandle<HFONT, &::DeleteObject>;
using Pen = UniqueHandle<HPEN, &::DeleteObject>;
using Icon = UniqueHandle<HICON, &::DestroyIcon>;
using Menu = UniqueHandle<HMENU, &::DestroyMenu>;

}  // namespace pylon

#pragma once

#include "base/Win32.h"

namespace pylon {

// The device context of a window, or of the screen, for a scope.
class WindowDc {
 public:
  explicit WindowDc(HWND window = nullptr) noexcept : window_(window), dc_(::GetDC(window)) {}
  ~WindowDc() { ::ReleaseDC(window_, dc_); }
  WindowDc(const WindowDc&) = delete;
  WindowDc& operator=(const WindowDc&) = delete;

  HDC get() const noexcept { return dc_; }

 private:
  HWND window_;
  HDC dc_;
};

// Keeps an object selected in a device context for a scope. A null object changes nothing.
class Selected {
 public:
  Selected(HDC dc, HGDIOBJ object) noexcept
      : dc_(dc), old_(object ? ::SelectObject(dc, object) : nullptr) {}
  ~Selected() {
    if (old_) ::SelectObject(dc_, old_);
  }
  Selected(const Selected&) = delete;
  Selected& operator=(const Selected&) = delete;

 private:
  HDC dc_;
  HGDIOBJ old_;
};

}  // namespace pylon

#pragma once

#include "base/Win32.h"

namespace pylon {

// Sizes that depend on the DPI of a screen. Windows before 10 has one DPI for all windows, which
// these functions then go by.

int DpiOf(HWND window) noexcept;

// The size of a window around a client area, in pixels. It has no menu.
SIZE OuterSizeOf(SIZE client, DWORD style, DWORD ex_style, int dpi) noexcept;

// The font of message boxes at a DPI. False when the system has none.
bool MessageFontAt(int dpi, LOGFONTW& font) noexcept;

}  // namespace pylon

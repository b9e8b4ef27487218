#pragma once

#include <string_view>

#include "base/Win32.h"

namespace pylon {

// The system's font for messages at a DPI, at `percent` of its size; null when the system has none,
// which leaves a control with its first font.
Font MessageFont(int dpi, int percent = 100, bool bold = false) noexcept;

// Measures of text in a font, in pixels. A null font is the system's own.
int LineHeight(HFONT font) noexcept;
int AverageCharacterWidth(HFONT font) noexcept;
int TextWidth(HFONT font, std::u16string_view text) noexcept;

}  // namespace pylon

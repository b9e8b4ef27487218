#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/Win32.h"

namespace pylon::testing_windows {

// The tests measure in real pixels, as the program's manifest makes it do.
inline void UseRealPixels() {
  ::SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
}

// Whether text has a height here. In 32-bit programs the 64-bit Wine has no fonts and draws
// nothing, and it refuses combo boxes; what depends on that is tested with the 64-bit program.
inline bool SystemDraws() {
  const HDC dc = ::GetDC(nullptr);
  TEXTMETRICW metrics = {};
  const bool draws = ::GetTextMetricsW(dc, &metrics) && metrics.tmHeight > 0;
  ::ReleaseDC(nullptr, dc);
  return draws;
}
#define SKIP_WITHOUT_DRAWING() \
  if (!testing_windows::SystemDraws()) GTEST_SKIP() << "the system draws nothing here"

inline std::u16string TextOf(HWND window) {
  std::wstring text(static_cast<size_t>(::GetWindowTextLengthW(window)), L'\0');
  ::GetWindowTextW(window, text.data(), static_cast<int>(text.size()) + 1);
  return FromWide(text);
}

// Where a control lies in its parent's client area.
inline RECT PlaceOf(HWND control) {
  RECT rect = {};
  ::GetWindowRect(control, &rect);
  ::MapWindowPoints(nullptr, ::GetParent(control), reinterpret_cast<POINT*>(&rect), 2);
  return rect;
}

// Tells a window that it moved to a screen of another DPI, as the system does.
inline void ChangeDpi(HWND window, int dpi) {
  RECT rect = {};
  ::GetWindowRect(window, &rect);
  ::SendMessageW(window, WM_DPICHANGED, static_cast<WPARAM>(MAKELONG(dpi, dpi)),
                 reinterpret_cast<LPARAM>(&rect));
}

inline bool IsGroup(HWND control) {
  wchar_t name[32] = L"";
  ::GetClassNameW(control, name, 32);
  return !::lstrcmpiW(name, L"BUTTON") &&
         (::GetWindowLongPtrW(control, GWL_STYLE) & BS_TYPEMASK) == BS_GROUPBOX;
}

// Every visible control has a size, lies inside the window and covers no other; a group box is
// around a control or apart from it.
inline void ExpectTidy(HWND window) {
  RECT client = {};
  ::GetClientRect(window, &client);
  for (HWND a = ::GetWindow(window, GW_CHILD); a; a = ::GetWindow(a, GW_HWNDNEXT)) {
    if (!(::GetWindowLongPtrW(a, GWL_STYLE) & WS_VISIBLE)) continue;
    SCOPED_TRACE("control " + std::to_string(::GetDlgCtrlID(a)));
    const RECT place = PlaceOf(a);
    RECT common = {};
    EXPECT_FALSE(::IsRectEmpty(&place));
    ::UnionRect(&common, &place, &client);
    EXPECT_TRUE(::EqualRect(&common, &client)) << "reaches beyond the window";
    for (HWND b = ::GetWindow(a, GW_HWNDNEXT); b; b = ::GetWindow(b, GW_HWNDNEXT)) {
      const RECT other = PlaceOf(b);
      if (!(::GetWindowLongPtrW(b, GWL_STYLE) & WS_VISIBLE)) continue;
      if (IsGroup(a) || IsGroup(b)) {
        const RECT& outer = IsGroup(a) ? place : other;
        ::UnionRect(&common, &place, &other);
        if (::EqualRect(&common, &outer)) continue;
      }
      EXPECT_FALSE(::IntersectRect(&common, &place, &other))
          << "covers control " << ::GetDlgCtrlID(b);
    }
  }
}

// Whether a control's text fits into its width, in its font.
inline bool TextFits(HWND control) {
  const std::u16string text = TextOf(control);
  const HDC dc = ::GetDC(control);
  const auto font = reinterpret_cast<HFONT>(::SendMessageW(control, WM_GETFONT, 0, 0));
  const HGDIOBJ old = ::SelectObject(dc, font);
  SIZE extent = {};
  ::GetTextExtentPoint32W(dc, Wide(text), static_cast<int>(text.size()), &extent);
  ::SelectObject(dc, old);
  ::ReleaseDC(control, dc);
  RECT client = {};
  ::GetClientRect(control, &client);
  return extent.cx <= client.right && extent.cy <= client.bottom;
}

}  // namespace pylon::testing_windows

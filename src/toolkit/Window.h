#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "base/Win32.h"

namespace pylon {

// The handle of a top-level window and the way its messages reach the object that draws it.
//
// A window is created hidden and belongs to its object: the most derived destructor calls Destroy.
// handle() is null before creation and from WM_NCDESTROY on. Measures are pixels of the window's
// own DPI; "units" are 1/96 inch. Created, used and destroyed on one thread.
class Window {
 public:
  Window() = default;
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  HWND handle() const noexcept { return handle_; }
  int dpi() const noexcept { return dpi_; }

 protected:
  struct Style {
    const wchar_t* class_name;
    DWORD style;
    DWORD ex_style;
    int background;  // COLOR_ constant
  };

  virtual ~Window();

  // Raises error 51 with the system's reason when the system refuses the window. OnMessage sees the
  // creation messages already. A window with an owner lies above it and goes with it.
  void Create(const Style& style, const wchar_t* title, HWND owner = nullptr);
  void Destroy() noexcept;

  // One message; what it leaves alone it hands to DefWindowProcW. An exception that leaves it goes
  // to the debugger and the message counts as handled (WM_CREATE: as failed), since none may cross
  // the system's frames.
  virtual LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) = 0;

  // Visible child controls, placed later. Raises error 51 like Create.
  HWND AddControl(const wchar_t* class_name, const wchar_t* text, DWORD style, int id,
                  DWORD ex_style = 0);

  // Title bar and task bar icons; the window keeps them while it shows them.
  void SetIcons(Icon large, Icon small) noexcept;
  HICON large_icon() const noexcept { return large_icon_.get(); }

  // Takes over a DPI and the place that the system suggests for it.
  void MoveToDpi(int dpi, const RECT& suggested) noexcept;
  int Scaled(int units) const noexcept { return ::MulDiv(units, dpi_, 96); }
  SIZE OuterSize(SIZE client) const noexcept;  // of this window around a client area
  void SetOuterSize(SIZE outer) noexcept;      // keeps the corner
  void CentreOnWorkArea() noexcept;

 private:
  static LRESULT CALLBACK Proc(HWND handle, UINT message, WPARAM wparam, LPARAM lparam) noexcept;

  HWND handle_ = nullptr;
  int dpi_ = 96;
  Icon large_icon_;
  Icon small_icon_;
};

// Takes the messages that wait for this thread's windows; those that `take` answers true for are
// done with. False when there was a WM_QUIT, which is put back for the outer loop.
bool PumpMessages(const std::function<bool(MSG&)>& take = {});

// The system's font for messages at a DPI, at `percent` of its size; null when the system has none,
// which leaves a control with the font that it was born with.
Font MessageFont(int dpi, int percent = 100, bool bold = false) noexcept;
// Of the characters of a font, null for the system's own.
int LineHeight(HFONT font) noexcept;
int AverageCharacterWidth(HFONT font) noexcept;

// For controls of one line, which would show a line break as boxes: a blank in place of each.
std::u16string OneLine(std::u16string_view text);

// The system's words for an error code, and the code.
std::u16string SystemReason(DWORD code);

}  // namespace pylon

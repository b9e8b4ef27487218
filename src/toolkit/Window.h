#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "base/SystemMessage.h"
#include "base/Win32.h"

namespace pylon {

// Owns a top-level window and hands its messages to the object.
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

  // Raises error 51 with the system's reason when the system refuses the window. OnMessage gets the
  // creation messages too. A window with an owner stays above it and is destroyed with it.
  void Create(const Style& style, const wchar_t* title, HWND owner = nullptr);
  void Destroy() noexcept;

  // Handles one message or passes it to DefWindowProcW. An exception is reported to the debugger
  // and the message counts as handled (WM_CREATE: as failed), since none may cross the system's
  // frames.
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

// Dispatches the messages that wait for this thread's windows, except those that `take` handles and
// returns true for. False when there was a WM_QUIT, which is put back for the outer loop.
bool PumpMessages(const std::function<bool(MSG&)>& take = {});

// A blank in place of each line break, which controls of one line would show as boxes.
std::u16string OneLine(std::u16string_view text);

}  // namespace pylon

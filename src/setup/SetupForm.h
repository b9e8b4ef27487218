#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "toolkit/Window.h"

// After Window.h, which defines how <windows.h> is read.
#include <commctrl.h>

namespace pylon {

// Shows the hourglass for a scope.
class WaitCursor {
 public:
  WaitCursor() noexcept : before_(::SetCursor(::LoadCursorW(nullptr, IDC_WAIT))) {}
  ~WaitCursor() { ::SetCursor(before_); }
  WaitCursor(const WaitCursor&) = delete;
  WaitCursor& operator=(const WaitCursor&) = delete;

 private:
  HCURSOR before_;
};

// A window of controls that works by keyboard like a dialog: the default button, Esc as IDCANCEL,
// Tab, accelerators, the focus back where it was; its font and sizes follow the DPI.
//
// Modeless: the caller runs the message loop and hands it every message first. With an owner it
// keeps the user from the owner as long as it is open.
class SetupForm : public Window {
 public:
  std::function<void()> on_close;  // after the user closed the window

  ~SetupForm() override;

  // The window's share of the message loop: true when the message is done with.
  virtual bool TranslateDialogMessage(MSG& message);

 protected:
  struct Shape {
    const wchar_t* class_name;
    SIZE size;                  // of the client area, units
    SIZE least;                 // the same; resizable only with one
    unsigned accelerators = 0;  // resource; their commands are control ids
    int default_button = IDOK;
  };

  // Hidden; raises error 51 when the system refuses the window. Does nothing when it is open.
  void Open(const Shape& shape, const std::u16string& title, HWND owner = nullptr);
  void SetClientSize(SIZE units);  // no larger than the screen has room for, when resizable
  void ShowOnTop();
  void Close();  // and tells on_close, which may destroy this object

  virtual void AddControls() = 0;
  virtual void Arrange() = 0;  // places the controls in the client area
  virtual void OnDpi() {}      // after creation, and whenever fonts and sizes have changed
  virtual void OnReady() {}    // all controls are placed, the window is not shown yet
  virtual void OnCommand(int id, int code) = 0;
  virtual LRESULT OnNotify(NMHDR&) { return 0; }
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;

  HWND Control(int id) const noexcept { return ::GetDlgItem(handle(), id); }
  HWND Add(const wchar_t* class_name, int text, DWORD style, int id, DWORD ex_style = 0);
  HWND AddLabel(int id, int text = 0);  // one line, cut with an ellipsis
  HWND AddButton(int id, int text, bool is_default = false);
  HWND AddGroup(int id, int text = 0);
  void Enable(int id, bool enable);  // the focus moves on from a control that is disabled
  // Now, or when the user comes back: a focus that is set would take them from another window.
  void Focus(HWND control);
  void SetText(int id, const std::u16string& text);  // nothing to repaint when it is the same
  std::u16string TextOf(int id) const;

  SIZE Client() const noexcept;
  int Line() const noexcept { return LineHeight(font_.get()); }
  int ButtonHeight() const noexcept;
  // What a button needs for its text, and at least the usual width; the widest of several.
  int ButtonWidth(std::initializer_list<int> ids) const;
  int TextWidth(std::u16string_view text) const;
  void Place(int id, int x, int y, int width, int height);
  HFONT font() const noexcept { return font_.get(); }

  // The title of the program above it; the button that was pressed.
  int Ask(const std::u16string& text, UINT style) const;
  void ShowError(const std::u16string& text) const { Ask(text, MB_OK | MB_ICONERROR); }

 private:
  void Command(int id, int code);
  void TakeFont();
  SIZE OnWorkArea(SIZE client) const noexcept;  // the outer size

  Shape shape_ = {};
  HWND owner_ = nullptr;
  HWND focus_ = nullptr;   // the control that had it when the window was left
  HACCEL keys_ = nullptr;  // the system frees those from resources
  Font font_;
};

}  // namespace pylon

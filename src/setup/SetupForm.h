#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "toolkit/Form.h"

// After Form.h, which defines how <windows.h> is read.
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

// A form that works by keyboard like a dialog: the default button, Esc as IDCANCEL, Tab,
// accelerators, the focus back where it was.
//
// Modeless: the caller runs the message loop and hands it every message first. With an owner it
// keeps the user from the owner as long as it is open.
class SetupForm : public Form {
 public:
  std::function<void()> on_close;  // after the user closed the window

  ~SetupForm() override;

  // The window's share of the message loop: true when it has handled the message.
  virtual bool TranslateDialogMessage(MSG& message);
  // Now, or when the user comes back: a focus that is set would take them from another window.
  void Focus(HWND control);

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
  void Close();  // calls on_close, which may destroy this object

  void OnReady() override;  // sizes the window; all controls are there
  virtual void OnCommand(int id, int code) = 0;
  virtual LRESULT OnNotify(NMHDR&) { return 0; }
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;

  HWND Add(const wchar_t* class_name, int text, DWORD style, int id, DWORD ex_style = 0);
  HWND AddLabel(int id, int text = 0);  // one line, cut with an ellipsis
  HWND AddButton(int id, int text, bool is_default = false);
  HWND AddGroup(int id, int text = 0);
  void Enable(int id, bool enable);  // the focus moves on from a control that is disabled
  int ButtonHeight() const noexcept;
  // The width that the widest of these texts needs, and at least the usual one.
  int ButtonWidth(std::initializer_list<int> ids) const;
  // Parts of an arrangement: as wide as their texts, or as wide as they may be.
  Layout Button(int id, int width) const { return Layout::Control(id, width, ButtonHeight()); }
  Layout Label(int id, int width = Layout::kRest) const {
    return Layout::Control(id, width, Line());
  }
  int FieldHeight() const noexcept { return Line() + Scaled(8); }  // an edit control or combo box

  // The title of the program above it; the button that was pressed.
  int Ask(const std::u16string& text, UINT style) const;
  void ShowError(const std::u16string& text) const { Ask(text, MB_OK | MB_ICONERROR); }

 private:
  void Command(int id, int code);
  SIZE OnWorkArea(SIZE client) const noexcept;  // the outer size

  Shape shape_ = {};
  HWND owner_ = nullptr;
  HWND focus_ = nullptr;   // the control that had it when the window was left
  HACCEL keys_ = nullptr;  // the system frees those from resources
};

}  // namespace pylon

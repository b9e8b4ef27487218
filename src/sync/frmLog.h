#pragma once

#include <string>

#include "sync/LogView.h"
#include "sync/LogWindowLines.h"
#include "toolkit/Window.h"

namespace pylon {

// The window that mirrors the log: a list of the newest lines, the latest one selected. It is made
// when it is first shown. The user may close it, which only hides it: the list goes on.
struct frmLog final : public LogView, public Window {
  enum ControlId { kList = 100 };

  frmLog() = default;
  ~frmLog() override;

  // True shows the window without taking the focus; false unloads it with its lines. Raises error
  // 51 when the system refuses the window.
  void ShowLog(bool show) override;
  // Repainted at once. A line break inside the line shows as a blank. Not loaded: does nothing.
  void AddLine(const std::u16string& line) override;

 private:
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;
  void OnCreate();
  void OnDpiChanged(int dpi, const RECT& suggested);

  HWND List() const noexcept { return ::GetDlgItem(handle(), kList); }
  void TakeFont();  // for the window's DPI; measures the lines again
  int Measure(const std::u16string& line) const;
  void TakeExtent() const;  // lets the list scroll as far as its widest line

  LogWindowLines lines_;  // as in the list box
  Font font_;
};

}  // namespace pylon

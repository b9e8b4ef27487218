#pragma once

#include <string>

#include "sync/LogView.h"
#include "sync/LogWindowLines.h"
#include "toolkit/Form.h"

namespace pylon {

// The window that mirrors the log: a list of the newest lines, the latest one selected. It is
// created when it is first shown. When the user closes it, it is only hidden and its list goes on.
struct frmLog final : public LogView, public Form {
  enum ControlId { kList = 100 };

  frmLog() = default;
  ~frmLog() override;

  // True shows the window without taking the focus; false unloads it with its lines. Raises error
  // 51 when the system refuses the window.
  void ShowLog(bool show) override;
  // Repainted at once. A line break inside the line shows as a blank. Not loaded: does nothing.
  void AddLine(const std::u16string& line) override;

 private:
  void AddControls() override;
  void OnDpi() override;  // measures the lines again
  void OnReady() override;
  Layout Arrangement() const override;
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;

  HWND List() const noexcept { return Control(kList); }
  int Measure(const std::u16string& line) const;
  void SetExtent() const;  // lets the list scroll as far as its widest line

  LogWindowLines lines_;  // as in the list box
};

}  // namespace pylon

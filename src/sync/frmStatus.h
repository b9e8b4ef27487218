#pragma once

#include <functional>
#include <string>

#include "sync/StatusLayout.h"
#include "sync/StatusView.h"
#include "toolkit/Window.h"

namespace pylon {

// The status window of a sync. Create loads it without showing it; ShowForm shows it. Members but
// Create change nothing while there is no window.
//
// The button, Esc and closing the window all mean Cancel and end in `on_cancel`, once until Cancel
// is enabled again; the window itself stays until its object goes. `on_cancel` runs inside
// ProcessEvents and must not destroy the window.
struct frmStatus final : public StatusView, public Window {
  // By which other processes of ours find the window.
  static constexpr wchar_t kClassName[] = L"Pylon.frmStatus";

  enum ControlId {
    kCancel = IDCANCEL,  // which Esc sends too
    kApplicationName = 100,
    kAuthor,
    kVersion,
    kMainLabel,
    kDetailLabel,
    kBar,
    kFileLabel,
    kFileBar,
  };

  std::function<void()> on_cancel;

  frmStatus() = default;
  ~frmStatus() override;

  void Create();  // raises error 51 when the system refuses the window

  void ShowForm() override;
  void SetHeading(const StatusHeading& heading) override;
  void SetMainLabel(std::u16string_view text) override;
  void SetDetailLabel(std::u16string_view text) override;
  void SetBar(const ProgressBar& bar) override;
  void EnableCancel(bool enable) override;
  // Takes whatever waits for this thread, other windows and COM calls included. A WM_QUIT counts as
  // Cancel and stays in the queue for the program's own loop.
  void ProcessEvents() override;
  void ShowFilePanel(bool show) override;
  void SetFileProgress(std::u16string_view label, const ProgressBar& bar) override;

 private:
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;
  void OnCreate();
  void OnPaint();
  void OnDpiChanged(int dpi, const RECT& suggested);
  void OnCancel();

  HWND Control(ControlId id) const noexcept { return ::GetDlgItem(handle(), id); }
  void SetLabel(ControlId id, std::u16string_view text);
  void ShowBar(ControlId id, const ProgressBar& bar);
  void TakeFonts();  // for the window's DPI
  void TakeIcons();  // of icon_text_, for the window's DPI
  void Arrange();    // places the controls and sizes the window around them
  void FitToLayout();
  void Place(ControlId id, const Box& box);

  std::u16string icon_text_;
  Font font_;
  Font title_font_;
  StatusLayout layout_{96, 15, 20, false};  // as the controls lie
  bool cancel_enabled_ = true;
  bool file_panel_ = false;
};

}  // namespace pylon

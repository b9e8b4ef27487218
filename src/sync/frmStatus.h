#pragma once

#include <functional>
#include <string>

#include "sync/StatusView.h"
#include "toolkit/Form.h"

namespace pylon {

// The status window of a sync. Create loads it without showing it; ShowForm shows it. The other
// members change nothing while there is no window.
//
// The button, Esc and closing the window all mean Cancel and end in `on_cancel`, once until Cancel
// is enabled again; the window itself stays until its object goes. `on_cancel` runs inside
// ProcessEvents and must not destroy the window.
struct frmStatus final : public StatusView, public Form {
  // Other processes of ours find the window by it.
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
  // Dispatches whatever waits for this thread, other windows and COM calls included. A WM_QUIT
  // counts as Cancel and stays in the queue for the program's own loop.
  void ProcessEvents() override;
  void ShowFilePanel(bool show) override;
  void SetFileProgress(std::u16string_view label, const ProgressBar& bar) override;

 private:
  // Painted by the window itself.
  enum DrawnId { kIcon = 200, kSeparator, kFooter };

  void AddControls() override;
  void OnDpi() override;
  void OnReady() override;
  Layout Arrangement() const override;
  void Arrange() override;  // also sizes the window around its controls
  void SetIcons() override;
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;
  void OnPaint();
  void OnCancel();

  void SetLabel(ControlId id, std::u16string_view text);
  void ShowBar(ControlId id, const ProgressBar& bar);
  void FitToLayout();

  std::u16string icon_text_;
  Font title_font_;
  Box icon_, separator_, footer_;
  SIZE client_ = {};  // that the controls need
  bool cancel_enabled_ = true;
  bool file_panel_ = false;
};

}  // namespace pylon

#pragma once

#include <string>
#include <vector>

#include "base/AnsiCodePage.h"
#include "setup/LogFiles.h"
#include "setup/LogText.h"
#include "setup/SetupForm.h"
#include "setup/Strings.h"

namespace pylon {

// Shows the logs of one conduit, a device's at a time, newest line last; lines that tell of errors
// stand out. Modeless. The code page outlives it.
class frmLogView final : public SetupForm {
 public:
  enum ControlId {
    kClose = IDCANCEL,
    kReload = IDC_RELOAD,
    kCopy = IDC_COPY,
    kSelectAll = IDC_SELECT_ALL,
    kFilter = IDC_FILTER,
    kDeviceLabel = 100,
    kDevice,
    kFilterLabel,
    kList,
    kInfo,
    kOpenFile,
  };

  frmLogView(std::u16string program_folder, const AnsiCodePage& code_page)
      : program_folder_(std::move(program_folder)), code_page_(code_page) {}
  ~frmLogView() override { Destroy(); }

  void Show(const std::u16string& app_id, const std::u16string& name);

 private:
  void AddControls() override;
  Layout Arrangement() const override;
  void Arrange() override;
  void OnDpi() override;
  void OnCommand(int id, int code) override;
  LRESULT OnNotify(NMHDR& header) override;
  LRESULT OnMessage(UINT message, WPARAM wparam, LPARAM lparam) override;

  void FindLogs();  // and reads the one of the chosen device
  void Read();
  void TakeFilter();
  void FitText();  // the text's column: as wide as the list, and as the longest line
  void ShowInfo();
  void Copy();
  void OpenFile();
  void FillText(LVITEMW& item) const;
  LRESULT Paint(NMLVCUSTOMDRAW& draw) const;

  std::u16string program_folder_;
  const AnsiCodePage& code_page_;
  std::u16string app_id_;
  std::vector<LogFile> logs_;
  LogText log_;
  std::vector<size_t> shown_;  // lines of log_
  std::u16string trouble_;     // why there is nothing to show
};

}  // namespace pylon

#pragma once

#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/Date.h"
#include "files/cFileIO.h"
#include "sync/LogView.h"
#include "sync/RunLog.h"

namespace pylon {

// The log of a sync: a text file for each application and device beside the program,
// "<AppId>\<DeviceName>\<AppId>.log", to which lines of time, tab and text are added. Missing
// folders are created, named by FolderName.
//
// The file stays open from the first line to Close(). One that another program holds is waited for
// half a second, once; lines written while it is held are lost, and the sync goes on. The file is
// in the code page, or UTF-16 when it is so already or its first line needs it.
//
// Borrows code page, clock and view (which may be null); the view until Close() only.
class CLog final : public RunLog {
 public:
  CLog(std::u16string program_folder, const AnsiCodePage& code_page, const Clock& clock,
       LogView* view);
  ~CLog() override { Close(); }

  const std::u16string& DeviceName() const noexcept { return device_name_; }
  void SetDeviceName(std::u16string_view name) { device_name_ = name; }
  const std::u16string& AppId() const noexcept { return app_id_; }
  // Names the file, from the device name too, which therefore is set first.
  void SetAppId(std::u16string_view app_id);
  void SetFile(std::u16string_view app_id, std::u16string_view device_name) override {
    SetDeviceName(device_name);
    SetAppId(app_id);
  }
  bool ShowLog() const noexcept { return show_log_; }
  // A view that can't be shown is named in the log, and ShowLog stays False.
  void SetShowLog(bool show) override;
  void Clear() noexcept;  // deletes the file
  void UpdateLog(std::u16string_view Value) noexcept override;

  // Closes the file and lets go of the view. A later line opens the file again.
  void Close() noexcept override;

 private:
  bool Open(std::u16string_view first_line);

  std::u16string program_folder_;
  const AnsiCodePage& code_page_;
  const Clock& clock_;
  LogView* view_;
  cFileIO file_;
  std::u16string device_name_;
  std::u16string app_id_;
  bool show_log_ = false;
  bool waited_ = false;  // for the file, without success
};

}  // namespace pylon

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "files/DeviceProgress.h"
#include "sync/ProgressBar.h"
#include "sync/StatusView.h"
#include "sync/oSyncInfo.h"

namespace pylon {

// Shows the copies of a run's device files in the status window's file panel, and hands on its
// Cancel. Shared by the files, which may outlive the run: after Detach() there is no window any
// more, and nothing is shown.
class FilePanel final : public DeviceProgress {
 public:
  FilePanel(StatusView& view, std::shared_ptr<const oSyncInfo> info) noexcept;

  void ShowFile(std::u16string_view name, int32_t size) noexcept override;
  void Advance(int32_t offset) noexcept override;
  void HideFile() noexcept override;
  bool IsStopped() const noexcept override { return info_->CancelSync(); }
  void Yield() noexcept override;

  void Detach() noexcept { view_ = nullptr; }

 private:
  StatusView* view_;  // null once detached
  std::shared_ptr<const oSyncInfo> info_;
  std::u16string name_;
  ProgressBar bar_;
};

}  // namespace pylon

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string_view>

#include "base/LogSink.h"
#include "base/MessageLoop.h"
#include "sync/ProgressBar.h"
#include "sync/StatusView.h"

namespace pylon {

class CConduitInfo;
class CDevice;
class PDBFileSystem;

// Everything that a conduit component gets for one sync: the databases, the device and the conduit
// it works with, whether the user pressed Cancel, and the status window and log to report to.
//
// Borrows window and log from the session of the sync, which calls Detach() before they go; a
// component that still holds this object then finds nothing in it and its calls do nothing. The
// status operations never fail towards the component; what goes wrong inside one leaves the window
// less up to date, no more.
//
// UpdateStatusDetail and the bar operations pump messages as their last step (see "Re-entry" in
// docs/developing.md); the caller holds a reference to the object across the call. A component that
// never calls them can't be cancelled. Used on the user-interface thread only.
class oSyncInfo final : public MessageLoop {
 public:
  oSyncInfo(StatusView& view, LogSink& log) noexcept : view_(&view), log_(&log) {}
  oSyncInfo(const oSyncInfo&) = delete;
  oSyncInfo& operator=(const oSyncInfo&) = delete;

  // By value, so that a caller keeps its object when Detach() runs during its work.
  std::shared_ptr<PDBFileSystem> FileSystem() const noexcept { return file_system_; }
  std::shared_ptr<CConduitInfo> ConduitInfo() const noexcept { return conduit_info_; }
  std::shared_ptr<CDevice> Device() const noexcept { return device_; }
  bool CancelSync() const noexcept { return cancel_sync_; }

  // Shows the window and starts a phase: clears the detail label, and a pending Cancel too, on
  // purpose, so a component reads CancelSync before it goes on to its next phase.
  void UpdateStatusMain(std::u16string_view Value) noexcept;
  void UpdateStatusDetail(std::u16string_view Value) noexcept;
  // Starts the bar from 0; 0 stands for an empty bar of maximum 1. See ProgressBar for what values
  // the bar takes; the others leave it as it is.
  void UpdateStatusMaxBar(int32_t Value) noexcept;
  void UpdateStatusIncrementBar(int32_t Value) noexcept;
  void UpdateStatusBarValue(int32_t Value) noexcept;
  void UpdateLog(std::u16string_view Value) noexcept;

  // Not for components.
  // Pumps now and then, however often it is called.
  void Yield() noexcept override;
  void SetFileSystem(std::shared_ptr<PDBFileSystem> file_system) noexcept;
  void SetConduitInfo(std::shared_ptr<CConduitInfo> conduit_info) noexcept;
  void SetDevice(std::shared_ptr<CDevice> device) noexcept;
  // Also disables the window's Cancel button, and enables it again for false: Cancel counts once.
  void SetCancelSync(bool cancel) noexcept;
  // Ends it: releases the three objects and forgets window and log. CancelSync stays readable.
  void Detach() noexcept;

 private:
  void ShowBar(bool process_events) noexcept;

  StatusView* view_;  // null once detached
  LogSink* log_;      // null once detached
  std::shared_ptr<PDBFileSystem> file_system_;
  std::shared_ptr<CConduitInfo> conduit_info_;
  std::shared_ptr<CDevice> device_;
  ProgressBar bar_;
  std::chrono::steady_clock::time_point yielded_;
  bool cancel_sync_ = false;
};

}  // namespace pylon

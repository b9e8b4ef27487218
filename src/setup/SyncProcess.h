#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "setup/LongWork.h"
#include "setup/SetupModel.h"

namespace pylon {

// A sync in another process, which shows its own status window there. The user's first Cancel is
// passed on to that window; the second ends the wait and leaves the sync to itself.
class SyncProcess {
 public:
  enum class Starts {
    kPylon,           // which syncs itself
    kHotSyncSession,  // in which COM starts the process that syncs
  };
  struct Result {
    SyncEnd end;
    DWORD error = 0;  // the system's, when there is no process
  };

  SyncProcess(Starts starts, std::u16string program, std::u16string arguments)
      : starts_(starts), program_(std::move(program)), arguments_(std::move(arguments)) {}

  // As part of the work. `on_cancel` is called as long as a cancelled sync goes on.
  Result Run(LongWork& work, const std::function<void()>& on_cancel);

 private:
  bool Yield(LongWork& work, const std::function<void()>& on_cancel);
  HWND StatusWindow() const;

  Starts starts_;
  std::u16string program_;
  std::u16string arguments_;
  std::vector<HWND> before_;      // status windows of others
  std::optional<DWORD> process_;  // that shows the status window, where it is known
  bool asked_ = false;            // the status window to cancel
};

}  // namespace pylon

#include "setup/SyncProcess.h"

#include <algorithm>

#include "sync/frmStatus.h"

namespace pylon {
namespace {

std::vector<HWND> StatusWindows() {
  std::vector<HWND> windows;
  HWND found = nullptr;
  while ((found = ::FindWindowExW(nullptr, found, frmStatus::kClassName, nullptr)) != nullptr) {
    windows.push_back(found);
  }
  return windows;
}

}  // namespace

SyncProcess::Result SyncProcess::Run(LongWork& work, const std::function<void()>& on_cancel) {
  before_ = StatusWindows();
  const WaitResult result = ProgramAndWait(
      program_, u"\"" + program_ + u"\" " + arguments_, [&] { return Yield(work, on_cancel); },
      [this](DWORD id) {
        if (starts_ == Starts::kPylon) process_ = id;
      });
  if (result.end == WaitEnd::kNotStarted) return {SyncEnd::kNotStarted, result.code};
  if (result.end != WaitEnd::kEnded) return {SyncEnd::kLeft};
  return {starts_ == Starts::kPylon ? EndOfSync(result.code) : EndOfHotSync(result.code, asked_)};
}

bool SyncProcess::Yield(LongWork& work, const std::function<void()>& on_cancel) {
  if (!work.YieldUnlessClosed() || work.cancels() > 1) return false;
  if (work.cancels() == 0) return true;
  on_cancel();
  // The sync has no window at its beginning and at its end.
  if (const HWND status = asked_ ? nullptr : StatusWindow()) {
    asked_ = true;
    ::PostMessageW(status, WM_COMMAND, IDCANCEL, 0);
  }
  return true;
}

// The process's own, or the one that was not there before; null while there is none.
HWND SyncProcess::StatusWindow() const {
  for (const HWND window : StatusWindows()) {
    DWORD owner = 0;
    ::GetWindowThreadProcessId(window, &owner);
    if (process_ ? owner == *process_ : std::ranges::find(before_, window) == before_.end()) {
      return window;
    }
  }
  return nullptr;
}

}  // namespace pylon

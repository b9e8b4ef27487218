#include "sync/oSyncInfo.h"

#include <utility>

namespace pylon {
namespace {

// The status operations answer to a component: whatever the window raises stays here.
template <class Body>
void Quietly(Body&& body) noexcept {
  try {
    body();
  } catch (...) {
  }
}

// Often enough for a window to feel alive, rarely enough to cost nothing.
constexpr std::chrono::milliseconds kYieldEvery(20);

}  // namespace

// Each step checks again that there is still a window: even drawing lets in messages that other
// programs sent, and with them the end of the sync.

void oSyncInfo::UpdateStatusMain(std::u16string_view Value) noexcept {
  Quietly([&] {
    if (view_) view_->ShowForm();
    if (view_) view_->SetMainLabel(Value);
    if (view_) view_->SetDetailLabel({});
  });
  if (view_) SetCancelSync(false);
}

void oSyncInfo::UpdateStatusDetail(std::u16string_view Value) noexcept {
  Quietly([&] {
    if (view_) view_->SetDetailLabel(Value);
    if (view_) view_->ProcessEvents();
  });
}

void oSyncInfo::UpdateStatusMaxBar(int32_t Value) noexcept {
  if (view_ && bar_.SetMaximum(Value)) ShowBar(Value != 0);
}

void oSyncInfo::UpdateStatusIncrementBar(int32_t Value) noexcept {
  if (view_ && bar_.Increment(Value)) ShowBar(true);
}

void oSyncInfo::UpdateStatusBarValue(int32_t Value) noexcept {
  if (view_ && bar_.SetValue(Value)) ShowBar(true);
}

void oSyncInfo::ShowBar(bool process_events) noexcept {
  Quietly([&] {
    view_->SetBar(bar_);
    if (view_ && process_events) view_->ProcessEvents();
  });
}

void oSyncInfo::UpdateLog(std::u16string_view Value) noexcept {
  if (log_) log_->UpdateLog(Value);
}

void oSyncInfo::Yield() noexcept {
  const auto now = std::chrono::steady_clock::now();
  if (now - yielded_ < kYieldEvery) return;
  yielded_ = now;
  Quietly([&] {
    if (view_) view_->ProcessEvents();
  });
}

void oSyncInfo::SetFileSystem(std::shared_ptr<PDBFileSystem> file_system) noexcept {
  // Swapped, so that the object lets go of the old one before that one's end calls anybody.
  if (view_) file_system_.swap(file_system);
}

void oSyncInfo::SetConduitInfo(std::shared_ptr<CConduitInfo> conduit_info) noexcept {
  if (view_) conduit_info_.swap(conduit_info);
}

void oSyncInfo::SetDevice(std::shared_ptr<CDevice> device) noexcept {
  if (view_) device_.swap(device);
}

void oSyncInfo::SetCancelSync(bool cancel) noexcept {
  cancel_sync_ = cancel;
  Quietly([&] {
    if (view_) view_->EnableCancel(!cancel);
  });
}

void oSyncInfo::Detach() noexcept {
  view_ = nullptr;
  log_ = nullptr;
  // Each leaves its field before its end can call back.
  std::exchange(file_system_, nullptr).reset();
  std::exchange(conduit_info_, nullptr).reset();
  std::exchange(device_, nullptr).reset();
}

}  // namespace pylon

#include "sync/FilePanel.h"

#include <exception>
#include <utility>

namespace pylon {
namespace {

// A panel that can't be drawn doesn't stop a copy.
template <class Body>
void Quietly(Body&& body) noexcept {
  try {
    body();
  } catch (const std::exception&) {
  }
}

}  // namespace

FilePanel::FilePanel(StatusView& view, std::shared_ptr<const oSyncInfo> info) noexcept
    : view_(&view), info_(std::move(info)) {}

void FilePanel::ShowFile(std::u16string_view name, int32_t size) noexcept {
  Quietly([&] {
    if (!view_) return;
    name_ = name;
    bar_.SetMaximum(size);
    view_->SetFileProgress(name_, bar_);
    if (view_) view_->ShowFilePanel(true);
    Yield();
  });
}

void FilePanel::Advance(int32_t offset) noexcept {
  Quietly([&] {
    if (view_ && bar_.SetValue(offset)) view_->SetFileProgress(name_, bar_);
    Yield();
  });
}

void FilePanel::HideFile() noexcept {
  Quietly([&] {
    if (view_) view_->ShowFilePanel(false);
  });
}

void FilePanel::Yield() noexcept {
  Quietly([&] {
    if (view_) view_->ProcessEvents();
  });
}

}  // namespace pylon

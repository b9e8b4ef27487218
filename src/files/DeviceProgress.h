#pragma once

#include <cstdint>
#include <string_view>

#include "base/MessageLoop.h"

namespace pylon {

// The waits for a device report here, and may be stopped from here: the status window, through its
// own floor. Sizes and offsets are in bytes.
//
// ShowFile, Advance and Yield process messages: see "Re-entry" in docs/developing.md.
class DeviceProgress : public MessageLoop {
 public:
  // One file on its way to or from the device.
  virtual void ShowFile(std::u16string_view name, int32_t size) noexcept = 0;
  virtual void Advance(int32_t offset) noexcept = 0;
  virtual void HideFile() noexcept = 0;
  // Whether the user has pressed Cancel.
  virtual bool IsStopped() const noexcept = 0;
};

}  // namespace pylon

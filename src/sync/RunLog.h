#pragma once

#include <string_view>

#include "base/LogSink.h"

namespace pylon {

// The log of a run as the driver sees it; CLog is the real one.
class RunLog : public LogSink {
 public:
  // Chooses the file, which belongs to a conduit and a device. Lines before that are lost.
  virtual void SetFile(std::u16string_view app_id, std::u16string_view device_name) = 0;
  virtual void SetShowLog(bool show) = 0;  // in the log window
  virtual void Close() noexcept = 0;       // file and window
};

}  // namespace pylon

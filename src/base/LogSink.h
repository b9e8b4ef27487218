#pragma once

#include <string_view>

namespace pylon {

// Where the lower floors put a line for the user: the log of the running sync, or nowhere for a
// database that a client opened by itself. A sink never fails towards its caller.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void UpdateLog(std::u16string_view line) noexcept = 0;
};

class NullLog final : public LogSink {
 public:
  void UpdateLog(std::u16string_view) noexcept override {}
};

}  // namespace pylon

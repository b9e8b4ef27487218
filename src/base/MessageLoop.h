#pragma once

namespace pylon {

// Where long work of the lower floors lets the window live: who implements it processes the
// messages that wait. Anything may be called during it, the caller's own members included.
class MessageLoop {
 public:
  virtual ~MessageLoop() = default;
  virtual void Yield() noexcept = 0;
};

}  // namespace pylon

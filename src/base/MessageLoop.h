#pragma once

namespace pylon {

// Long work of the lower floors calls this to keep the window responsive; the implementation
// processes the waiting messages. Anything may be called during it: see "Re-entry" in
// docs/developing.md.
class MessageLoop {
 public:
  virtual ~MessageLoop() = default;
  virtual void Yield() noexcept = 0;
};

}  // namespace pylon

#pragma once

#include <utility>

namespace pylon {

// Runs a function when the block ends, unless dismissed before: for undoing, restoring and clearing
// that has no class of its own. The function doesn't throw. For all floors, simulators and tests.
//
//   busy_ = true;
//   const ScopeExit idle([this] { busy_ = false; });
template <class Function>
class [[nodiscard]] ScopeExit {
 public:
  explicit ScopeExit(Function function) noexcept(noexcept(Function(std::move(function))))
      : function_(std::move(function)) {}
  ~ScopeExit() {
    if (armed_) function_();
  }
  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;

  void Dismiss() noexcept { armed_ = false; }

 private:
  Function function_;
  bool armed_ = true;
};

}  // namespace pylon

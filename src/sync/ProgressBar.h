#pragma once

#include <cstdint>

namespace pylon {

// How a value changes a progress bar, which runs from 0 to `maximum` and shows `value`. Until a
// maximum is set it is 1 and the value 0, as after SetMaximum(0).
//
// Each member returns whether it took the value. A value that would reach the maximum is refused,
// so the bar is never full; so is whatever is below 0.
class ProgressBar {
 public:
  int32_t maximum() const noexcept { return maximum_; }
  int32_t value() const noexcept { return value_; }

  bool SetMaximum(int32_t maximum) noexcept {  // 0 stands for an empty bar
    if (maximum < 0) return false;
    maximum_ = maximum == 0 ? 1 : maximum;
    value_ = 0;
    return true;
  }
  bool SetValue(int64_t value) noexcept {
    if (value < 0 || value >= maximum_) return false;
    value_ = static_cast<int32_t>(value);
    return true;
  }
  bool Increment(int32_t by) noexcept { return SetValue(int64_t{value_} + by); }

 private:
  int32_t maximum_ = 1;  // >= 1
  int32_t value_ = 0;    // 0 <= value_ < maximum_
};

}  // namespace pylon

#pragma once

#include <cstdint>

namespace pylon {

// The end of a wait, known by the time of day alone: seconds since midnight, which begin again at 0
// when a day ends. So a wait across midnight must check at least once every few hours.
class DayDeadline {
 public:
  static constexpr int kSecondsOfDay = 86'400;

  // A time-out of 0 or less never passes.
  DayDeadline(int start, int timeout_seconds) noexcept
      : last_(start), left_(timeout_seconds), endless_(timeout_seconds <= 0) {}

  // Times are given in the order in which they are read. A step back of more than half a day means
  // that midnight has passed; a lesser one, also over midnight, that the clock was set back, which
  // counts as no time at all.
  bool Passed(int now) noexcept;

 private:
  int last_;
  int64_t left_;  // seconds, counted from last_
  bool endless_;
};

}  // namespace pylon

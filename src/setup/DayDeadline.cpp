#include "setup/DayDeadline.h"

namespace pylon {

bool DayDeadline::Passed(int now) noexcept {
  if (endless_) return false;
  int gone = now - last_;
  if (gone < -kSecondsOfDay / 2) gone += kSecondsOfDay;
  if (gone < 0 || gone > kSecondsOfDay / 2) gone = 0;
  left_ -= gone;
  last_ = now;
  return left_ <= 0;
}

}  // namespace pylon

#include "setup/DayDeadline.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace pylon {
namespace {

TEST(DayDeadline, PassesAtTheRightMomentWhateverTheClockDoes) {
  const struct {
    const char* name;
    int start, timeout;
    std::vector<int> read;  // times of day, the last of which ends the wait
  } cases[] = {
      {"within a day", 1000, 60, {1000, 1059, 1060}},
      {"over midnight", 86'390, 20, {86'399, 0, 9, 10}},
      {"to midnight exactly", 86'390, 10, {86'399, 0}},
      {"longer than a day", 100, 90'000, {40'000, 80'000, 100, 3'699, 3'700}},
      {"nobody looked around midnight", 80'000, 10'000, {85'000, 3'599, 3'600}},
      {"the clock is set back an hour", 10'000, 60, {10'030, 6'430, 6'459, 6'460}},
      {"the clock is set back over midnight", 30, 60, {40, 86'390, 39, 100}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    DayDeadline deadline(c.start, c.timeout);
    for (size_t i = 0; i < c.read.size(); ++i) {
      EXPECT_EQ(deadline.Passed(c.read[i]), i + 1 == c.read.size()) << c.read[i];
    }
  }
}

TEST(DayDeadline, WithoutATimeOutItNeverPasses) {
  for (const int timeout : {0, -1}) {
    DayDeadline deadline(86'000, timeout);
    for (const int now : {86'000, 0, 50'000, 86'399, 10}) EXPECT_FALSE(deadline.Passed(now));
  }
}

}  // namespace
}  // namespace pylon

#include <gtest/gtest.h>

#include <string>

#include "base/Text.h"
#include "sync/LogWindowLines.h"

namespace pylon {
namespace {

TEST(LogWindowLines, KeepsTheNewestNinetyNine) {
  LogWindowLines lines;
  for (int i = 1; i <= 99; ++i) EXPECT_FALSE(lines.Add(ToText(i), i == 1 ? 500 : i)) << i;
  EXPECT_EQ(lines.size(), 99u);
  EXPECT_EQ(lines.Widest(), 500);
  EXPECT_TRUE(lines.Add(u"100", 100));  // the first leaves, and its width with it
  EXPECT_EQ(lines.size(), 99u);
  EXPECT_EQ(lines.Widest(), 100);
  lines.Measure([](const std::u16string& line) { return static_cast<int>(line.size()) * 10; });
  EXPECT_EQ(lines.Widest(), 30);
  lines.Clear();
  EXPECT_EQ(lines.Widest(), 0);
}

}  // namespace
}  // namespace pylon

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/Text.h"
#include "sync/LogWindowLines.h"
#include "sync/StatusLayout.h"

namespace pylon {
namespace {

bool Overlap(const Box& a, const Box& b) {
  return a.x < b.right() && b.x < a.right() && a.y < b.bottom() && b.y < a.bottom();
}

bool Within(const Box& inner, const Box& outer) {
  return inner.x >= outer.x && inner.y >= outer.y && inner.right() <= outer.right() &&
         inner.bottom() <= outer.bottom();
}

struct Named {
  const char* name;
  Box box;
};

TEST(StatusLayout, PartsLieSideBySideInTheirBands) {
  const struct {
    int dpi, line, title;
    bool panel;
  } cases[] = {
      {96, 15, 20, false}, {96, 15, 20, true},   {120, 19, 25, true}, {144, 23, 30, true},
      {192, 30, 40, true}, {288, 45, 60, false}, {96, 40, 60, true},  // large text at 96 DPI
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.dpi) + " DPI, lines of " + std::to_string(c.line));
    const StatusLayout layout(c.dpi, c.line, c.title, c.panel);
    std::vector<Named> parts = {
        {"icon", layout.icon},           {"name", layout.application_name},
        {"author", layout.author},       {"version", layout.version},
        {"separator", layout.separator}, {"main", layout.main_label},
        {"detail", layout.detail_label}, {"bar", layout.bar},
        {"cancel", layout.cancel},
    };
    if (c.panel) {
      parts.push_back({"file", layout.file_label});
      parts.push_back({"file bar", layout.file_bar});
    }
    for (size_t i = 0; i < parts.size(); ++i) {
      SCOPED_TRACE(parts[i].name);
      EXPECT_GT(parts[i].box.width, 0);
      EXPECT_GT(parts[i].box.height, 0);
      EXPECT_TRUE(Within(parts[i].box, layout.client));
      for (size_t j = 0; j < i; ++j)
        EXPECT_FALSE(Overlap(parts[i].box, parts[j].box)) << parts[j].name;
    }
    for (const Box& text :
         {layout.author, layout.version, layout.main_label, layout.detail_label}) {
      EXPECT_GE(text.height, c.line);
    }
    EXPECT_GE(layout.application_name.height, c.title);
    EXPECT_GE(layout.cancel.height, c.line);
    EXPECT_EQ(layout.icon.width, 32 * c.dpi / 96);
    EXPECT_TRUE(Within(layout.icon, layout.header));
    EXPECT_TRUE(Within(layout.version, layout.header));
    EXPECT_TRUE(Within(layout.cancel, layout.footer));
    EXPECT_EQ(layout.footer.bottom(), layout.client.bottom());
  }
}

TEST(StatusLayout, TheFilePanelTakesRoomOnlyWhenShown) {
  const StatusLayout without(96, 15, 20, false);
  const StatusLayout with(96, 15, 20, true);
  EXPECT_EQ(without.bar.y, with.bar.y);
  EXPECT_LT(without.client.height, with.client.height);
  EXPECT_EQ(without.file_bar.width, 0);
}

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

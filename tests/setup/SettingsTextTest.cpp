#include "setup/SettingsText.h"

#include <gtest/gtest.h>

#include "base/Text.h"

namespace pylon {
namespace {

TEST(SettingsText, ANewSectionComesLastAndChangesNothingElse) {
  const struct {
    const char *name, *before, *after;
  } cases[] = {
      {"an empty file", "", "[New]\r\nClassID=Lib.New\r\n"},
      {"one more", "; mine\r\n[A]\r\nx = 1\r\n",
       "; mine\r\n[A]\r\nx = 1\r\n\r\n[New]\r\nClassID=Lib.New\r\n"},
      {"without a last line end", "[A]\r\nx=1", "[A]\r\nx=1\r\n\r\n[New]\r\nClassID=Lib.New\r\n"},
      {"line feeds alone", "[A]\nx=1\n", "[A]\nx=1\n\n[New]\nClassID=Lib.New\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ToUtf8(WithSection(FromUtf8(c.before), u"New", {{u"ClassID", u"Lib.New"}})), c.after);
  }
}

TEST(SettingsText, ASectionGoesWithItsLinesAndLeavesTheOthers) {
  const struct {
    const char *name, *before, *after;
  } cases[] = {
      {"in the middle", "[A]\r\na=1\r\n\r\n[X]\r\nx=1\r\n; own\r\ny=2\r\n\r\n[B]\r\nb=1\r\n",
       "[A]\r\na=1\r\n\r\n[B]\r\nb=1\r\n"},
      {"the next one's comment stays", "[X]\r\nx=1\r\n\r\n; of B\r\n# too\r\n[B]\r\n",
       "; of B\r\n# too\r\n[B]\r\n"},
      {"the last", "[A]\na=1\n[X]\nx=1\n; own", "[A]\na=1\n"},
      {"its name exactly, and the first only", "[x]\r\n[X]\r\na=1\r\n[X]\r\nb=1\r\n",
       "[x]\r\n[X]\r\nb=1\r\n"},
      {"an indented header is none", "[X]\r\n [A]\r\na=1\r\n[B]\r\n", "[B]\r\n"},
      {"not there", "[A]\r\nX=[X]\r\n", "[A]\r\nX=[X]\r\n"},
      {"text behind the header", "[X] ; mine\r\nx=1\r\n[B]\r\n", "[B]\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ToUtf8(WithoutSection(FromUtf8(c.before), u"X")), c.after);
  }
}

}  // namespace
}  // namespace pylon

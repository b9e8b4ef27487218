#include "setup/LogText.h"

#include <gtest/gtest.h>

#include "base/Text.h"
#include "tests/support/FileText.h"

namespace pylon {
namespace {

using testing::ToBytes;

constexpr char kLog[] =
    "1.1.2026 10:00\tBegin Sync\r\n1.1.2026 10:01\tConduit Error: 5 (X) first\r\nsecond\r\n"
    "1.1.2026 10:02\tSync Finished\r\n";

// "time|text|!" of each line that holds the words.
std::string Lines(const LogText& log, std::u16string_view words = {}) {
  std::string lines;
  for (const size_t line : log.Matching(words)) {
    lines += ToUtf8(log.Time(line)) + "|" + ToUtf8(log.Text(line)) +
             (log.IsError(line) ? "|!" : "") + "\n";
  }
  return lines;
}

void Take(LogText& log, std::string_view text, uint64_t offset = 0, bool unicode = false) {
  log.Take(ToBytes(text), offset, unicode, AnsiCodePage::Windows1252());
}

TEST(LogText, LinesKeepTheirOrderTimesAndErrors) {
  LogText log;
  Take(log, kLog);
  EXPECT_EQ(Lines(log),
            "1.1.2026 10:00|Begin Sync\n1.1.2026 10:01|Conduit Error: 5 (X) first|!\n"
            "|second|!\n1.1.2026 10:02|Sync Finished\n");
  EXPECT_EQ(Lines(log, u"SYNC"), "1.1.2026 10:00|Begin Sync\n1.1.2026 10:02|Sync Finished\n");
  EXPECT_EQ(Lines(log, u"10:01").substr(0, 14), "1.1.2026 10:01") << "times are searched too";
  EXPECT_EQ(Lines(log, u"nothing of it"), "");
}

TEST(LogText, TheEndOfALongFileBeginsWithAWholeLine) {
  const std::string whole = kLog;
  for (size_t cut = 1; cut <= whole.size(); ++cut) {
    LogText log;
    Take(log, std::string_view(whole).substr(cut), cut);
    const std::string lines = Lines(log);
    EXPECT_TRUE(lines.empty() || lines.find('|') < 15) << cut << ": " << lines;
    EXPECT_EQ(lines.find("egin Sync"), std::string::npos) << cut;
  }
}

TEST(LogText, Utf16IsReadFromAnyOffset) {
  const std::string file = testing::Utf16File(u"t\t\u4e2d\u6587\r\nu\tline two\r\n");
  LogText whole;
  Take(whole, file, 0, true);
  EXPECT_EQ(Lines(whole), "t|\u4e2d\u6587\nu|line two\n");
  for (size_t cut = 1; cut < 13; ++cut) {
    LogText log;
    Take(log, std::string_view(file).substr(cut), cut, true);
    EXPECT_EQ(Lines(log), "u|line two\n") << cut;
  }
}

TEST(LogText, EmptyLinesAndAMissingLastLineEndAreNoMatter) {
  LogText log;
  Take(log, "\r\n\r\na\tb\r\n\r\nc");
  EXPECT_EQ(Lines(log), "a|b\n|c\n");
  Take(log, "");
  EXPECT_EQ(log.size(), 0U);
}

TEST(LogText, ErrorsAreToldFromNews) {
  const struct {
    const char16_t* text;
    bool error;
  } cases[] = {
      {u"Sync Finished", false},
      {u"Begin Sync using ActiveSync", false},
      {u"Sync Failed: what was changed could not be saved.", true},
      {u"Conduit Error: 13 (Lib) Type mismatch", true},
      {u"Connection to ActiveSync has been closed.", true},
      {u"The device's folder can't be made: full", true},
      {u"No HotSync session is running.", true},
      {u"12 records, 0 errors", false},
      {u"no errors", false},
      {u"10 errors", true},
      {u"0 errors, 1 failed", true},
      {u"", false},
  };
  for (const auto& c : cases) EXPECT_EQ(IsErrorText(c.text), c.error) << ToUtf8(c.text);
}

}  // namespace
}  // namespace pylon

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
  Take(log, "\r\n\r\na\tb\r\n\r\nc");
  EXPECT_EQ(Lines(log), "a|b\n|c\n") << "no empty lines, and the last one without its end";
  Take(log, "");
  EXPECT_EQ(log.size(), 0U);
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

TEST(LogText, ErrorsAreToldFromNews) {
  for (const char16_t* text : {u"Sync Finished", u"Begin Sync using ActiveSync",
                               u"12 records, 0 errors", u"no errors", u""}) {
    EXPECT_FALSE(IsErrorText(text)) << ToUtf8(text);
  }
  for (const char16_t* text :
       {u"Sync Failed: what was changed could not be saved.",
        u"Conduit Error: 13 (Lib) Type mismatch", u"Connection to ActiveSync has been closed.",
        u"The device's folder can't be made: full", u"No HotSync session is running.", u"10 errors",
        u"0 errors, 1 failed"}) {
    EXPECT_TRUE(IsErrorText(text)) << ToUtf8(text);
  }
}

}  // namespace
}  // namespace pylon

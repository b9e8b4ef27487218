#include "sync/CLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/Win32.h"

#include <oleauto.h>

#include "base/AutomationError.h"
#include "tests/files/TempFolder.h"

namespace pylon {
namespace {

using testing::Holder;
using testing::TempFolder;
using testing::Utf16File;

class FakeClock final : public Clock {
 public:
  Date Now() const override { return now; }
  Date now = ToDate({2024, 2, 29, 13, 30, 5});
};

class FakeView final : public LogView {
 public:
  void ShowLog(bool show) override {
    if (refuses) throw AutomationError(51, {}, u"No window.");
    shown = show;
  }
  void AddLine(const std::u16string& line) override { lines.push_back(line); }

  bool refuses = false;
  bool shown = false;
  std::vector<std::u16string> lines;
};

class LogTest : public ::testing::Test {
 protected:
  LogTest() { Name(log, u"Desk", u"Contacts"); }
  static void Name(CLog& log, std::u16string_view device, std::u16string_view app_id) {
    log.SetDeviceName(device);
    log.SetAppId(app_id);
  }
  void Place(std::string_view bytes) {
    ::CreateDirectoryW(Wide(folder.File(u"Contacts")), nullptr);
    ::CreateDirectoryW(Wide(folder.File(u"Contacts\\Desk")), nullptr);
    folder.Write(kFile, bytes);
  }
  // The texts of the lines behind their time stamps, a bar behind each.
  std::string Texts() {
    log.Close();
    const std::string bytes = folder.Read(kFile);
    std::string texts;
    for (size_t start = 0; start < bytes.size();) {
      const size_t end = bytes.find("\r\n", start);
      if (end == bytes.npos) return texts + "unfinished line";
      const std::string line = bytes.substr(start, end - start);
      texts += line.substr(line.find('\t') + 1) + "|";
      start = end + 2;
    }
    return texts;
  }

  static constexpr char16_t kFile[] = u"Contacts\\Desk\\Contacts.log";

  TempFolder folder;
  FakeClock clock;
  FakeView view;
  CLog log{folder.path(), AnsiCodePage::Windows1252(), clock, &view};
};

TEST_F(LogTest, ALineIsTheDateATabAndTheText) {
  log.UpdateLog(u"Begin Sync");
  log.Close();
  const std::string line = folder.Read(kFile);
  const size_t tab = line.find('\t');
  ASSERT_NE(tab, line.npos);
  EXPECT_EQ(line.substr(tab), "\tBegin Sync\r\n");
  std::wstring stamp(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(tab));
  DATE date = 0;
  ASSERT_EQ(::VarDateFromStr(stamp.data(), LOCALE_USER_DEFAULT, 0, &date), S_OK);
  EXPECT_EQ(FormatDate(date), FormatDate(clock.now));
}

TEST_F(LogTest, ContinuesWhatIsThere) {
  const struct {
    const char* what;
    std::string before;
    std::u16string text;
    std::string begins;
    std::string ends;
  } kCases[] = {
      {"code page", "old\r\n", u"new", "old\r\n", "\tnew\r\n"},
      {"character that the page lacks", "old\r\n", u"\u65E5\u00E9", "old\r\n", "\t?\xE9\r\n"},
      {"UTF-16", Utf16File(u"old\r\n"), u"\u65E5", Utf16File(u"old\r\n"),
       Utf16File(u"\t\u65E5\r\n").substr(2)},
      {"UTF-16 without a line", Utf16File(u""), u"a", Utf16File(u""),
       Utf16File(u"\ta\r\n").substr(2)},
      {"empty", "", u"a\u00E9", "", "\ta\xE9\r\n"},
      {"empty, beyond the page", "", u"\u65E5", Utf16File(u""),
       Utf16File(u"\t\u65E5\r\n").substr(2)},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.what);
    Place(test.before);
    CLog next(folder.path(), AnsiCodePage::Windows1252(), clock, nullptr);
    Name(next, u"Desk", u"Contacts");
    next.UpdateLog(test.text);
    next.Close();
    const std::string after = folder.Read(kFile);
    EXPECT_TRUE(after.starts_with(test.begins)) << after;
    EXPECT_TRUE(after.ends_with(test.ends)) << after;
    EXPECT_GT(after.size(), test.begins.size() + test.ends.size());
  }
}

TEST_F(LogTest, LinesComeInOrderAcrossClosing) {
  log.UpdateLog(u"one");
  log.UpdateLog(u"two");
  log.Close();
  log.UpdateLog(u"");
  log.UpdateLog(u"three");
  EXPECT_EQ(Texts(), "one|two||three|");
}

TEST_F(LogTest, LineBreaksInATextStay) {
  log.UpdateLog(u"first\r\nsecond");
  log.Close();
  EXPECT_TRUE(folder.Read(kFile).ends_with("\tfirst\r\nsecond\r\n"));
}

TEST_F(LogTest, ClearStartsANewFile) {
  log.UpdateLog(u"old");
  log.Clear();
  EXPECT_FALSE(folder.Exists(kFile));
  log.Clear();
  log.UpdateLog(u"new");
  EXPECT_EQ(Texts(), "new|");
}

TEST_F(LogTest, ThereIsALogForEachApplicationAndDevice) {
  log.UpdateLog(u"here");
  Name(log, u"<unknown>", u"Memos");
  log.UpdateLog(u"there");
  EXPECT_EQ(log.DeviceName(), u"<unknown>");
  EXPECT_EQ(log.AppId(), u"Memos");
  EXPECT_EQ(Texts(), "here|");
  EXPECT_TRUE(folder.Read(u"Memos\\_unknown_\\Memos.log").ends_with("\tthere\r\n"));
}

TEST_F(LogTest, WithoutAnAppIdThereIsNoFile) {
  CLog unnamed(folder.path(), AnsiCodePage::Windows1252(), clock, nullptr);
  unnamed.UpdateLog(u"lost");
  unnamed.Clear();
  EXPECT_EQ(folder.List(), u"");
}

TEST_F(LogTest, TheViewMirrorsTheLinesWhileItIsShown) {
  log.UpdateLog(u"before");
  log.SetShowLog(true);
  EXPECT_TRUE(log.ShowLog());
  EXPECT_TRUE(view.shown);
  log.UpdateLog(u"shown");
  log.SetShowLog(false);
  EXPECT_FALSE(view.shown);
  log.UpdateLog(u"after");
  ASSERT_EQ(view.lines.size(), 1u);
  EXPECT_TRUE(view.lines[0].ends_with(u"\tshown"));

  log.SetShowLog(true);
  log.Close();
  log.UpdateLog(u"the view may be gone");
  EXPECT_EQ(view.lines.size(), 1u);
  EXPECT_EQ(Texts(), "before|shown|after|the view may be gone|");
}

TEST_F(LogTest, AViewThatFailsIsNamedInTheLog) {
  view.refuses = true;
  log.SetShowLog(true);
  EXPECT_FALSE(log.ShowLog());
  log.UpdateLog(u"on");
  EXPECT_EQ(Texts(), "The log window can't be shown: No window.|on|");
}

TEST_F(LogTest, AHeldLogLosesLinesAndKeepsItsOwn) {
  Place("old\r\n");
  {
    const Holder holder(folder.File(kFile));
    // One wait only, or this would take a minute.
    for (int i = 0; i < 120; ++i) log.UpdateLog(u"lost");
  }
  log.UpdateLog(u"kept");
  EXPECT_EQ(Texts(), "old|kept|");
}

TEST_F(LogTest, AHeldLogIsWaitedFor) {
  Place("old\r\n");
  Holder holder(folder.File(kFile));
  holder.ReleaseIn(100);
  log.UpdateLog(u"waited");
  EXPECT_EQ(Texts(), "old|waited|");
}

TEST_F(LogTest, TwoLogsOfTheSameFileTakeTurns) {
  CLog other(folder.path(), AnsiCodePage::Windows1252(), clock, nullptr);
  Name(other, u"Desk", u"Contacts");
  log.UpdateLog(u"mine");
  other.UpdateLog(u"lost");
  log.Close();
  other.UpdateLog(u"its own");
  other.Close();
  EXPECT_EQ(Texts(), "mine|its own|");
}

TEST_F(LogTest, AFolderThatCantBeMadeLosesLinesOnly) {
  folder.Write(u"Contacts", "a file");
  log.UpdateLog(u"lost");
  log.Clear();
  EXPECT_EQ(folder.Read(u"Contacts"), "a file");
}

TEST_F(LogTest, AFileTooLongForTheCursorIsLeftAlone) {
  Place("old\r\n");
  constexpr int64_t kLength = int64_t{1} << 31;
  const auto resize = [&](int64_t length) {
    const FileHandle file(::CreateFileW(Wide(folder.File(kFile)), GENERIC_WRITE, 0, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER end;
    end.QuadPart = length;
    return ::SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) && ::SetEndOfFile(file.get());
  };
  // The disk may have no room for it where files are not sparse.
  if (!resize(kLength)) GTEST_SKIP() << "no room for a file of 2 GB";
  log.UpdateLog(u"lost");
  log.Close();
  WIN32_FILE_ATTRIBUTE_DATA data = {};
  ::GetFileAttributesExW(Wide(folder.File(kFile)), GetFileExInfoStandard, &data);
  EXPECT_EQ(int64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow, kLength);
}

}  // namespace
}  // namespace pylon

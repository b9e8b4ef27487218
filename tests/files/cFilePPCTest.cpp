#include "files/cFilePPC.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/files/CursorFileTest.h"
#include "tests/files/TestProgress.h"
#include "tests/support/FileText.h"
#include "tests/support/MemoryDisk.h"
#include "tests/support/PdbTesting.h"

namespace pylon::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(CopyChunk, IsAFractionRoundedHalvesToEven) {
  const struct {
    int32_t size, chunk;
  } kCases[] = {{0, 0},
                {1, 1},
                {1'000, 1'000},
                {1'001, 500},
                {1'003, 502},
                {100'000, 50'000},
                {100'001, 20'000},
                {100'003, 20'001},
                {1'000'000, 200'000},
                {1'000'001, 50'000},
                {1'000'010, 50'000},
                {1'000'030, 50'002},
                {2'147'483'647, 107'374'182}};
  for (const auto& test : kCases) EXPECT_EQ(CopyChunk(test.size), test.chunk) << test.size;
}

class cFilePPCTest : public ::testing::Test {
 protected:
  cFilePPCTest() {
    device_.folders = {u"\\", u"\\d"};
    file_.SetFullFileName(kName);
  }

  std::string Error() { return ToUtf8(PendingError(file_)); }
  bool Rewrite(const std::u16string& name, std::string_view text) {
    return file_.OpenFile(name, u"W", {}) && WriteBytes(file_, text, 0) > 0 && file_.CloseFile();
  }
  // The calls that move a file's bytes.
  std::vector<std::string> Moved() {
    std::vector<std::string> moved;
    for (const std::string& call : device_.calls) {
      if (call.starts_with("Read") || call.starts_with("Write")) moved.push_back(call);
    }
    return moved;
  }
  // The one file that is left on the PC; empty for none.
  std::string Kept() {
    EXPECT_LE(pc_.files.size(), 1u);
    return pc_.files.empty() ? "" : pc_.Text(pc_.files.begin()->first);
  }

  static constexpr char16_t kName[] = u"\\d\\x";
  static constexpr char16_t kNew[] = u"\\d\\x.new";
  MemoryDisk pc_;
  MemoryDisk device_;
  std::shared_ptr<TestProgress> progress_ = std::make_shared<TestProgress>();
  std::shared_ptr<CollectingLog> log_ = std::make_shared<CollectingLog>();
  FixedClock clock_;
  cFilePPC file_{std::make_unique<MemoryCursorFile>(pc_),
                 std::make_unique<MemoryCursorFile>(device_), progress_, log_, clock_};
};

TEST_F(cFilePPCTest, OpeningCopiesDownInChunksAndReadingStaysOnThePc) {
  std::string text(1'001, 'x');
  text.replace(0, 2, "\xFF\xFE");  // no text for all that
  device_.Put(kName, text);
  ASSERT_TRUE(file_.OpenFile({}, u"R", {}));
  EXPECT_THAT(Moved(), ElementsAre("Read 500", "Read 500", "Read 1"));
  EXPECT_THAT(progress_->steps, ElementsAre("x of 1001", "500", "1000", "1001", "hidden"));
  const size_t calls = device_.calls.size();
  EXPECT_EQ(file_.FileSize(), 1'001);
  EXPECT_EQ(file_.CurrentPos(), 0);
  EXPECT_EQ(ReadBytes(file_, 0, 5'000), text);
  EXPECT_TRUE(file_.IsEOF());
  EXPECT_EQ(device_.calls.size(), calls);

  EXPECT_EQ(WriteBytes(file_, "y", 0), 0) << "it would be lost at the close";
  EXPECT_THAT(Error(), HasSubstr("modMain.WriteData():"));
  EXPECT_TRUE(file_.CloseFile());
  EXPECT_EQ(device_.Text(kName), text);
  EXPECT_THAT(Moved(), ElementsAre("Read 500", "Read 500", "Read 1"));
  EXPECT_THAT(pc_.files, IsEmpty());
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_TRUE(file_.CloseFile());
}

TEST_F(cFilePPCTest, ClosingCopiesUpWhatWasChangedAndItsLength) {
  const struct {
    const char* name;
    const char16_t* mode;
    std::string before, write;
    int32_t offset;
    std::string after;
  } kCases[] = {{"fresh", u"W", "", "abc", 0, "abc"},
                {"fresh, shorter", u"W", std::string(2'000, 'x'), "abc", 0, "abc"},
                {"fresh, nothing", u"W", "xyz", "", 0, ""},
                {"kept in part", u"RW", "0123456789", "ab", 3, "012ab"},
                {"longer", u"RW", "01", "abc", 2, "01abc"},
                {"untouched", u"RW", "0123456789", "", 0, "0123456789"},
                {"untouched, other case", u"w", "0123456789", "", 0, "0123456789"}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    device_.Put(kName, test.before);
    device_.files[kName].created = {1999, 1, 2, 3, 4, 5};
    ASSERT_TRUE(file_.OpenFile({}, test.mode, {}));
    if (!test.write.empty()) {
      EXPECT_EQ(WriteBytes(file_, test.write, test.offset),
                static_cast<int32_t>(test.write.size()));
    }
    EXPECT_TRUE(file_.CloseFile());
    EXPECT_EQ(Error(), "");
    EXPECT_EQ(device_.Text(kName), test.after);
    EXPECT_EQ(device_.files[kName].created.year, 1999);
  }
  EXPECT_THAT(log_->lines, IsEmpty());
}

TEST_F(cFilePPCTest, AReplacedFileKeepsWhenItWasCreatedAndTheCopyGoesWithTheReplacement) {
  device_.Put(kName, "old");
  device_.files[kName].created = {1999, 1, 2, 3, 4, 5};
  ASSERT_TRUE(file_.OpenFile(kName, u"R", {}));
  ASSERT_TRUE(Rewrite(kNew, "new"));
  EXPECT_EQ(Kept(), "new") << "until it is where it belongs";
  ASSERT_TRUE(file_.ReplaceFile(u"x"));
  EXPECT_EQ(device_.Text(kName), "new");
  EXPECT_EQ(device_.files[kName].created.year, 1999);
  EXPECT_EQ(device_.files.size(), 1u);
  EXPECT_EQ(file_.FileName(), u"x");
  EXPECT_EQ(Kept(), "");
  // The date goes along when the file is renamed.
  ASSERT_TRUE(file_.RenameFile(u"y"));
  ASSERT_TRUE(Rewrite(u"\\d\\y.new", "newer"));
  ASSERT_TRUE(file_.ReplaceFile(u"y"));
  EXPECT_EQ(device_.files[u"\\d\\y"].created.year, 1999);
}

TEST_F(cFilePPCTest, WhatDoesNotReachTheDeviceIsKeptOnThePc) {
  const std::string text(2'000, 'n');
  const struct {
    const char* name;
    std::function<void(MemoryDisk&)> fault;
    const char* reason;
  } kCases[] = {{"disk full", [](MemoryDisk& disk) { disk.room = 1'500; }, "error 112"},
                {"write", [](MemoryDisk& disk) { disk.fault = "Write"; }, "error 31"},
                {"close", [](MemoryDisk& disk) { disk.fault = "Close"; }, "error 31"},
                {"link", [](MemoryDisk& disk) { disk.calls_to_live = 1; }, "error -2147014795"},
                {"replacement", [](MemoryDisk& disk) { disk.fault = "Replace"; }, "error 31"}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    pc_.files.clear();
    device_ = MemoryDisk();
    device_.folders = {u"\\", u"\\d"};
    device_.Put(kName, "old");
    log_->lines.clear();
    ASSERT_TRUE(file_.OpenFile(kNew, u"W", {}));
    ASSERT_EQ(WriteBytes(file_, text, 0), 2'000);
    test.fault(device_);
    EXPECT_FALSE(file_.CloseFile() && file_.ReplaceFile(u"x"));
    EXPECT_FALSE(file_.IsOpen());
    EXPECT_THAT(Error(), HasSubstr(test.reason));
    EXPECT_EQ(device_.Text(kName), "old");
    EXPECT_EQ(Kept(), text);
    ASSERT_EQ(log_->lines.size(), 1u);
    EXPECT_THAT(log_->lines[0], HasSubstr(test.reason));
    EXPECT_THAT(log_->lines[0], HasSubstr(ToUtf8(SplitFullName(pc_.files.begin()->first).name)));
  }
}

TEST_F(cFilePPCTest, ACopyThatIsNotWholeNeitherGoesUpNorIsKept) {
  device_.Put(kNew, "old");
  ASSERT_TRUE(file_.OpenFile(kNew, u"W", {}));
  pc_.room = 5;
  EXPECT_LT(WriteBytes(file_, "0123456789", 0), 10);
  EXPECT_FALSE(file_.CloseFile());
  EXPECT_THAT(Error(), HasSubstr("error 112"));
  EXPECT_THAT(log_->lines, ElementsAre(HasSubstr("could not be kept")));
  EXPECT_EQ(device_.Text(kNew), "old");
  EXPECT_EQ(Kept(), "");
}

TEST_F(cFilePPCTest, AFailedSecondTryKeepsTheLatest) {
  for (const char* text : {"first", "second"}) {
    device_.fault = "Write";
    EXPECT_FALSE(Rewrite(kNew, text));
    EXPECT_EQ(Kept(), text);
  }
  device_.fault.clear();
  progress_->steps.clear();
  EXPECT_TRUE(Rewrite(kNew, "third") && file_.ReplaceFile(u"x"));
  EXPECT_THAT(log_->lines.back(), HasSubstr("no longer needed"));
  log_->lines.clear();
  EXPECT_TRUE(Rewrite(kNew, "fourth") && file_.ReplaceFile(u"x"));
  EXPECT_THAT(log_->lines, ElementsAre()) << "said once";
  EXPECT_EQ(progress_->steps.front(), "x of 5") << "the name that the user knows";
}

TEST_F(cFilePPCTest, WhatCannotBeOpenedOnTheDeviceIsKeptAside) {
  const struct {
    const char* name;
    std::function<void()> fault;
    const char* log;
  } kCases[] = {
      {"first try", [] {}, "is kept in"},
      {"second try replaces it", [] {}, "is kept in"},
      {"PC's disk full", [&] { pc_.room = 5; }, "kept on the PC (modMain.Write"},
      {"no working copy", [&] { pc_.fault = "CreateTempFile"; }, "could not be kept"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    device_.fault = "Open";
    ASSERT_FALSE(file_.OpenFile(kNew, u"W", {}));
    const std::string reason = Error();
    test.fault();
    if (file_.OpenAside()) {
      WriteBytes(file_, "0123456789", 0);
      EXPECT_FALSE(file_.CloseFile());
    }
    EXPECT_EQ(Error(), reason) << "what went wrong at first";
    EXPECT_FALSE(file_.IsOpen());
    EXPECT_EQ(Kept(), "0123456789");
    EXPECT_THAT(log_->lines.back(), HasSubstr(test.log));
    pc_.room = 1'000'000;
  }
  EXPECT_THAT(device_.files, IsEmpty());
  EXPECT_TRUE(Rewrite(kNew, "later"));
  EXPECT_EQ(device_.Text(kNew), "later");
}

TEST_F(cFilePPCTest, AFailedOpenLeavesTheDeviceAsItWas) {
  const std::string text(3'000, 'x');
  const struct {
    const char* name;
    const char16_t* mode;
    std::function<void()> fault;
    const char* reason;
    Date failed_open;
  } kCases[] = {
      {"open", u"R", [&] { device_.fault = "Open"; }, "modMain.OpenFile(", clock_.now},
      {"read", u"RW", [&] { device_.fault = "Read 1500"; }, "modMain.ReadData():", 0},
      {"link", u"RW", [&] { device_.calls_to_live = 3; }, "error -2147014795", 0},
      {"no working copy", u"W", [&] { pc_.fault = "CreateTempFile"; }, "modMain.SetTempFile", 0},
      {"PC's disk full", u"RW", [&] { pc_.room = 1'000; }, "error 112", 0},
      {"cancelled", u"RW", [&] { progress_->stopped = true; }, "cancelled", 0}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    device_.Put(kName, text);
    cFilePPC file(std::make_unique<MemoryCursorFile>(pc_),
                  std::make_unique<MemoryCursorFile>(device_), progress_, log_, clock_);
    test.fault();
    EXPECT_FALSE(file.OpenFile(kName, test.mode, {}));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_THAT(ToUtf8(PendingError(file)), HasSubstr(test.reason));
    EXPECT_EQ(file.LastFailedOpen(), test.failed_open);
    EXPECT_EQ(device_.Text(kName), text);
    EXPECT_FALSE(device_.open.contains(kName));
    EXPECT_THAT(pc_.files, IsEmpty());
    device_.calls_to_live = 1'000;
    pc_.room = 1'000'000;
  }
  EXPECT_EQ(progress_->steps.back(), "hidden");
}

TEST_F(cFilePPCTest, CancelEndsACopyUpThatItMeetsAndNoLaterSave) {
  const std::string text(2'000, 'n');
  progress_->on_yield = [&] { progress_->stopped = true; };
  EXPECT_TRUE(Rewrite(kNew, "short")) << "all of it was sent by then";
  progress_->stopped = false;
  EXPECT_FALSE(Rewrite(kNew, text));
  EXPECT_EQ(Kept(), text);
  EXPECT_FALSE(file_.OpenFile(kNew, u"W", {})) << "the end of the run tries again";
  EXPECT_THAT(Error(), HasSubstr("cancelled"));
  progress_->stopped = false;
  progress_->on_yield = nullptr;
  EXPECT_TRUE(Rewrite(kNew, text)) << "a new phase";
  EXPECT_EQ(device_.Text(kNew), text);

  cFilePPC other(std::make_unique<MemoryCursorFile>(pc_),
                 std::make_unique<MemoryCursorFile>(device_), progress_, log_, clock_);
  progress_->stopped = true;
  ASSERT_TRUE(other.OpenFile(kName, u"W", {}));
  WriteBytes(other, text, 0);
  EXPECT_TRUE(other.CloseFile()) << "what a component saves after Cancel";
}

TEST_F(cFilePPCTest, WhoComesInDuringACopyIsTurnedAway) {
  device_.Put(kName, std::string(2'000, 'x'));
  int entered = 0;
  progress_->on_yield = [&] {
    ++entered;
    EXPECT_FALSE(file_.OpenFile(kNew, u"W", {}));
    EXPECT_THAT(Error(), HasSubstr("being copied"));
    EXPECT_FALSE(file_.CloseFile());
    EXPECT_FALSE(file_.DeleteFile());
    EXPECT_FALSE(file_.ReplaceFile(u"y"));
    EXPECT_EQ(WriteBytes(file_, "z", 0), 0);
  };
  ASSERT_TRUE(file_.OpenFile(kName, u"RW", {}));
  ASSERT_EQ(WriteBytes(file_, "y", 1'999), 1);
  EXPECT_TRUE(file_.CloseFile());
  EXPECT_EQ(entered, 4);
  EXPECT_EQ(device_.Text(kName), std::string(1'999, 'x') + "y");
  EXPECT_EQ(device_.files.size(), 1u);
}

TEST_F(cFilePPCTest, WholeFilesAreTheDevices) {
  ASSERT_TRUE(Rewrite(kName, "abc"));
  device_.folders.insert(u"\\e");
  EXPECT_TRUE(file_.FileExists());
  EXPECT_TRUE(file_.CopyFile(u"\\e"));
  EXPECT_EQ(device_.Text(u"\\e\\x"), "abc");
  EXPECT_TRUE(file_.RenameFile(u"y"));
  EXPECT_TRUE(file_.MoveFile(u"\\e"));
  EXPECT_EQ(device_.Text(u"\\e\\y"), "abc");
  EXPECT_EQ(file_.FullFileName(), u"\\e\\y");
  ASSERT_TRUE(file_.OpenFile({}, u"RW", {}));
  WriteBytes(file_, "changed", 0);
  EXPECT_TRUE(file_.DeleteFile());
  EXPECT_FALSE(file_.FileExists());
  EXPECT_FALSE(file_.DeleteFile());
  EXPECT_THAT(Error(), HasSubstr("modMain.DeleteFile():"));
  file_.ValidateFile(u"\\e\\z");
  EXPECT_EQ(device_.Text(u"\\e\\z"), "");
  EXPECT_EQ(Kept(), "");
}

}  // namespace
}  // namespace pylon::testing

#include "files/cFileIO.h"

#include <gtest/gtest.h>

#include "tests/files/CursorFileTest.h"
#include "tests/files/TempFolder.h"

namespace pylon {
namespace {

using pylon::testing::Holder;
using pylon::testing::PendingError;
using pylon::testing::ReadBytes;
using pylon::testing::TempFolder;
using pylon::testing::WriteBytes;

class cFileIOTest : public ::testing::Test {
 protected:
  std::u16string Error() { return PendingError(file_); }

  TempFolder folder_;
  cFileIO file_{folder_.path(), AnsiCodePage::Windows1252()};
};

TEST_F(cFileIOTest, OpeningFailsWithTheReasonAndThePath) {
  folder_.Write(u"held", "abc");
  const Holder holder(folder_.File(u"held"));
  EXPECT_FALSE(file_.OpenFile(u"held", u"R", {}));
  const std::u16string error = Error();
  EXPECT_TRUE(error.starts_with(u"modMain.OpenFile(" + folder_.File(u"held") + u"): "));
  EXPECT_TRUE(error.ends_with(u" (32)")) << ToUtf8(error);
  EXPECT_FALSE(file_.OpenFile(u"x", u"W", folder_.File(u"no such folder")));
  EXPECT_TRUE(Error().ends_with(u" (3)"));
  EXPECT_TRUE(file_.CloseFile());
  EXPECT_FALSE(Error().empty()) << "closing a closed object does nothing";
}

TEST_F(cFileIOTest, AFileThatNoPositionReachesTheEndOfIsAnError) {
  {
    const FileHandle sparse(::CreateFileW(Wide(folder_.File(u"huge")), GENERIC_WRITE, 0, nullptr,
                                          CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER end;
    end.QuadPart = 1LL << 31;
    if (!::SetFilePointerEx(sparse.get(), end, nullptr, FILE_BEGIN) ||
        !::SetEndOfFile(sparse.get())) {
      GTEST_SKIP() << "no room for a file of 2 GB";
    }
  }
  file_.ValidateFile(u"huge");
  ASSERT_TRUE(file_.OpenFile(u"huge", u"R", {}));
  EXPECT_EQ(file_.FileSize(), 0);
  EXPECT_TRUE(Error().ends_with(u" (223)"));
  EXPECT_EQ(ReadBytes(file_, 0x7FFFFFFE, 5).size(), 1u);
  EXPECT_EQ(file_.CurrentPos(), 0x7FFFFFFF);
  file_.CloseFile();
  ASSERT_TRUE(file_.OpenFile(u"huge", u"W", {}));
  EXPECT_EQ(WriteBytes(file_, "abc", 0x7FFFFFFE), 0);
  EXPECT_TRUE(Error().ends_with(u" (223)"));
}

TEST_F(cFileIOTest, TemporaryFilesLieInTheTempFolder) {
  wchar_t temp[MAX_PATH + 1];
  const DWORD size = ::GetEnvironmentVariableW(L"TEMP", temp, MAX_PATH);
  ASSERT_GT(size, 0u);
  ::SetEnvironmentVariableW(L"TEMP", Wide(folder_.path()));
  file_.SetTempFileInfo({});
  EXPECT_EQ(file_.FilePath(), folder_.path() + u"\\");
  EXPECT_TRUE(file_.FileName().starts_with(u"pyl"));
  EXPECT_EQ(folder_.Read(file_.FileName()), "");
  const std::u16string first = file_.FileName();

  file_.SetCursorPos(7);
  ASSERT_TRUE(file_.OpenTempFile(u"RW", {}, u"abc"));
  EXPECT_NE(file_.FileName(), first);
  EXPECT_TRUE(file_.FileName().starts_with(u"abc"));
  EXPECT_EQ(WriteBytes(file_, "x", -1), 1);
  file_.CloseFile();
  EXPECT_EQ(folder_.Read(file_.FileName()), "x");
  file_.DeleteFile();

  ::CreateDirectoryW(Wide(folder_.File(u"other")), nullptr);
  ASSERT_TRUE(file_.OpenTempFile(u"RW", folder_.File(u"other"), {}));
  const std::u16string name = file_.FileName();
  file_.CloseFile();
  EXPECT_TRUE(folder_.Exists(u"other\\" + name));
  EXPECT_FALSE(folder_.Exists(name)) << "nothing is left in the TEMP folder";

  ::SetEnvironmentVariableW(L"TEMP", Wide(folder_.File(u"no such folder")));
  EXPECT_FALSE(file_.OpenTempFile(u"RW", {}, {}));
  EXPECT_FALSE(Error().empty());
  EXPECT_EQ(file_.FileName(), name);
  ::SetEnvironmentVariableW(L"TEMP", temp);
}

TEST_F(cFileIOTest, FilesGoToTheRecycleBinOrAway) {
  folder_.Write(u"a", "aa");
  folder_.Write(u"b", "bb");
  for (const RecycleAction action : {RecycleAction::kRecycle, RecycleAction::kDelete}) {
    file_.SetFullFileName(action == RecycleAction::kRecycle ? u"a" : u"b");
    EXPECT_TRUE(file_.Recycle(action, false));
    EXPECT_FALSE(file_.FileExists());
    EXPECT_FALSE(file_.Recycle(action, false));
    EXPECT_TRUE(Error().starts_with(u"modMain.Recycle():"));
  }
  ::CreateDirectoryW(Wide(folder_.File(u"kept")), nullptr);
  for (const auto* name : {u"*", u"kept"}) {
    file_.SetFullFileName(name);
    EXPECT_FALSE(file_.Recycle(RecycleAction::kDelete, false)) << "no pattern, no folder";
  }
  EXPECT_EQ(folder_.List(), u"kept ");
}

}  // namespace
}  // namespace pylon

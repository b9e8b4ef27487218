#include "files/cFileIO.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/files/TempFolder.h"

namespace pylon {
namespace {

using pylon::testing::Holder;
using pylon::testing::TempFolder;
using pylon::testing::ToBytes;
using pylon::testing::Utf16File;

class cFileIOTest : public ::testing::Test {
 protected:
  std::u16string Error() {
    std::u16string message;
    int32_t number = 0;
    const bool pending = file_.ReadErrorHandler(message, number);
    EXPECT_EQ(pending, number != 0);
    EXPECT_EQ(pending, !message.empty());
    return message;
  }
  std::string ReadBytes(int32_t offset, int32_t count) {
    Bytes bytes = ToBytes("left over");
    const int32_t read = file_.ReadByteArray(bytes, offset, count, {});
    EXPECT_EQ(static_cast<size_t>(read), bytes.size());
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }
  int32_t WriteBytes(std::string_view text, int32_t offset) {
    return file_.WriteByteArray(ToBytes(text), offset, {});
  }

  TempFolder folder_;
  cFileIO file_{folder_.path(), AnsiCodePage::Windows1252()};
};

TEST_F(cFileIOTest, NamesAreSplitAndJoined) {
  EXPECT_EQ(file_.FilePath(), folder_.path());
  file_.SetFullFileName(u"bare.txt");
  EXPECT_EQ(file_.FullFileName(), folder_.File(u"bare.txt"));

  file_.SetFullFileName(u"C:\\a\\b.pdb");
  EXPECT_EQ(file_.FileName(), u"b.pdb");
  EXPECT_EQ(file_.FileNameNoExt(), u"b");
  EXPECT_EQ(file_.FileExt(), u"pdb");
  EXPECT_EQ(file_.FilePath(), u"C:\\a\\");
  EXPECT_EQ(file_.FullFileName(), u"C:\\a\\\\b.pdb");
  file_.SetFullFileName(u"c.txt");
  EXPECT_EQ(file_.FilePath(), u"C:\\a\\");
  file_.SetFileExt(u"bak");
  EXPECT_EQ(file_.FileName(), u"c.bak");

  file_.SetFilePath(u"");
  file_.SetFullFileName(u"d.txt");
  EXPECT_EQ(file_.FilePath(), folder_.path());
}

TEST_F(cFileIOTest, ModesDecideWhatIsCreatedAndAllowed) {
  const struct {
    std::u16string mode;
    bool creates, reads, writes;
  } kCases[] = {
      {u"R", false, true, false}, {u"rw", false, true, false}, {u"", true, true, true},
      {u"RW", true, true, true},  {u"WR", true, true, true},   {u"W", true, false, true},
  };
  for (const auto& test : kCases) {
    file_.CloseFile();
    ::DeleteFileW(Wide(folder_.File(u"new")));
    EXPECT_EQ(file_.OpenFile(u"new", test.mode, {}), test.creates) << ToUtf8(test.mode);
    EXPECT_EQ(file_.IsOpen(), test.creates);
    EXPECT_EQ(folder_.Exists(u"new"), test.creates);
    EXPECT_EQ(Error().starts_with(u"modMain.OpenFile(" + folder_.File(u"new") + u"): "),
              !test.creates);
    file_.CloseFile();

    folder_.Write(u"new", "abc");
    ASSERT_TRUE(file_.OpenFile({}, test.mode, {}));
    EXPECT_EQ(file_.CurrentPos(), 0);
    EXPECT_EQ(file_.FileSize(), 3);
    EXPECT_EQ(ReadBytes(1, 1), test.reads ? "b" : "");
    EXPECT_EQ(Error().starts_with(u"modMain.ReadData():"), !test.reads);
    EXPECT_EQ(WriteBytes("X", 2), test.writes ? 1 : 0);
    EXPECT_EQ(Error().starts_with(u"modMain.WriteData():"), !test.writes);
    EXPECT_TRUE(file_.CloseFile());
    EXPECT_EQ(folder_.Read(u"new"), test.writes ? "abX" : "abc");
  }
}

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

TEST_F(cFileIOTest, NobodyElseOpensAnOpenFile) {
  cFileIO other(folder_.path(), AnsiCodePage::Windows1252());
  ASSERT_TRUE(file_.OpenFile(u"a", u"RW", {}));
  EXPECT_FALSE(other.OpenFile(u"a", u"R", {}));
  file_.CloseFile();
  EXPECT_TRUE(other.OpenFile(u"a", u"R", {}));
}

TEST_F(cFileIOTest, ReadsAndWritesAtTheCursorOrAnOffset) {
  ASSERT_TRUE(file_.OpenFile(u"a", u"RW", {}));
  EXPECT_EQ(WriteBytes("0123456789", -1), 10);
  EXPECT_EQ(file_.CurrentPos(), 10);
  EXPECT_TRUE(file_.IsEOF());
  EXPECT_EQ(WriteBytes("ab", 3), 2);
  EXPECT_EQ(WriteBytes("c", -1), 1);
  EXPECT_EQ(file_.CurrentPos(), 6);
  EXPECT_FALSE(file_.IsEOF());
  EXPECT_EQ(ReadBytes(0, 5), "012ab");
  EXPECT_EQ(ReadBytes(-1, 100), "c6789") << "cut at the end";
  EXPECT_EQ(ReadBytes(-1, 1), "");
  EXPECT_EQ(ReadBytes(2, 0), "");
  EXPECT_EQ(ReadBytes(2, -5), "");
  EXPECT_EQ(ReadBytes(100, 5), "");
  EXPECT_EQ(file_.CurrentPos(), 100);
  EXPECT_TRUE(file_.IsEOF());
  EXPECT_EQ(Error(), u"");
  EXPECT_EQ(ReadBytes(-7, 2), "01") << "a negative cursor becomes 0";
  file_.Reset();
  EXPECT_EQ(file_.CurrentPos(), 0);
  file_.SetCursorPos(12);
  EXPECT_EQ(file_.FileSize(), 10);
  EXPECT_EQ(WriteBytes("z", -1), 1);
  EXPECT_TRUE(file_.CloseFile());
  EXPECT_EQ(folder_.Read(u"a"), std::string("012abc6789\0\0z", 13));
}

TEST_F(cFileIOTest, MegabytesMoveInOneCall) {
  std::string big(40'000'001, '\0');
  for (size_t i = 0; i < big.size(); i += 4093) big[i] = static_cast<char>(i);
  ASSERT_TRUE(file_.OpenFile(u"big", u"RW", {}));
  EXPECT_EQ(WriteBytes(big, 0), static_cast<int32_t>(big.size()));
  EXPECT_TRUE(ReadBytes(0, 1 << 30) == big);
}

TEST_F(cFileIOTest, ClosingCutsWritableFilesAtTheCursor) {
  const std::string old(100, 'x');
  folder_.Write(u"a", old);
  ASSERT_TRUE(file_.OpenFile(u"a", u"RW", {}));
  WriteBytes("0123456789", 0);
  EXPECT_TRUE(file_.CloseFile());
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_EQ(folder_.Read(u"a"), "0123456789");

  folder_.Write(u"a", old);
  ASSERT_TRUE(file_.OpenFile(u"a", u"R", {}));
  ReadBytes(0, 5);
  EXPECT_TRUE(file_.CloseFile());
  EXPECT_EQ(folder_.Read(u"a"), old);

  ASSERT_TRUE(file_.OpenFile(u"a", u"RW", {}));
  file_.SetCursorPos(-2);
  EXPECT_FALSE(file_.CloseFile()) << "there is no such place to end the file at";
  EXPECT_TRUE(Error().starts_with(u"modMain.CloseFile():"));
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_EQ(folder_.Read(u"a"), old);

  {
    cFileIO forgotten(folder_.path(), AnsiCodePage::Windows1252());
    ASSERT_TRUE(forgotten.OpenFile(u"a", u"RW", {}));
    forgotten.WriteByteArray(ToBytes("yy"), 0, {});
  }
  EXPECT_EQ(folder_.Read(u"a"), "yy");
}

TEST_F(cFileIOTest, OpeningAnotherFileClosesTheFirst) {
  ASSERT_TRUE(file_.OpenFile(u"a", u"RW", {}));
  WriteBytes("abc", 0);
  ASSERT_TRUE(file_.OpenFile(u"b", u"RW", {}));
  EXPECT_EQ(folder_.Read(u"a"), "abc");
}

TEST_F(cFileIOTest, TheByteOrderMarkIsSteppedOver) {
  folder_.Write(u"u", Utf16File(u"ab"));
  ASSERT_TRUE(file_.OpenFile(u"u", u"RW", {}));
  EXPECT_TRUE(file_.IsUnicode());
  EXPECT_EQ(ReadBytes(0, 2), std::string("a\0", 2));
  EXPECT_EQ(WriteBytes("XYZ", 0), 3);
  EXPECT_EQ(file_.CurrentPos(), 5);
  EXPECT_TRUE(file_.CloseFile());
  EXPECT_EQ(folder_.Read(u"u"), "\xFF\xFEXYZ");

  ASSERT_TRUE(file_.OpenFile(u"u", u"W", {}));
  EXPECT_FALSE(file_.IsUnicode()) << "unknown without reading";
  EXPECT_EQ(file_.CurrentPos(), 0);
  file_.CloseFile();
  folder_.Write(u"u", "\xFF");
  ASSERT_TRUE(file_.OpenFile(u"u", u"R", {}));
  EXPECT_FALSE(file_.IsUnicode());
}

TEST_F(cFileIOTest, OperationsOnAClosedFileFail) {
  file_.SetFullFileName(u"a");
  EXPECT_EQ(ReadBytes(0, 5), "");
  EXPECT_TRUE(Error().starts_with(u"modMain.ReadData():"));
  EXPECT_EQ(WriteBytes("a", 0), 0);
  EXPECT_TRUE(Error().starts_with(u"modMain.WriteData():"));
  EXPECT_FALSE(file_.PrintLine(u"a"));
  EXPECT_TRUE(Error().starts_with(u"modMain.PrintLine():"));
  std::u16string line;
  EXPECT_FALSE(file_.InputLine(line));
  EXPECT_FALSE(Error().empty());
  EXPECT_FALSE(file_.StartUnicode());
  EXPECT_EQ(file_.FileSize(), 0);
  EXPECT_EQ(file_.ModifyDateTime(), 0);
  EXPECT_FALSE(folder_.Exists(u"a"));
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
  EXPECT_EQ(ReadBytes(0x7FFFFFFE, 5).size(), 1u);
  EXPECT_EQ(file_.CurrentPos(), 0x7FFFFFFF);
  file_.CloseFile();
  ASSERT_TRUE(file_.OpenFile(u"huge", u"W", {}));
  EXPECT_EQ(WriteBytes("abc", 0x7FFFFFFE), 0);
  EXPECT_TRUE(Error().ends_with(u" (223)"));
}

TEST_F(cFileIOTest, ValidatingCreatesWhatIsMissingAndKeepsTheRest) {
  file_.ValidateDirectory(folder_.File(u"x\\y\u65E5/z"));
  EXPECT_EQ(Error(), u"");
  EXPECT_TRUE(folder_.Exists(u"x\\y\u65E5\\z"));
  file_.ValidateDirectory(folder_.File(u"x\\"));
  EXPECT_EQ(Error(), u"");

  file_.SetFullFileName(folder_.File(u"own\\a"));
  file_.ValidateDirectory({});
  EXPECT_TRUE(folder_.Exists(u"own"));

  file_.ValidateFile(folder_.File(u"own\\a"));
  EXPECT_EQ(folder_.Read(u"own\\a"), "");
  folder_.Write(u"own\\a", "abc");
  file_.ValidateFile({});
  EXPECT_EQ(folder_.Read(u"own\\a"), "abc");
  EXPECT_FALSE(file_.IsOpen());

  file_.ValidateDirectory(folder_.File(u"own\\a\\b"));
  EXPECT_TRUE(Error().starts_with(u"modMain.ValidateDirectory():")) << "a file is in the way";
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
  EXPECT_EQ(WriteBytes("x", -1), 1);
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

TEST_F(cFileIOTest, FilesAreRenamedReplacedAndDeleted) {
  folder_.Write(u"a", "aa");
  folder_.Write(u"b", "bb");
  file_.SetFullFileName(u"a");
  EXPECT_TRUE(file_.FileExists());
  EXPECT_FALSE(file_.RenameFile(u"b"));
  EXPECT_TRUE(Error().starts_with(u"modMain.RenameFile():"));
  EXPECT_EQ(file_.FileName(), u"a");
  for (const auto* name : {u"", u"x\\a", u"..\\a", u"a:b"}) EXPECT_FALSE(file_.RenameFile(name));
  EXPECT_TRUE(file_.RenameFile(u"c\u65E5"));
  EXPECT_EQ(Error(), u"");
  EXPECT_EQ(file_.FileName(), u"c\u65E5");
  EXPECT_EQ(folder_.Read(u"c\u65E5"), "aa");
  {
    const Holder holder(folder_.File(u"b"));
    EXPECT_FALSE(file_.ReplaceFile(u"b"));
    EXPECT_EQ(file_.FileName(), u"c\u65E5");
  }
  EXPECT_EQ(folder_.Read(u"b"), "bb");
  EXPECT_TRUE(file_.ReplaceFile(u"b"));
  EXPECT_EQ(folder_.List(), u"b ");
  EXPECT_EQ(folder_.Read(u"b"), "aa");

  ASSERT_TRUE(file_.OpenFile({}, u"R", {}));
  EXPECT_TRUE(file_.DeleteFile()) << "an open one is closed first";
  EXPECT_FALSE(file_.IsOpen());
  EXPECT_FALSE(file_.FileExists());
  EXPECT_FALSE(file_.DeleteFile());
  EXPECT_TRUE(Error().starts_with(u"modMain.DeleteFile():"));
}

TEST_F(cFileIOTest, FilesAreCopiedMovedAndRecycled) {
  ASSERT_TRUE(file_.OpenFile(u"a\u65E5", u"RW", {}));
  WriteBytes("aa", 0);
  EXPECT_TRUE(file_.CopyFile(folder_.File(u"copies\\deep")));
  EXPECT_EQ(folder_.Read(u"copies\\deep\\a\u65E5"), "aa");
  EXPECT_EQ(file_.FilePath(), folder_.path());

  folder_.Write(u"a\u65E5", "bb");
  EXPECT_TRUE(file_.MoveFile(folder_.path() + u"\\")) << "there it is already";
  EXPECT_EQ(folder_.Read(u"a\u65E5"), "bb");
  EXPECT_TRUE(file_.MoveFile(folder_.File(u"copies\\deep")));
  EXPECT_EQ(folder_.List(), u"copies ");
  EXPECT_EQ(folder_.Read(u"copies\\deep\\a\u65E5"), "bb");
  EXPECT_TRUE(file_.FileExists());

  EXPECT_TRUE(file_.Recycle(RecycleAction::kRecycle, false));
  EXPECT_FALSE(file_.FileExists());
  EXPECT_FALSE(file_.Recycle(RecycleAction::kDelete, false));
  EXPECT_FALSE(file_.CopyFile(folder_.path()));
  EXPECT_FALSE(file_.MoveFile(folder_.path()));
  EXPECT_TRUE(Error().starts_with(u"modMain.MoveFile():"));
  file_.SetFullFileName(u"*");
  EXPECT_FALSE(file_.Recycle(RecycleAction::kDelete, false)) << "no pattern, no folder";
  EXPECT_TRUE(folder_.Exists(u"copies\\deep"));
}

TEST_F(cFileIOTest, LinesAreReadWhateverEndsThem) {
  const std::u16string longest(70'000, u'x');  // beyond one read-ahead
  const struct {
    std::u16string text;
    std::vector<std::u16string> lines;
  } kCases[] = {
      {u"", {}},
      {u"a", {u"a"}},
      {u"a\r\n", {u"a"}},
      {u"a\r\nb\nc", {u"a", u"b", u"c"}},
      {u"\r\n\n", {u"", u""}},
      {u"a\rb\r\r\n", {u"a\rb\r"}},
      {u"\u20AC\u00FC\r\n", {u"\u20AC\u00FC"}},
      {longest + u"\r\n" + longest + u"\nz", {longest, longest, u"z"}},
  };
  for (const auto& test : kCases) {
    for (const bool unicode : {false, true}) {
      const Bytes ansi = AnsiCodePage::Windows1252().Encode(test.text);
      folder_.Write(u"t",
                    unicode ? Utf16File(test.text)
                            : std::string(reinterpret_cast<const char*>(ansi.data()), ansi.size()));
      ASSERT_TRUE(file_.OpenFile(u"t", u"R", {}));
      std::vector<std::u16string> lines;
      for (std::u16string line; file_.InputLine(line);) lines.push_back(line);
      EXPECT_TRUE(lines == test.lines) << ToUtf8(test.text).substr(0, 20) << unicode;
      EXPECT_EQ(Error(), u"");
      EXPECT_TRUE(file_.IsEOF());
      file_.CloseFile();
    }
  }
}

TEST_F(cFileIOTest, UtfUnitsThatLookLikeLineFeedsAreText) {
  folder_.Write(u"t", Utf16File(u"\u0A0A\u010A\u0A00\nb") + "x");
  ASSERT_TRUE(file_.OpenFile(u"t", u"R", {}));
  std::u16string line;
  EXPECT_TRUE(file_.InputLine(line));
  EXPECT_EQ(line, u"\u0A0A\u010A\u0A00");
  EXPECT_TRUE(file_.InputLine(line));
  EXPECT_EQ(line, u"b\uFFFD") << "half a unit";
}

TEST_F(cFileIOTest, LinesFollowTheCursorAndWrites) {
  folder_.Write(u"t", "one\r\ntwo\r\nthree");
  ASSERT_TRUE(file_.OpenFile(u"t", u"RW", {}));
  std::u16string line;
  EXPECT_TRUE(file_.InputLine(line));
  EXPECT_EQ(file_.CurrentPos(), 5);
  EXPECT_EQ(WriteBytes("TWO", -1), 3);
  file_.SetCursorPos(5);
  EXPECT_TRUE(file_.InputLine(line));
  EXPECT_EQ(line, u"TWO");
  EXPECT_EQ(file_.ReadAllData(), u"three");
  EXPECT_TRUE(file_.PrintLine(u"!"));
  file_.CloseFile();
  EXPECT_EQ(folder_.Read(u"t"), "one\r\nTWO\r\nthree!\r\n");
}

TEST_F(cFileIOTest, TextIsConvertedAsTheFileAndTheOptionSay) {
  const std::u16string text = u"\u20AC\u65E5";
  ASSERT_TRUE(file_.OpenFile(u"a", u"RW", {}));
  EXPECT_TRUE(file_.PrintLine(text));
  EXPECT_EQ(file_.WriteData(text, -1, u"X"), 2);
  EXPECT_FALSE(file_.StartUnicode()) << "the file has text already";
  file_.Reset();
  EXPECT_EQ(file_.ReadAllData(), u"\u20AC?\r\n??");
  std::u16string read;
  EXPECT_EQ(file_.ReadData(read, 0, 1, u"X"), 1);
  EXPECT_EQ(read, u"\u0080");

  ASSERT_TRUE(file_.OpenFile(u"u", u"RW", {}));
  EXPECT_TRUE(file_.StartUnicode());
  EXPECT_TRUE(file_.PrintLine(text));
  EXPECT_EQ(file_.WriteData(u"z", -1, u"A"), 1);
  file_.CloseFile();
  EXPECT_EQ(folder_.Read(u"u"), Utf16File(text + u"\r\n") + "z");
  ASSERT_TRUE(file_.OpenFile({}, u"R", {}));
  EXPECT_TRUE(file_.IsUnicode());
  EXPECT_EQ(file_.ReadData(read, 0, 4), 4);
  EXPECT_EQ(read, text);
}

TEST_F(cFileIOTest, TimesAreLocalAndToTheSecond) {
  const Date summer = ToDate({2003, 7, 14, 15, 30, 59});
  const Date winter = ToDate({1999, 12, 31, 23, 59, 58});
  ASSERT_TRUE(file_.OpenFile(u"a", u"RW", {}));
  EXPECT_NEAR(file_.ModifyDateTime(), SystemClock().Now(), 5.0 / 86400);
  file_.SetCreateDateTime(winter);
  file_.SetModifyDateTime(summer);
  EXPECT_EQ(Error(), u"");
  EXPECT_EQ(FormatDate(file_.ModifyDateTime()), FormatDate(summer));
  file_.CloseFile();
  ASSERT_TRUE(file_.OpenFile({}, u"W", {}));
  EXPECT_EQ(FormatDate(file_.ModifyDateTime()), FormatDate(summer));
  for (const double date : {-1e9, 1e9, std::nan(""), ToDate({1500, 1, 1})}) {
    file_.SetModifyDateTime(date);
    EXPECT_FALSE(Error().empty()) << date;
  }
  EXPECT_EQ(FormatDate(file_.ModifyDateTime()), FormatDate(summer));
}

}  // namespace
}  // namespace pylon

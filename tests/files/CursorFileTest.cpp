#include "tests/files/CursorFileTest.h"

#include <cmath>

#include "tests/support/FileText.h"
#include "tests/support/MemoryDisk.h"

namespace pylon::testing {
namespace {

class MemoryPlace final : public FilePlace {
 public:
  MemoryPlace() { disk_.folders = {u"\\", u"\\pc", folder()}; }
  std::unique_ptr<CursorFile> NewFile() override {
    return std::make_unique<MemoryCursorFile>(disk_);
  }
  std::u16string folder() const override { return u"\\test"; }
  bool Exists(std::u16string_view name) override {
    return disk_.files.contains(File(name)) || disk_.folders.contains(File(name));
  }
  std::string Read(std::u16string_view name) override { return disk_.Text(File(name)); }
  void Write(std::u16string_view name, std::string_view bytes) override {
    disk_.Put(File(name), bytes);
  }
  void Delete(std::u16string_view name) override { disk_.files.erase(File(name)); }
  Date Now() override { return ToDate(MemoryDisk::File().modified); }

 private:
  MemoryDisk disk_;
};

INSTANTIATE_TEST_SUITE_P(Memory, CursorFileTest,
                         ::testing::Values(PlaceKind{
                             "Memory", [] { return std::make_unique<MemoryPlace>(); }}),
                         PlaceName);

// What only the calls show.
TEST(CursorFile, LeavesTheLengthAndTheLineWhereTheyAre) {
  MemoryDisk disk;
  disk.Put(u"\\a", std::string(70'000, 'x') + "\r\n");  // more than one read-ahead
  MemoryCursorFile file(disk);
  ASSERT_TRUE(file.OpenFile(u"a", u"RW", {}));
  disk.FailNth("Read", 2);
  std::u16string line;
  EXPECT_FALSE(file.InputLine(line));
  EXPECT_EQ(file.CurrentPos(), 0);
  EXPECT_TRUE(file.InputLine(line));
  EXPECT_EQ(line.size(), 70'000U);
  EXPECT_TRUE(file.CloseFile());
  EXPECT_EQ(std::ranges::count(disk.calls, "EndAt"), 0) << "it ends there already";
  EXPECT_EQ(std::ranges::count(disk.calls, "Flush"), 1);
}

TEST(CursorFile, ATemporaryFileIsThereWhileItIsOpen) {
  MemoryDisk disk;
  MemoryCursorFile file(disk);
  ASSERT_TRUE(file.OpenTempFile({}, u"\\pc", u"abc"));
  EXPECT_TRUE(file.FileExists());
  EXPECT_EQ(disk.files.size(), 1u);
}

}  // namespace

TEST_P(CursorFileTest, NamesAreSplitAndJoined) {
  EXPECT_EQ(file_->FilePath(), place_->folder());
  file_->SetFullFileName(u"bare.txt");
  EXPECT_EQ(file_->FullFileName(), place_->File(u"bare.txt"));
  file_->SetFullFileName(u"C:\\a\\b.pdb");
  EXPECT_EQ(file_->FullFileName(), u"C:\\a\\\\b.pdb");
  EXPECT_EQ(file_->FileNameNoExt() + u"|" + file_->FileExt(), u"b|pdb");
  file_->SetFullFileName(u"c.txt");
  file_->SetFileExt(u"bak");
  EXPECT_EQ(file_->FilePath() + u"|" + file_->FileName(), u"C:\\a\\|c.bak");
  file_->SetFilePath(u"");
  file_->SetFullFileName(u"d.txt");
  EXPECT_EQ(file_->FilePath(), place_->NewFile()->FilePath());
}

TEST_P(CursorFileTest, ModesDecideWhatIsCreatedAndAllowed) {
  const struct {
    std::u16string mode;
    bool creates, reads, writes;
  } kCases[] = {{u"R", false, true, false}, {u"rw", false, true, false}, {u"", true, true, true},
                {u"RW", true, true, true},  {u"WR", true, true, true},   {u"W", true, false, true}};
  for (const auto& test : kCases) {
    file_->CloseFile();
    place_->Delete(u"new");
    EXPECT_EQ(file_->OpenFile(u"new", test.mode, {}), test.creates) << ToUtf8(test.mode);
    EXPECT_EQ(file_->IsOpen(), test.creates);
    EXPECT_EQ(place_->Exists(u"new"), test.creates);
    EXPECT_EQ(Error().starts_with(u"modMain.OpenFile(" + place_->File(u"new") + u"): "),
              !test.creates);
    file_->CloseFile();

    place_->Write(u"new", "abc");
    ASSERT_TRUE(file_->OpenFile({}, test.mode, {}));
    EXPECT_EQ(file_->CurrentPos(), 0);
    const bool emptied = test.mode == u"W" && place_->empties_at_open();
    EXPECT_EQ(file_->FileSize(), emptied ? 0 : 3);
    EXPECT_EQ(Read(1, 1), test.reads ? "b" : "");
    EXPECT_EQ(Error().starts_with(u"modMain.ReadData():"), !test.reads);
    EXPECT_EQ(Write("X", 2), test.writes ? 1 : 0);
    EXPECT_EQ(Error().starts_with(u"modMain.WriteData():"), !test.writes);
    EXPECT_TRUE(file_->CloseFile());
    const std::string rewritten = emptied ? std::string("\0\0X", 3) : "abX";
    EXPECT_EQ(place_->Read(u"new"), test.writes ? rewritten : "abc");
  }
}

TEST_P(CursorFileTest, ReadsAndWritesAtTheCursorOrAnOffset) {
  ASSERT_TRUE(file_->OpenFile(u"a", u"RW", {}));
  const struct {
    int32_t offset;
    std::string_view written, read;
    int32_t count, cursor;
  } steps[] = {{-1, "0123456789", "", 0, 10},
               {3, "ab", "", 0, 5},
               {-1, "c", "", 0, 6},
               {0, "", "012ab", 5, 5},
               {-1, "", "c6789", 99, 10},
               {-1, "", "", 1, 10},
               {2, "", "", 0, 2},
               {2, "", "", -5, 2},
               {100, "", "", 5, 100},
               {-7, "", "01", 2, 2}};
  for (const auto& step : steps) {
    SCOPED_TRACE(&step - steps);
    if (step.written.empty()) {
      EXPECT_EQ(Read(step.offset, step.count), step.read);
    } else {
      EXPECT_EQ(Write(step.written, step.offset), static_cast<int32_t>(step.written.size()));
    }
    EXPECT_EQ(file_->CurrentPos(), step.cursor);
    EXPECT_EQ(file_->IsEOF(), step.cursor >= 10);
    EXPECT_EQ(Error(), u"");
  }
  file_->Reset();
  EXPECT_EQ(file_->CurrentPos(), 0);
  file_->SetCursorPos(12);
  EXPECT_EQ(file_->FileSize(), 10);
  EXPECT_EQ(Write("z", -1), 1);
  EXPECT_TRUE(file_->CloseFile());
  EXPECT_EQ(place_->Read(u"a"), std::string("012abc6789\0\0z", 13));
}

TEST_P(CursorFileTest, MegabytesMoveInOneCall) {
  std::string big;
  big.resize(40'000'001);
  for (size_t i = 0; i < big.size(); i += 4093) big[i] = static_cast<char>(i);
  ASSERT_TRUE(file_->OpenFile(u"big", u"RW", {}));
  EXPECT_EQ(Write(big, 0), static_cast<int32_t>(big.size()));
  EXPECT_TRUE(Read(0, 1 << 30) == big);
}

TEST_P(CursorFileTest, ClosingCutsWritableFilesAtTheCursor) {
  const std::string old(100, 'x');
  place_->Write(u"a", old);
  ASSERT_TRUE(file_->OpenFile(u"a", u"RW", {}));
  Write("0123456789", 0);
  EXPECT_TRUE(file_->CloseFile());
  EXPECT_FALSE(file_->IsOpen());
  EXPECT_EQ(place_->Read(u"a"), "0123456789");

  place_->Write(u"a", old);
  ASSERT_TRUE(file_->OpenFile(u"a", u"R", {}));
  Read(0, 5);
  EXPECT_TRUE(file_->CloseFile());
  EXPECT_EQ(place_->Read(u"a"), old);

  ASSERT_TRUE(file_->OpenFile(u"a", u"RW", {}));
  file_->SetCursorPos(-2);
  EXPECT_FALSE(file_->CloseFile()) << "there is no such place to end the file at";
  EXPECT_TRUE(Error().starts_with(u"modMain.CloseFile():"));
  EXPECT_FALSE(file_->IsOpen());
  EXPECT_EQ(place_->Read(u"a"), old);

  {
    const auto forgotten = place_->NewFile();
    ASSERT_TRUE(forgotten->OpenFile(place_->File(u"a"), u"RW", {}));
    forgotten->WriteByteArray(ToBytes("yy"), 0, {});
  }
  EXPECT_EQ(place_->Read(u"a"), "yy");
}

TEST_P(CursorFileTest, NobodyElseOpensAFileUntilItClosesOrItsObjectOpensAnother) {
  const auto other = place_->NewFile();
  ASSERT_TRUE(file_->OpenFile(u"a", u"RW", {}));
  Write("abc", 0);
  EXPECT_FALSE(other->OpenFile(place_->File(u"a"), u"R", {}));
  ASSERT_TRUE(file_->OpenFile(u"b", u"RW", {}));
  EXPECT_TRUE(other->OpenFile(place_->File(u"a"), u"R", {}));
  EXPECT_EQ(ReadBytes(*other, 0, 9), "abc");
}

TEST_P(CursorFileTest, TheByteOrderMarkIsSteppedOver) {
  place_->Write(u"u", Utf16File(u"ab"));
  ASSERT_TRUE(file_->OpenFile(u"u", u"RW", {}));
  EXPECT_TRUE(file_->IsUnicode());
  EXPECT_EQ(Read(0, 2), std::string("a\0", 2));
  EXPECT_EQ(Write("XYZ", 0), 3);
  EXPECT_EQ(file_->CurrentPos(), 5);
  EXPECT_TRUE(file_->CloseFile());
  EXPECT_EQ(place_->Read(u"u"), "\xFF\xFEXYZ");

  ASSERT_TRUE(file_->OpenFile(u"u", u"W", {}));
  EXPECT_FALSE(file_->IsUnicode()) << "unknown without reading";
  EXPECT_EQ(file_->CurrentPos(), 0);
  file_->CloseFile();
  place_->Write(u"u", "\xFF");
  ASSERT_TRUE(file_->OpenFile(u"u", u"R", {}));
  EXPECT_FALSE(file_->IsUnicode());
}

TEST_P(CursorFileTest, OperationsOnAClosedFileFail) {
  file_->SetFullFileName(u"a");
  EXPECT_EQ(Read(0, 5), "");
  EXPECT_TRUE(Error().starts_with(u"modMain.ReadData():"));
  EXPECT_EQ(Write("a", 0), 0);
  EXPECT_TRUE(Error().starts_with(u"modMain.WriteData():"));
  std::u16string line;
  EXPECT_FALSE(file_->PrintLine(u"a") || file_->InputLine(line) || file_->StartUnicode());
  EXPECT_EQ(file_->FileSize(), 0);
  EXPECT_EQ(file_->ModifyDateTime(), 0);
  EXPECT_FALSE(place_->Exists(u"a"));
}

TEST_P(CursorFileTest, ValidatingCreatesWhatIsMissingAndKeepsTheRest) {
  file_->ValidateDirectory(place_->File(u"x\\y\u65E5/z"));
  EXPECT_EQ(Error(), u"");
  EXPECT_TRUE(place_->Exists(u"x\\y\u65E5\\z"));
  file_->ValidateDirectory(place_->File(u"x\\"));
  EXPECT_EQ(Error(), u"");

  file_->SetFullFileName(place_->File(u"own\\a"));
  file_->ValidateDirectory({});
  EXPECT_TRUE(place_->Exists(u"own"));

  file_->ValidateFile(place_->File(u"own\\a"));
  EXPECT_EQ(place_->Read(u"own\\a"), "");
  place_->Write(u"own\\a", "abc");
  file_->ValidateFile({});
  EXPECT_EQ(place_->Read(u"own\\a"), "abc");
  EXPECT_FALSE(file_->IsOpen());

  file_->ValidateDirectory(place_->File(u"own\\a\\b"));
  EXPECT_TRUE(Error().starts_with(u"modMain.ValidateDirectory():")) << "a file is in the way";
}

TEST_P(CursorFileTest, FilesAreRenamedReplacedAndDeleted) {
  place_->Write(u"a", "aa");
  place_->Write(u"b", "bb");
  file_->SetFullFileName(u"a");
  EXPECT_TRUE(file_->FileExists());
  EXPECT_FALSE(file_->RenameFile(u"b"));
  EXPECT_TRUE(Error().starts_with(u"modMain.RenameFile():"));
  EXPECT_EQ(file_->FileName(), u"a");
  for (const auto* name : {u"", u"x\\a", u"..\\a", u"a:b"}) EXPECT_FALSE(file_->RenameFile(name));
  EXPECT_TRUE(file_->RenameFile(u"c\u65E5"));
  EXPECT_EQ(Error(), u"");
  EXPECT_EQ(file_->FileName(), u"c\u65E5");
  EXPECT_EQ(place_->Read(u"c\u65E5"), "aa");
  {
    const auto holder = place_->NewFile();
    ASSERT_TRUE(holder->OpenFile(place_->File(u"b"), u"R", {}));
    EXPECT_FALSE(file_->ReplaceFile(u"b"));
    EXPECT_EQ(file_->FileName(), u"c\u65E5");
  }
  EXPECT_EQ(place_->Read(u"b"), "bb");
  EXPECT_TRUE(file_->ReplaceFile(u"b"));
  EXPECT_FALSE(place_->Exists(u"c\u65E5"));
  EXPECT_EQ(place_->Read(u"b"), "aa");

  ASSERT_TRUE(file_->OpenFile({}, u"R", {}));
  EXPECT_TRUE(file_->DeleteFile()) << "an open one is closed first";
  EXPECT_FALSE(file_->IsOpen());
  EXPECT_FALSE(file_->FileExists());
  EXPECT_FALSE(file_->DeleteFile());
  EXPECT_TRUE(Error().starts_with(u"modMain.DeleteFile():"));
}

TEST_P(CursorFileTest, FilesAreCopiedAndMoved) {
  ASSERT_TRUE(file_->OpenFile(u"a\u65E5", u"RW", {}));
  Write("aa", 0);
  EXPECT_TRUE(file_->CopyFile(place_->File(u"copies\\deep")));
  EXPECT_EQ(place_->Read(u"copies\\deep\\a\u65E5"), "aa");
  EXPECT_EQ(file_->FilePath(), place_->folder());

  place_->Write(u"a\u65E5", "bb");
  EXPECT_TRUE(file_->MoveFile(place_->folder() + u"\\")) << "there it is already";
  EXPECT_EQ(place_->Read(u"a\u65E5"), "bb");
  EXPECT_TRUE(file_->MoveFile(place_->File(u"copies\\deep")));
  EXPECT_FALSE(place_->Exists(u"a\u65E5"));
  EXPECT_EQ(place_->Read(u"copies\\deep\\a\u65E5"), "bb");
  EXPECT_TRUE(file_->FileExists());

  EXPECT_TRUE(file_->DeleteFile());
  EXPECT_FALSE(file_->CopyFile(place_->folder()));
  EXPECT_FALSE(file_->MoveFile(place_->folder()));
  EXPECT_TRUE(Error().starts_with(u"modMain.MoveFile():"));
}

TEST_P(CursorFileTest, LinesAreReadWhateverEndsThem) {
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
      {u"\u0A0A\u010A\u0A00\nb", {u"\u0A0A\u010A\u0A00", u"b"}},  // no line feeds in UTF-16
      {longest + u"\r\n" + longest + u"\nz", {longest, longest, u"z"}}};
  for (const auto& test : kCases) {
    for (const bool unicode : {false, true}) {
      if (!unicode && !AnsiCodePage::Windows1252().Holds(test.text)) continue;
      place_->Write(u"t", unicode ? Utf16File(test.text)
                                  : TextOf(AnsiCodePage::Windows1252().Encode(test.text)));
      ASSERT_TRUE(file_->OpenFile(u"t", u"R", {}));
      std::vector<std::u16string> lines;
      for (std::u16string line; lines.size() < 10 && file_->InputLine(line);) lines.push_back(line);
      EXPECT_TRUE(lines == test.lines) << ToUtf8(test.text).substr(0, 20) << unicode;
      EXPECT_EQ(Error(), u"");
      EXPECT_TRUE(file_->IsEOF());
      file_->CloseFile();
    }
  }
}

TEST_P(CursorFileTest, LinesFollowTheCursorAndWrites) {
  place_->Write(u"t", "one\r\ntwo\r\nthree");
  ASSERT_TRUE(file_->OpenFile(u"t", u"RW", {}));
  std::u16string line;
  EXPECT_TRUE(file_->InputLine(line));
  EXPECT_EQ(file_->CurrentPos(), 5);
  EXPECT_EQ(Write("TWO", -1), 3);
  file_->SetCursorPos(5);
  EXPECT_TRUE(file_->InputLine(line));
  EXPECT_EQ(line, u"TWO");
  EXPECT_EQ(file_->ReadAllData(), u"three");
  EXPECT_TRUE(file_->PrintLine(u"!"));
  file_->CloseFile();
  EXPECT_EQ(place_->Read(u"t"), "one\r\nTWO\r\nthree!\r\n");
}

TEST_P(CursorFileTest, TextIsConvertedAsTheFileAndTheOptionSay) {
  const std::u16string text = u"\u20AC\u65E5";
  ASSERT_TRUE(file_->OpenFile(u"a", u"RW", {}));
  EXPECT_TRUE(file_->PrintLine(text));
  EXPECT_EQ(file_->WriteData(text, -1, u"X"), 2);
  EXPECT_FALSE(file_->StartUnicode()) << "the file has text already";
  file_->Reset();
  EXPECT_EQ(file_->ReadAllData(), u"\u20AC?\r\n??");
  std::u16string read;
  EXPECT_EQ(file_->ReadData(read, 0, 1, u"X"), 1);
  EXPECT_EQ(read, u"\u0080");

  ASSERT_TRUE(file_->OpenFile(u"u", u"RW", {}));
  EXPECT_TRUE(file_->StartUnicode() && file_->PrintLine(text));
  EXPECT_EQ(file_->WriteData(u"z", -1, u"A"), 1);
  file_->CloseFile();
  EXPECT_EQ(place_->Read(u"u"), Utf16File(text + u"\r\n") + "z");
  ASSERT_TRUE(file_->OpenFile({}, u"R", {}));
  EXPECT_EQ(file_->ReadAllData(), text + u"\r\n\uFFFD") << "half a unit";
}

TEST_P(CursorFileTest, TimesAreLocalAndToTheSecond) {
  const Date summer = ToDate({2003, 7, 14, 15, 30, 59});
  const Date winter = ToDate({1999, 12, 31, 23, 59, 58});
  ASSERT_TRUE(file_->OpenFile(u"a", u"RW", {}));
  EXPECT_NEAR(file_->ModifyDateTime(), place_->Now(), 5.0 / 86400);
  file_->SetCreateDateTime(winter);
  file_->SetModifyDateTime(summer);
  EXPECT_EQ(Error(), u"");
  EXPECT_EQ(FormatDate(file_->ModifyDateTime()), FormatDate(summer));
  file_->CloseFile();
  ASSERT_TRUE(file_->OpenFile({}, u"RW", {}));
  EXPECT_EQ(FormatDate(file_->ModifyDateTime()), FormatDate(summer));
  for (const double date : {-1e9, 1e9, std::nan(""), ToDate({1500, 1, 1})}) {
    file_->SetModifyDateTime(date);
    EXPECT_FALSE(Error().empty()) << date;
  }
  EXPECT_EQ(FormatDate(file_->ModifyDateTime()), FormatDate(summer));
}

}  // namespace pylon::testing

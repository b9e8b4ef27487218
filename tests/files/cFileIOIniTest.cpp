#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "files/cFileIO.h"
#include "tests/files/CursorFileTest.h"
#include "tests/files/TempFolder.h"

namespace pylon {
namespace {

using namespace std::literals;
using pylon::testing::Holder;
using pylon::testing::PendingError;
using pylon::testing::TempFolder;
using pylon::testing::Utf16File;
using ::testing::StartsWith;

class cFileIOIniTest : public ::testing::Test {
 protected:
  cFileIOIniTest() { file_.SetFullFileName(u"a.ini"); }

  std::u16string Read(std::u16string_view key) { return file_.ReadINI(u"S", key, u"none"); }

  TempFolder folder_;
  cFileIO file_{folder_.path(), AnsiCodePage::Windows1252()};
};

TEST_F(cFileIOIniTest, ReadsEveryKindOfFile) {
  const std::u16string text =
      u"; comment\r\n[Other]\r\nk=other\r\n[S]\r\nk=value\r\n  b  =  two words  \r\nempty=\r\n"
      u"q=\"quoted\"\r\nu=\u00FC=\u20AC\r\nlast=z";
  std::u16string bare;
  for (const char16_t c : text) {
    if (c != u'\r') bare += c;
  }
  const auto ansi = [](const std::u16string& lines) {
    return testing::TextOf(AnsiCodePage::Windows1252().Encode(lines));
  };
  for (const std::string& bytes : {ansi(text), ansi(bare), Utf16File(text), Utf16File(bare)}) {
    file_.DeleteFile();
    folder_.Write(u"a.ini", bytes);
    EXPECT_EQ(Read(u"k"), u"value");
    EXPECT_EQ(file_.ReadINI(u"s", u"K", {}), u"value") << "no case";
    EXPECT_EQ(Read(u"b"), u"two words");
    EXPECT_EQ(Read(u"empty"), u"");
    EXPECT_EQ(Read(u"q"), u"quoted");
    EXPECT_EQ(Read(u"last"), u"z");
    if (bytes[0] == '\xFF' || ::GetACP() == 1252) {
      EXPECT_EQ(Read(u"u"), u"\u00FC=\u20AC");
    }
    EXPECT_EQ(file_.ReadINI(u"S", u"missing", u" as given "), u" as given ");
    EXPECT_EQ(file_.ReadINI(u"missing", u"k", u"d"), u"d");
    EXPECT_EQ(file_.ReadINI(u"", u"k", u"d"), u"d");
    EXPECT_EQ(file_.ReadINI(u"S", u"", u"d"), u"d");

    const std::vector<IniEntry> entries = file_.ReadINISection(u"S");
    ASSERT_EQ(entries.size(), 6u);
    EXPECT_EQ(entries[1].key, u"b");
    EXPECT_EQ(entries[1].value, u"two words");
    EXPECT_EQ(entries[3].value, u"quoted");
    EXPECT_TRUE(file_.ReadINISection(u"missing").empty());
  }
  file_.DeleteFile();
  EXPECT_EQ(Read(u"k"), u"none");
  EXPECT_FALSE(folder_.Exists(u"a.ini"));
}

TEST_F(cFileIOIniTest, WhatIsWrittenReadsBack) {
  const std::u16string longest(20'000, u'v');
  for (const std::u16string_view value :
       {u"plain"sv, u""sv, u"\"quoted\""sv, u"'quoted'"sv, u"\""sv, u"\"\""sv, u"\"a'"sv,
        u"a=b;c]"sv, u"[x]"sv, u"C:\\My Files\\x"sv, u"\u65E5\u672C"sv, u"\u00FC\u20AC"sv,
        std::u16string_view(longest)}) {
    for (const bool fresh : {true, false}) {
      if (fresh) ::DeleteFileW(Wide(folder_.File(u"a.ini")));
      EXPECT_TRUE(file_.WriteIni(u"S", u"k", value)) << ToUtf8(value);
      EXPECT_EQ(Read(u"k"), value) << fresh;
      const std::vector<IniEntry> entries = file_.ReadINISection(u"S");
      ASSERT_EQ(entries.size(), 1u);
      EXPECT_EQ(entries[0].value, value);
    }
  }
  EXPECT_EQ(folder_.List(), u"a.ini ");
}

TEST_F(cFileIOIniTest, AFileBecomesUtf16WhenTheTextNeedsIt) {
  ASSERT_TRUE(file_.WriteIni(u"S", u"k", u"v"));
  EXPECT_THAT(folder_.Read(u"a.ini"), StartsWith("[S]"));
  folder_.Write(u"a.ini", "; kept\r\n[Other]\r\nx=\"1\"\r\n[S]\r\nk=v\r\ng=gr\xFCn\r\n");
  const std::u16string before = Read(u"g");
  ASSERT_TRUE(file_.WriteIni(u"S", u"j", u"\u65E5"));
  EXPECT_THAT(folder_.Read(u"a.ini"), StartsWith(Utf16File(u"; kept\r\n[Other]\r\nx=\"1\"\r\n")));
  EXPECT_EQ(Read(u"k"), u"v");
  EXPECT_EQ(Read(u"g"), before);
  EXPECT_EQ(Read(u"j"), u"\u65E5");
  ASSERT_TRUE(file_.WriteIni(u"\u65E5", u"\u672C", u"v"));
  EXPECT_EQ(file_.ReadINI(u"\u65E5", u"\u672C", {}), u"v");
  EXPECT_EQ(folder_.List(), u"a.ini ");
}

TEST_F(cFileIOIniTest, KeysAndSectionsAreDeletedAndOthersNeverDamaged) {
  EXPECT_TRUE(file_.DeleteIni(u"S", u"k"));
  EXPECT_TRUE(file_.DeleteIniAll(u"S"));
  EXPECT_FALSE(folder_.Exists(u"a.ini")) << "nothing to delete";
  const std::string text = "[S]\r\nk=1\r\nl=2\r\n[T]\r\nm=3\r\n";
  folder_.Write(u"a.ini", text);
  for (const auto* section : {u"", u"S]"}) EXPECT_FALSE(file_.WriteIni(section, u"k", u"v"));
  for (const auto* key : {u"", u"k=l"}) EXPECT_FALSE(file_.WriteIni(u"S", key, u"v"));
  EXPECT_FALSE(file_.WriteIni(u"S", u"k", u"a\r\nb=c"));
  EXPECT_FALSE(file_.DeleteIni(u"S", u"") || file_.DeleteIniAll(u""));
  EXPECT_EQ(folder_.Read(u"a.ini"), text);
  EXPECT_TRUE(file_.DeleteIni(u"S", u"k"));
  EXPECT_EQ(Read(u"k"), u"none");
  EXPECT_EQ(Read(u"l"), u"2");
  EXPECT_TRUE(file_.DeleteIniAll(u"S"));
  EXPECT_EQ(Read(u"l"), u"none");
  EXPECT_EQ(file_.ReadINI(u"T", u"m", {}), u"3");
}

TEST_F(cFileIOIniTest, AHeldFileIsWaitedForBriefly) {
  folder_.Write(u"a.ini", "[S]\r\nk=v\r\n");
  for (const bool reads : {true, false}) {
    Holder holder(folder_.File(u"a.ini"));
    holder.ReleaseIn(100);
    EXPECT_TRUE(reads ? Read(u"k") == u"v" : file_.WriteIni(u"S", u"l", u"w"));
  }
  EXPECT_EQ(Read(u"l"), u"w");
  {
    const Holder holder(folder_.File(u"a.ini"));
    EXPECT_FALSE(file_.WriteIni(u"S", u"k", u"lost"));
    EXPECT_TRUE(PendingError(file_).ends_with(u" (32)"));
    const ULONGLONG start = ::GetTickCount64();
    for (int i = 0; i < 20; ++i) EXPECT_FALSE(file_.WriteIni(u"S", u"\u65E5", u"lost"));
    EXPECT_LT(::GetTickCount64() - start, 5000u) << "one wait, not one each";
    EXPECT_EQ(Read(u"k"), u"none");
    EXPECT_FALSE(file_.DeleteIni(u"S", u"k"));
  }
  EXPECT_EQ(folder_.Read(u"a.ini"), "[S]\r\nk=v\r\nl=w\r\n");
  EXPECT_EQ(Read(u"k"), u"v");
}

TEST_F(cFileIOIniTest, FilesThatCannotBeWrittenSaySo) {
  ::CreateDirectoryW(Wide(folder_.File(u"a.ini")), nullptr);
  for (const auto* name : {u"no such folder\\a.ini", u"a.ini"}) {
    file_.SetFullFileName(folder_.File(name));
    EXPECT_FALSE(file_.WriteIni(u"S", u"k", u"v"));
    EXPECT_FALSE(file_.WriteIni(u"S", u"k", u"\u65E5"));
    EXPECT_EQ(Read(u"k"), u"none");
  }
  EXPECT_EQ(folder_.List(), u"a.ini ") << "no temporary file is left";
}

TEST_F(cFileIOIniTest, AReaderNeverSeesNothingWhileOthersTakeTheFileByTurns) {
  folder_.Write(u"a.ini", "[S]\r\nk=value\r\n");
  std::atomic<bool> done = false;
  std::thread other([&] {
    cFileIO file(folder_.path(), AnsiCodePage::Windows1252());
    while (!done) {
      if (file.OpenFile(u"a.ini", u"R", {})) file.CloseFile();
      std::this_thread::yield();
    }
  });
  int missed = 0;
  for (int i = 0; i < 300; ++i) missed += Read(u"k") != u"value" ? 1 : 0;
  done = true;
  other.join();
  EXPECT_EQ(missed, 0);
}

}  // namespace
}  // namespace pylon

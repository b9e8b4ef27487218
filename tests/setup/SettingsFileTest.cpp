#include "setup/SettingsFile.h"

#include <gtest/gtest.h>

#include "base/Text.h"
#include "files/cFileIO.h"
#include "setup/Strings.h"
#include "tests/files/TempFolder.h"

namespace pylon {
namespace {

struct SettingsFileTest : ::testing::Test {
  const testing::TempFolder folder;
  const std::u16string path = folder.File(u"Pylon.ini");
  const AnsiCodePage& code_page = AnsiCodePage::Windows1252();
  const SettingsFile file{path, code_page};

  std::u16string Value(std::u16string_view section, std::u16string_view key) {
    cFileIO ini(folder.path(), code_page);
    ini.SetFullFileName(path);
    return ini.ReadINI(section, key, u"none");
  }
};

TEST_F(SettingsFileTest, EveryByteOfTheRestStaysAndAMissingFileIsMade) {
  EXPECT_FALSE(file.AddSection(u"New", {{u"ClassID", u"Lib.New"}}));
  EXPECT_EQ(Value(u"New", u"ClassID"), u"Lib.New");

  // Bytes that are no text of the code page among them.
  const std::string before = "; caf\xE9 \x81\r\n[A]\r\n x = 1 \r\n\tTab\r\n";
  folder.Write(u"Pylon.ini", before);
  EXPECT_FALSE(file.AddSection(u"New", {{u"ClassID", u"Lib.New"}, {u"PCPath", u"\"C:\\x\""}}));
  EXPECT_EQ(folder.Read(u"Pylon.ini"),
            before + "\r\n[New]\r\nClassID=Lib.New\r\nPCPath=\"\"C:\\x\"\"\r\n");
  EXPECT_EQ(ToUtf8(Value(u"New", u"PCPath")), "\"C:\\x\"");
  EXPECT_FALSE(file.RemoveSection(u"New"));
  EXPECT_EQ(folder.Read(u"Pylon.ini"), before + "\r\n");
  EXPECT_EQ(folder.List(), u"Pylon.ini ") << "nothing left beside it";
}

TEST_F(SettingsFileTest, TextBeyondTheCodePageMakesItUtf16AndItStaysThat) {
  folder.Write(u"Pylon.ini", "[A]\r\nx=\xE9\r\n");
  EXPECT_FALSE(file.AddSection(u"\u4e2d\u6587", {{u"ClassID", u"Lib.New"}}));
  EXPECT_EQ(folder.Read(u"Pylon.ini"),
            testing::Utf16File(u"[A]\r\nx=\u00e9\r\n\r\n[\u4e2d\u6587]\r\nClassID=Lib.New\r\n"));
  EXPECT_EQ(Value(u"\u4e2d\u6587", u"ClassID"), u"Lib.New");
  EXPECT_FALSE(file.RemoveSection(u"\u4e2d\u6587"));
  EXPECT_EQ(folder.Read(u"Pylon.ini"), testing::Utf16File(u"[A]\r\nx=\u00e9\r\n\r\n"));
}

TEST_F(SettingsFileTest, WhatCantBeChangedIsLeftAndTold) {
  folder.Write(u"Pylon.ini", "[A]\r\n");
  EXPECT_EQ(file.RemoveSection(u"B").id, IDS_SECTION_GONE);
  {
    testing::Holder holder(path);
    EXPECT_EQ(file.AddSection(u"New", {}).id, IDS_SYSTEM_REASON);
  }
  ::SetFileAttributesW(Wide(path), FILE_ATTRIBUTE_READONLY);
  const bool refused = static_cast<bool>(file.AddSection(u"New", {}));
  ::SetFileAttributesW(Wide(path), FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(folder.Read(u"Pylon.ini") == "[A]\r\n", refused);
  const std::string odd = "\xFF\xFE[\0A";
  folder.Write(u"Pylon.ini", odd.substr(0, 3));
  EXPECT_EQ(file.AddSection(u"New", {}).id, IDS_NOT_TEXT) << "half a character";
  EXPECT_EQ(folder.List(), u"Pylon.ini ");
}

}  // namespace
}  // namespace pylon

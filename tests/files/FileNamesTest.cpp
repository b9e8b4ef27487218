#include "files/FileNames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace pylon {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(FileNames, SplitBehindTheLastSeparator) {
  const struct {
    std::u16string text, folder, name;
  } kCases[] = {{u"C:\\a\\b.pdb", u"C:\\a\\", u"b.pdb"},
                {u"C:/a/b.pdb", u"C:/a/", u"b.pdb"},
                {u"C:\\a/b.pdb", u"C:\\a/", u"b.pdb"},
                {u"C:/a\\b.pdb", u"C:/a\\", u"b.pdb"},
                {u"b.pdb", u"", u"b.pdb"},
                {u"C:\\a\\", u"C:\\a\\", u""},
                {u"\\b.pdb", u"\\", u"b.pdb"},
                {u"", u"", u""}};
  for (const auto& test : kCases) {
    const SplitName split = SplitFullName(test.text);
    EXPECT_EQ(split.folder, test.folder);
    EXPECT_EQ(split.name, test.name);
  }
  EXPECT_EQ(JoinFullName(u"C:\\a", u"b"), u"C:\\a\\b");
  EXPECT_EQ(JoinFullName(u"C:\\a\\", u"b"), u"C:\\a\\\\b");
}

TEST(FileNames, TheExtensionIsBehindTheLastPoint) {
  const struct {
    std::u16string name, stem, extension, replaced;
  } kCases[] = {{u"b.pdb", u"b", u"pdb", u"b.bak"}, {u"a.b.pdb", u"a.b", u"pdb", u"a.b.bak"},
                {u"b", u"b", u"", u"b.bak"},        {u"b.", u"b", u"", u"b.bak"},
                {u".pdb", u"", u"pdb", u".bak"},    {u"", u"", u"", u".bak"}};
  for (const auto& test : kCases) {
    EXPECT_EQ(NameWithoutExtension(test.name), test.stem);
    EXPECT_EQ(ExtensionOf(test.name), test.extension);
    EXPECT_EQ(ReplaceExtension(test.name, u"bak"), test.replaced);
    EXPECT_EQ(ReplaceExtension(test.name, u".bak"), test.replaced);
    EXPECT_EQ(ReplaceExtension(test.name, u""), test.stem);
  }
}

TEST(FileNames, FolderLevelsBeginBelowWhatCannotBeCreated) {
  EXPECT_THAT(FolderLevels(u"C:\\x\\y"), ElementsAre(u"C:\\x\\", u"C:\\x\\y\\"));
  EXPECT_THAT(FolderLevels(u"C:/x//y/"), ElementsAre(u"C:\\x\\", u"C:\\x\\\\y\\"));
  EXPECT_THAT(FolderLevels(u"\\\\server\\share\\x\\y"),
              ElementsAre(u"\\\\server\\share\\x\\", u"\\\\server\\share\\x\\y\\"));
  EXPECT_THAT(FolderLevels(u"\\\\?\\C:\\x"), ElementsAre(u"\\\\?\\C:\\x\\"));
  EXPECT_THAT(FolderLevels(u"\\x"), ElementsAre(u"\\x\\"));
  EXPECT_THAT(FolderLevels(u"x\\y"), ElementsAre(u"x\\", u"x\\y\\"));
  for (const auto* path :
       {u"", u"C:", u"C:\\", u"\\", u"\\\\", u"\\\\server", u"\\\\server\\share"}) {
    EXPECT_THAT(FolderLevels(path), IsEmpty());
  }
}

TEST(FileNames, APathWithoutRootIsRelative) {
  for (const char16_t* path : {u"", u"x", u"data\\x", u"..\\x", u".", u"a/b:c"}) {
    EXPECT_TRUE(IsRelative(path));
  }
  for (const char16_t* path :
       {u"C:\\x", u"c:/x", u"C:", u"C:x", u"\\x", u"/x", u"\\\\server\\share", u"\\\\?\\C:\\x"}) {
    EXPECT_FALSE(IsRelative(path));
  }
}

TEST(FileNames, ADevicePathHasOneRootAndSingleSeparators) {
  const struct {
    std::u16string path, device_path;
  } kCases[] = {{u"\\My Documents\\x", u"\\My Documents\\x"},
                {u"\\\\My Documents\\\\x\\", u"\\My Documents\\x"},
                {u"/a//b/", u"\\a\\b"},
                {u"Memos", u"\\Memos"},
                {u"\\", u"\\"},
                {u"", u"\\"}};
  for (const auto& test : kCases) EXPECT_EQ(DevicePath(test.path), test.device_path);
}

TEST(FileNames, AnyTextMakesAFolderName) {
  const struct {
    std::u16string text, name;
  } kCases[] = {{u"Desk", u"Desk"},
                {u"J\u00FCrgen \u65E5\u672C", u"J\u00FCrgen \u65E5\u672C"},
                {u"<unknown>", u"_unknown_"},
                {u"a/b\\c:d*e?f\"g|h", u"a_b_c_d_e_f_g_h"},
                {std::u16string(u"a\0b\n", 4), u"a_b_"},
                {u"Desk. .", u"Desk___"},
                {u"..", u"__"},
                {u"v1.0", u"v1.0"},
                {u"", u"_"},
                {u"con", u"_con"},
                {u"NUL.txt", u"_NUL.txt"},
                {u"Aux .x", u"_Aux .x"},
                {u"COM1", u"_COM1"},
                {u"lpt\u00B2", u"_lpt\u00B2"},
                {u"COM", u"COM"},
                {u"COM10", u"COM10"},
                {u"Console", u"Console"}};
  for (const auto& test : kCases) EXPECT_EQ(FolderName(test.text), test.name);
}

}  // namespace
}  // namespace pylon

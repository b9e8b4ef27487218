#include "files/ProgramFiles.h"

#include <gtest/gtest.h>

#include "base/Text.h"
#include "base/Win32.h"

namespace pylon {
namespace {

TEST(ProgramFiles, TheProgramLiesInItsFolder) {
  const std::u16string path = ProgramPath();
  const std::u16string folder = ProgramFolder();
  EXPECT_NE(::GetFileAttributesW(Wide(path)), INVALID_FILE_ATTRIBUTES);
  EXPECT_TRUE(ToLower(path).ends_with(u".exe"));
  EXPECT_TRUE(path.starts_with(folder + u"\\"));
  EXPECT_EQ(path.find(u'\\', folder.size() + 1), std::u16string::npos);
  EXPECT_EQ(::GetFileAttributesW(Wide(folder)) & FILE_ATTRIBUTE_DIRECTORY,
            DWORD{FILE_ATTRIBUTE_DIRECTORY});
}

TEST(ProgramFiles, TheCodePageAgreesWithTheSystem) {
  const AnsiCodePage page = SystemAnsiCodePage();
  for (int byte = 0; byte < 128; ++byte) {
    EXPECT_EQ(page.Decode(static_cast<uint8_t>(byte)), static_cast<char16_t>(byte));
  }
  for (int byte = 128; byte < 256; ++byte) {
    const char16_t character = page.Decode(static_cast<uint8_t>(byte));
    EXPECT_EQ(page.TryEncode(character), static_cast<uint8_t>(byte));
    if (::GetACP() == 1252) {
      EXPECT_EQ(character, AnsiCodePage::Windows1252().Decode(static_cast<uint8_t>(byte)));
    }
  }
}

}  // namespace
}  // namespace pylon

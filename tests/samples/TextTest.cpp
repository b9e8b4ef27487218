#include "samples/common/Text.h"

#include <gtest/gtest.h>

#include "tests/samples/Latin1.h"

namespace sample {
namespace {

using namespace std::string_literals;

TEST(SampleText, FilesAreReadInAnyEncoding) {
  using enum FileText::Encoding;
  const struct {
    const char* name;
    std::string bytes;
    FileText::Encoding encoding;
    bool marked;
    bool is_text = true;
  } cases[] = {
      {"UTF-8", "\xC3\xA9\n", kUtf8, false},
      {"UTF-8 with a mark", "\xEF\xBB\xBF\xC3\xA9\n", kUtf8, true},
      {"UTF-16", "\xFF\xFE\xE9\0\n\0"s, kUtf16, true},
      {"UTF-16, the other way round", "\xFE\xFF\0\xE9\0\n"s, kUtf16, true},
      {"the code page", "\xE9\n", kCodePage, false},
      {"half a unit", "\xFF\xFE\x41", kUtf16, true, false},
      {"half a character", "\xFF\xFE\x3D\xD8\x41\0"s, kUtf16, true, false},
      {"a mark, but no UTF-8", "\xEF\xBB\xBF\xE9\n", kUtf8, true, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const FileText file = ReadFileText(c.bytes, Latin1());
    EXPECT_EQ(file.text, c.is_text ? std::optional(u"\u00E9\n"s) : std::nullopt);
    EXPECT_EQ(file.encoding, c.encoding);
    EXPECT_EQ(file.marked, c.marked);
  }
}

TEST(SampleText, EveryUnitGoesThroughTheBytesOfARecord) {
  std::u16string units;
  for (unsigned unit = 1; unit < 0x10000; ++unit) units += static_cast<char16_t>(unit);
  std::u16string reversed(units.rbegin(), units.rend());  // no pair of surrogates is in order
  EXPECT_EQ(UnitsFromBytes(UnitsToBytes(reversed)), reversed);
  EXPECT_EQ(FromUtf8(UnitsToBytes(reversed)), std::nullopt) << "halves of characters";
}

TEST(SampleText, CharactersBeyond16BitsReadInBothForms) {
  const std::u16string text = std::u16string(300, u'\u20AC') + u"\U0001F4E6";
  EXPECT_EQ(ToUtf8(text.substr(299)), "\xE2\x82\xAC\xF0\x9F\x93\xA6");
  EXPECT_EQ(UnitsToBytes(text.substr(300)), "\xED\xA0\xBD\xED\xB3\xA6");
  EXPECT_EQ(FromUtf8(ToUtf8(text)), text);
  EXPECT_EQ(FromUtf8(UnitsToBytes(text)), text);
  EXPECT_EQ(ToUtf8(std::u16string{u'a', char16_t{0xD800}, u'b', char16_t{0xDC00}}), "a?b?");
}

TEST(SampleText, MalformedUtf8IsNone) {
  for (const char* bytes : {"\x80", "a\xFF", "\xC3", "\xC3(", "\xC0\x80", "\xE0\x80\x80",
                            "\xE2\x82", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_EQ(FromUtf8(bytes), std::nullopt);
  }
}

}  // namespace
}  // namespace sample

#include "samples/inventory/Text.h"

#include <gtest/gtest.h>

namespace inventory {
namespace {

using namespace std::string_literals;

class Latin1 final : public CodePage {
 public:
  std::u16string Decode(std::string_view bytes) const override {
    std::u16string text;
    for (const char c : bytes) text += static_cast<unsigned char>(c);
    return text;
  }
};

TEST(Text, ReadsFilesInAnyEncoding) {
  const struct {
    const char* name;
    std::string bytes;
    bool marked;
  } cases[] = {
      {"UTF-8", "\xC3\xA9\n", false},
      {"UTF-8 with a mark", "\xEF\xBB\xBF\xC3\xA9\n", true},
      {"UTF-16", "\xFF\xFE\xE9\0\n\0"s, true},
      {"UTF-16, the other way round", "\xFE\xFF\0\xE9\0\n"s, true},
      {"the code page", "\xE9\n", false},
  };
  for (const auto& c : cases) {
    const FileText file = ReadFileText(c.bytes, Latin1());
    EXPECT_EQ(file.text, u"\u00E9\n") << c.name;
    EXPECT_EQ(file.marked, c.marked) << c.name;
    EXPECT_EQ(WriteFileText(file), (c.marked ? "\xEF\xBB\xBF"s : ""s) + "\xC3\xA9\n") << c.name;
  }
}

TEST(Text, RefusesWhatIsNoText) {
  const struct {
    const char* name;
    std::string bytes;
  } cases[] = {
      {"half a unit", "\xFF\xFE\x41"},
      {"half a character", "\xFF\xFE\x3D\xD8\x41\0"s},
      {"zero bytes", "a\0b"s},
      {"a mark, but no UTF-8", "\xEF\xBB\xBF\xE9\n"},
  };
  for (const auto& c : cases) {
    EXPECT_THROW(ReadFileText(c.bytes, Latin1()), TableError) << c.name;
  }
}

TEST(Text, EveryUnitGoesThroughTheBytesOfARecord) {
  std::u16string units;
  for (unsigned unit = 1; unit < 0x10000; ++unit) units += static_cast<char16_t>(unit);
  std::u16string reversed(units.rbegin(), units.rend());  // no pair of surrogates is in order
  EXPECT_EQ(UnitsFromBytes(UnitsToBytes(reversed)), reversed);
  EXPECT_EQ(FromUtf8(UnitsToBytes(reversed)), std::nullopt) << "halves of characters";
}

TEST(Text, CharactersBeyond16BitsReadInBothForms) {
  const std::u16string text = u"\U0001F4E6";
  EXPECT_EQ(ToUtf8(text), "\xF0\x9F\x93\xA6");
  EXPECT_EQ(UnitsToBytes(text), "\xED\xA0\xBD\xED\xB3\xA6");
  EXPECT_EQ(FromUtf8(ToUtf8(text)), text);
  EXPECT_EQ(FromUtf8(UnitsToBytes(text)), text);
}

TEST(Text, MalformedUtf8IsNone) {
  for (const char* bytes : {"\x80", "\xC3", "\xC3(", "\xC0\x80", "\xE0\x80\x80", "\xE2\x82",
                            "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xFF\xBF\xBF\xBF"}) {
    EXPECT_EQ(FromUtf8(bytes), std::nullopt);
  }
}

}  // namespace
}  // namespace inventory

#include "base/AnsiCodePage.h"

#include <gtest/gtest.h>

namespace pylon {
namespace {

TEST(AnsiCodePage, EveryByteOfWindows1252SurvivesDecodingAndEncoding) {
  const AnsiCodePage& page = AnsiCodePage::Windows1252();
  for (int byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(page.TryEncode(page.Decode(static_cast<uint8_t>(byte))), byte);
  }
  EXPECT_EQ(page.Decode(0x80), u'\u20AC');
  EXPECT_EQ(page.Decode(0x99), u'\u2122');
  EXPECT_EQ(page.Decode(0xE9), u'\u00E9');
}

TEST(AnsiCodePage, WhatThePageLacksIsAQuestionMark) {
  const AnsiCodePage& page = AnsiCodePage::Windows1252();
  EXPECT_FALSE(page.TryEncode(u'\u0416'));
  EXPECT_FALSE(page.Holds(u"a\u0416"));
  EXPECT_TRUE(page.Holds(u"caf\u00E9 \u20AC"));
  EXPECT_EQ(page.Encode(u"a\u0416\u20AC"),
            (Bytes{std::byte{'a'}, std::byte{'?'}, std::byte{0x80}}));
}

TEST(AnsiCodePage, OfBytesThatShareACharacterTheLowestEncodesIt) {
  AnsiCodePage::Table table = {};
  for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<char16_t>(i);
  table['A'] = u'B';  // an ASCII character that this page lacks
  table[0xC0] = table[0xC1] = u'\u0416';
  const AnsiCodePage page(table);
  EXPECT_EQ(page.TryEncode(u'B'), 'B');
  EXPECT_FALSE(page.TryEncode(u'A'));
  EXPECT_EQ(page.TryEncode(u'\u0416'), 0xC0);
}

}  // namespace
}  // namespace pylon

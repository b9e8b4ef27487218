#include "samples/memos/MemoText.h"

#include <gtest/gtest.h>

#include "tests/samples/Latin1.h"

namespace memos {

using sample::Latin1;
namespace {

using namespace std::string_literals;

TEST(FileMemo, IsReadWithEveryLineEnd) {
  const struct {
    const char* name;
    std::string file, memo;
  } cases[] = {
      {"ASCII", "one\ntwo\n", "one\ntwo\n"},
      {"CR LF", "one\r\ntwo\r\n", "one\ntwo\n"},
      {"CR alone", "one\rtwo\r", "one\ntwo\n"},
      {"UTF-16, low byte first", "\xFF\xFE\xE4\0a\0"s,
       "\xE4"
       "a"},
      {"code page: no valid UTF-8", "K\xE4se", "K\xE4se"},
      {"longest memo", std::string(kMaxMemo, 'x'), std::string(kMaxMemo, 'x')},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const FileMemo text = ReadMemo(c.file, Latin1());
    EXPECT_EQ(text.memo, c.memo);
    EXPECT_EQ(text.problem, u"");
  }
}

TEST(FileMemo, WhatCannotBecomeAMemoSaysWhy) {
  const struct {
    const char* name;
    std::string file;
    const char16_t* reason;
  } cases[] = {
      {"nothing", "", u"empty"},
      {"mark only", "\xEF\xBB\xBF", u"empty"},
      {"blank lines", " \r\n\t\n", u"empty"},
      {"zero byte", "a\0b"s, u"not text"},
      {"control characters, no UTF-8", "\x89PNG\r\n\x1A\n", u"not text"},
      {"broken UTF-8 behind its mark", "\xEF\xBB\xBF\xE4", u"not text"},
      {"half a UTF-16 character", "\xFF\xFEx", u"half a character"},
      {"not in the code page", "one\ntwo \xE2\x82\xAC", u"lacks the character U+20AC in line 2"},
      {"outside the basic plane", "\xF0\x9F\x98\x80", u"U+1F600 in line 1"},
      {"too long", std::string(kMaxMemo + 1, 'x'), u"too long: 4096 bytes"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const FileMemo text = ReadMemo(c.file, Latin1());
    EXPECT_NE(text.problem.find(c.reason), std::u16string::npos) << ToUtf8(text.problem);
  }
  // A memo that was blanked on the handheld has such a file, and is not in its way later.
  EXPECT_EQ(ReadMemo(" \r\n", Latin1()).memo, " \n");
}

TEST(FileMemo, AMemoComesBackAsItWas) {
  for (const std::string& memo : {"one\ntwo"s, "K\xE4se\n\n"s, "tab\tand \x81"s}) {
    EXPECT_EQ(ReadMemo(WriteMemo(memo, Latin1()), Latin1()).memo, memo);
  }
  EXPECT_EQ(WriteMemo("\xE4\nb", Latin1()), "\xC3\xA4\r\nb");
  EXPECT_EQ(MemoOfRecord("one\r\ntwo\rthree\0rest"s), "one\ntwo\nthree");
}

TEST(NameFor, MakesAFileNameOfTheFirstLine) {
  const struct {
    std::u16string text, name;
  } cases[] = {
      {u"Shopping\nbread", u"Shopping"},
      {u"\n  \n Shopping \nbread", u"Shopping"},
      {u"", u"Untitled"},
      {u"...\n", u"Untitled"},
      {u"What? 1/2 <a> \"b\" C:\\d|e*", u"What_ 1_2 _a_ _b_ C__d_e_"},
      {u"tab\there", u"tab_here"},
      {u"End.", u"End"},
      {u".hidden", u"_.hidden"},
      {u"~draft", u"_~draft"},
      {u"con", u"_con"},
      {u"Com1.txt", u"_Com1.txt"},
      {u"nul .x", u"_nul .x"},
      {u"Console", u"Console"},
      {u"COMX", u"COMX"},
      {std::u16string(70, u'x'), std::u16string(60, u'x')},
      {std::u16string(59, u'x') + u"\U0001F600", std::u16string(59, u'x')},
  };
  for (const auto& c : cases) EXPECT_EQ(ToUtf8(NameFor(c.text)), ToUtf8(c.name));
}

TEST(ConflictName, IsMarkedOnce) {
  for (const char16_t* stem : {u"a", u"a (conflict)", u"a (conflict) (2)"}) {
    EXPECT_EQ(ToUtf8(ConflictName(stem)), "a (conflict)");
  }
  EXPECT_EQ(ToUtf8(ConflictName(u"a (2)")), "a (2) (conflict)");
  const std::u16string shortened = ConflictName(std::u16string(250, u'n'));
  EXPECT_LT(shortened.size(), 230U);
  EXPECT_EQ(ConflictName(shortened), shortened);
}

TEST(NameFor, IsFoundAgainWithANumber) {
  for (const char16_t* stem : {u"Name", u"Name (2)", u"Name (10)"}) {
    EXPECT_TRUE(IsNameOrNumbered(stem, u"Name")) << ToUtf8(stem);
  }
  for (const char16_t* stem : {u"", u"Nam", u"Name2", u"Name (x)", u"Name ()", u"Name (2) "}) {
    EXPECT_FALSE(IsNameOrNumbered(stem, u"Name")) << ToUtf8(stem);
  }
}

}  // namespace
}  // namespace memos

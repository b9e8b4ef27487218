#include "samples/memos/History.h"

#include <gtest/gtest.h>

#include "tests/memos/Latin1.h"

namespace memos {
namespace {

TEST(History, KeysHoldWhatTheCodePageLacksAndIgnoreCase) {
  const struct {
    std::u16string path, key;
  } cases[] = {
      {u"a.txt", u"A.TXT"},
      {u"B\u00FCcher\\\u00C4.txt", u"B\u00DCCHER\\\u00C4.TXT"},
      {u"\u4E2D (2).txt", u"?4E2D (2).TXT"},
      {u"\U0001F600", u"?D83D?DE00"},
      {u"\u00E4\u0100", u"\u00C4?0100"},
  };
  for (const auto& c : cases) EXPECT_EQ(ToUtf8(KeyOf(c.path, Latin1())), ToUtf8(c.key));
  EXPECT_EQ(ToUtf8(KeyOf(0xFFFFFF)), ":16777215");
}

TEST(History, AnEntryComesBackAndIsNeverThatOfAnUnknownKey) {
  for (const Synced& synced : {Synced{1, 0}, Synced{0xFFFFFFF, 15}, Synced{0x8000000, 1}}) {
    EXPECT_EQ(FromEntry(ToEntry(synced)), synced);
    EXPECT_NE(ToEntry(synced), 0);
  }
  EXPECT_EQ(FromEntry(0), std::nullopt);
  EXPECT_NE(ToEntry("a", 1), ToEntry("b", 1));
  EXPECT_EQ(ToEntry("a", 1) & 0xFF, 1);
  for (int i = 0; i < 1000; ++i) {
    const std::uint32_t checksum = ChecksumOf(std::to_string(i));
    EXPECT_TRUE(checksum > 0 && checksum < 1U << 28) << i;
    EXPECT_NE(checksum, ChecksumOf(std::to_string(i + 1)));
  }
}

}  // namespace
}  // namespace memos

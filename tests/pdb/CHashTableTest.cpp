#include "pdb/CHashTable.h"

#include <gtest/gtest.h>

#include <random>

#include "base/Text.h"
#include "tests/support/Errors.h"
#include "tests/support/HashTableModel.h"

namespace pylon {
namespace {

using testing::ErrorOf;
using testing::ErrorTextOf;
using testing::HashTableModel;

TEST(CHashTable, HashesTheWordsOfItsBytes) {
  struct Case {
    std::u16string key;
    uint32_t hash;
  };
  const Case kCases[] = {
      {u"A", 0x41},
      {u"AB", 0x4241},
      {u"ABCD", 0x44434241},
      {u"ABCDABCD", 0},
      {u"ABCDE", 0x44434241 ^ 0x45},
      {u"\u20AC\u00FF", 0xFF80},  // one byte each in Windows-1252
      {u"\u4E00", 0x3F},          // a question mark: the code page lacks it
  };
  const CHashTable table;
  for (const Case& c : kCases) {
    EXPECT_EQ(static_cast<uint32_t>(table.HashOf(c.key)), c.hash) << ToUtf8(c.key);
  }
}

TEST(CHashTable, CaseCountsUnlessItIsToldOtherwise) {
  CHashTable table;
  for (const bool ignore_case : {false, true}) {
    table.SetIgnoreCase(ignore_case);
    table.Add(u"Key \u00E9", 1);
    table.Add(u"KEY \u00C9", 2);
    EXPECT_EQ(table.Count(), ignore_case ? 1 : 2);
    EXPECT_EQ(table.Item(u"Key \u00E9"), TaggedValue(ignore_case ? 2 : 1));
    EXPECT_EQ(table.Exists(u"kEY \u00E9"), ignore_case);
    table.RemoveAll();
  }
}

TEST(CHashTable, RefusesEmptyKeysAndNewSizesWhileItHoldsEntries) {
  CHashTable table;
  EXPECT_EQ(ErrorTextOf([&] { table.Add({}, 1); }), "1001 Invalid key");
  EXPECT_EQ(ErrorOf([&] { table.Remove({}); }), 1001);
  EXPECT_EQ(ErrorOf([&] { table.SetSize(0, 1, 1); }), 5);
  table.Add(u"a", 1);
  EXPECT_EQ(ErrorTextOf([&] { table.SetSize(1, 1, 1); }), "1002 The Hash Table isn't empty");
  EXPECT_EQ(ErrorOf([&] { table.SetIgnoreCase(true); }), 1002);
  EXPECT_EQ(table.Item(u"a"), TaggedValue(1));
}

TEST(CHashTable, FindsKeysOfNegativeHashes) {
  CHashTable table;
  table.SetSize(7, 1, 1);
  const std::u16string kKeys[] = {u"abc\u00FF", u"\u00FF\u00FF\u00FF\u00FF", {0, 0, 0, u'\u20AC'}};
  int32_t value = 0;
  for (const std::u16string& key : kKeys) table.Add(key, ++value);
  value = 0;
  for (const std::u16string& key : kKeys) EXPECT_EQ(table.Item(key), TaggedValue(++value));
}

TEST(CHashTable, KeepsTheOrderOfAdding) {
  CHashTable table;
  for (const auto* key : {u"c", u"a", u"b"}) table.Add(key, 0);
  table.Add(u"a", 1);
  EXPECT_EQ(table.Keys(), (std::vector<std::u16string_view>{u"c", u"a", u"b"}));
  EXPECT_EQ(table.Values(), (std::vector<TaggedValue>{0, 1, 0}));
}

TEST(CHashTable, GrowsItsBucketsForKeysThatShareFew) {
  CHashTable table;
  for (int i = 1; i <= 1000; ++i) table.Add(ToText(i), i);
  EXPECT_GT(table.Measure().buckets, 1024);
  EXPECT_LT(table.Measure().mean_steps, 2);
  table.RemoveAll();
  EXPECT_EQ(table.Measure().buckets, 1024);
  // One hash for all: more buckets would not help.
  for (int i = 1000; i < 1100; ++i) table.Add(ToText(i) + ToText(i), i);
  EXPECT_EQ(table.Measure().buckets, 1024);
  EXPECT_EQ(table.Measure().longest_chain, 100);
}

TEST(CHashTable, DoesAsAMapDoes) {
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    HashTableModel model([&random](size_t n) { return random() % n; });
    for (int i = 0; i < 3000; ++i) ASSERT_NO_THROW(model.Step());
    ASSERT_NO_THROW(model.CompareAll());
  }
}

}  // namespace
}  // namespace pylon

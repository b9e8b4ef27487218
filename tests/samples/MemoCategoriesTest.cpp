#include "samples/memos/Categories.h"

#include <gtest/gtest.h>

#include "tests/samples/Latin1.h"

namespace memos {

using sample::Latin1;
namespace {

const Latin1 kSystem;

TEST(Categories, AFreshBlockHasTheStandardForm) {
  Categories categories({}, kSystem);
  EXPECT_EQ(categories.Find(u""), 0);
  EXPECT_EQ(categories.Add(u"Work", {}).category, 1);
  EXPECT_EQ(categories.Add(u"B\u00FCcher", {}).category, 2);

  const std::string& block = categories.app_info();
  EXPECT_TRUE(categories.changed());
  EXPECT_EQ(block.size(), 280u);
  EXPECT_EQ(block.substr(2, 16), "Unfiled" + std::string(9, '\0'));
  EXPECT_EQ(block.substr(18, 16), "Work" + std::string(12, '\0'));
  EXPECT_EQ(block.substr(34, 7), std::string("B\xFC"
                                             "cher\0",
                                             7));
  EXPECT_EQ(block.substr(258, 4), std::string("\0\x80\x81\0", 4));
}

TEST(Categories, WhatABlockHoldsStays) {
  std::string given(282, '\x55');
  given.replace(2, 256, 256, '\0');
  given.replace(2, 7, "Unfiled");
  given.replace(18, 9, "Home/Work");
  const Categories untouched(given, kSystem);
  EXPECT_FALSE(untouched.changed());
  EXPECT_EQ(untouched.Folder(1), u"Home_Work");
  EXPECT_EQ(untouched.Folder(5), u"Category 5");

  Categories categories(given, kSystem);
  EXPECT_EQ(categories.Add(u"New", {}).category, 2);
  given.replace(34, 3, "New");
  given[260] = '\x80';
  categories.SetSyncMark(7);
  given[275] = '\x07';
  EXPECT_EQ(categories.app_info(), given);
}

TEST(Categories, AreFoundByTheirFolderInAnyCase) {
  Categories categories({}, kSystem);
  ASSERT_TRUE(categories.Add(u"\u00C4pfel", {}).category);
  EXPECT_EQ(categories.Find(u"\u00E4PFEL"), 1);
  EXPECT_EQ(categories.Find(u"unfiled"), 0);
  EXPECT_EQ(categories.Find(u"Birnen"), std::nullopt);
}

TEST(Categories, AFolderThatDoesNotFitIsNone) {
  Categories categories({}, kSystem);
  for (const char16_t* folder : {u"sixteen letters!", u"\u4E2D\u6587", u" blank"}) {
    const auto added = categories.Add(folder, {});
    EXPECT_EQ(added.category, std::nullopt) << ToUtf8(folder);
    EXPECT_NE(added.problem, u"");
  }
  std::set<int> in_use;
  for (int i = 1; i < Categories::kCount; ++i) {
    EXPECT_EQ(categories.Add(std::u16string(1, static_cast<char16_t>(u'a' + i)), {}).category, i);
    in_use.insert(i);
  }
  EXPECT_NE(categories.Add(u"one more", in_use).problem, u"");
  in_use.erase(7);
  EXPECT_EQ(categories.Add(u"one more", in_use).category, 7);
  EXPECT_EQ(categories.Find(u"one more"), 7);
}

}  // namespace
}  // namespace memos

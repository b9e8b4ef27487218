#include "samples/memos/Categories.h"

#include <gtest/gtest.h>

#include "tests/memos/Latin1.h"

namespace memos {
namespace {

const Latin1 kSystem;

TEST(Categories, AFreshBlockHasTheStandardForm) {
  Categories categories({}, kSystem);
  EXPECT_EQ(categories.Find(u""), 0);
  EXPECT_EQ(categories.Add(u"Work"), 1);
  EXPECT_EQ(categories.Add(u"B\u00FCcher"), 2);

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
  EXPECT_EQ(categories.Add(u"New"), 2);
  given.replace(34, 3, "New");
  given[260] = '\x80';
  EXPECT_EQ(categories.app_info(), given);
}

TEST(Categories, AreFoundByTheirFolderInAnyCase) {
  Categories categories({}, kSystem);
  ASSERT_TRUE(categories.Add(u"\u00C4pfel"));
  EXPECT_EQ(categories.Find(u"\u00E4PFEL"), 1);
  EXPECT_EQ(categories.Find(u"unfiled"), 0);
  EXPECT_EQ(categories.Find(u"Birnen"), std::nullopt);
}

TEST(Categories, AFolderThatDoesNotFitIsNone) {
  Categories categories({}, kSystem);
  EXPECT_EQ(categories.Add(u"sixteen letters!"), std::nullopt);
  EXPECT_EQ(categories.Add(u"\u4E2D\u6587"), std::nullopt);
  EXPECT_EQ(categories.Add(u" blank"), std::nullopt) << "comes back without its blank";
  for (int i = 1; i < Categories::kCount; ++i) {
    EXPECT_EQ(categories.Add(std::u16string(1, static_cast<char16_t>(u'a' + i))), i);
  }
  EXPECT_EQ(categories.Add(u"one more"), std::nullopt);
}

}  // namespace
}  // namespace memos

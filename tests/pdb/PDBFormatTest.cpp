#include "pdb/PDBFormat.h"

#include <gtest/gtest.h>

namespace pylon {
namespace {

TEST(PDBFormat, ArchiveBitAndCategoryShareABit) {
  const struct {
    uint8_t stored;
    int32_t attributes;
    int16_t category;
  } cases[] = {
      {0x4F, eDirty, 15},
      {0x18, eSecret, 8},
      {0x8F, eDelete | eArchive, 7},
      {0x83, eDelete, 3},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(AttributesOf(c.stored), c.attributes);
    EXPECT_EQ(CategoryOf(c.stored), c.category);
    EXPECT_EQ(StoredAttributes(c.attributes, c.category), c.stored);
  }
  // What can't be stored together is dropped: archive without delete, a fourth category bit with.
  EXPECT_EQ(StoredAttributes(eArchive | eDirty, 2), eDirty | 2);
  EXPECT_EQ(StoredAttributes(eDelete, 10), eDelete | 2);
}

}  // namespace
}  // namespace pylon

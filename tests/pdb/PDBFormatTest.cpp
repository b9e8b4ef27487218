#include "pdb/PDBFormat.h"

#include <gtest/gtest.h>

#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

TEST(PDBFormat, EveryAttributesByteSurvivesBeingTakenApart) {
  for (int stored = 0; stored < 256; ++stored) {
    const auto byte = static_cast<uint8_t>(stored);
    EXPECT_EQ(StoredAttributes(AttributesOf(byte), CategoryOf(byte)), byte) << stored;
  }
}

TEST(PDBFormat, ArchiveBitAndCategoryShareABit) {
  const struct {
    uint8_t stored;
    int32_t attributes;
    int16_t category;
  } cases[] = {
      {0x4F, eDirty, 15}, {0x18, eSecret, 8}, {0x8F, eDelete | eArchive, 7}, {0x83, eDelete, 3},
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

TEST(PDBFormat, HeaderFieldsLieWhereTheyBelongInBothByteOrders) {
  for (const bool little : {false, true}) {
    testing::FileImage image;
    image.name = "MemoDB";
    image.attributes = 0x0102;
    image.version = 0x0304;
    image.created = 0x05060708;
    image.modified = 0x890A0B0C;
    image.backed_up = 0x0D0E0F10;
    image.modification_number = 0x11121314;
    image.app_info = Bytes(3);
    image.sort_info = Bytes(5);
    image.type = "memo";
    image.creator = "appl";
    image.seed = 0x92939495;
    image.next_id = 0x16171819;
    image.little = little;
    const Bytes bytes = image.Build();
    const ByteOrder order = little ? ByteOrder::kLittle : ByteOrder::kBig;
    const auto front = ByteSpan(bytes).first<PDBHeader::kSize>();

    const PDBHeader header = DecodeHeader(front, order);
    const AnsiCodePage& page = AnsiCodePage::Windows1252();
    EXPECT_EQ(header.name.Text(page), u"MemoDB");
    EXPECT_EQ(header.attributes, 0x0102);
    EXPECT_EQ(header.version, 0x0304);
    EXPECT_EQ(header.creation_date, 0x05060708);
    EXPECT_EQ(header.modification_date, static_cast<int32_t>(0x890A0B0C));
    EXPECT_EQ(header.backup_date, 0x0D0E0F10);
    EXPECT_EQ(header.modification_number, 0x11121314u);
    EXPECT_EQ(header.app_info_offset, 78);
    EXPECT_EQ(header.sort_info_offset, 81);
    EXPECT_EQ(header.type.Text(page), u"memo");
    EXPECT_EQ(header.creator.Text(page), u"appl");
    EXPECT_EQ(header.unique_id_seed, 0x92939495u);
    EXPECT_EQ(header.next_unique_id, 0x16171819u);
    EXPECT_EQ(header.record_count, 0);

    std::array<std::byte, PDBHeader::kSize> back;
    EncodeHeader(header, back, order);
    EXPECT_EQ(testing::ToHex(back), testing::ToHex(front));
  }
}

TEST(PDBFormat, FixedTextsKeepWhatStandsBehindTheirEnd) {
  const AnsiCodePage& page = AnsiCodePage::Windows1252();
  PalmId id;
  id.bytes = {std::byte{'a'}, std::byte{0}, std::byte{'x'}, std::byte{1}};
  EXPECT_EQ(id.Text(page), u"a");
  id.SetText(u"ab", page);
  EXPECT_EQ(testing::ToHex(id.bytes), "61 62 00 00");
  EXPECT_TRUE(PalmId::Holds(u"\u00E9\u20AC12", page));
  EXPECT_FALSE(PalmId::Holds(u"12345", page));
  EXPECT_FALSE(PalmId::Holds(u"\u0416", page));
  EXPECT_FALSE(PalmId::Holds(std::u16string_view(u"a\0b", 3), page));
}

}  // namespace
}  // namespace pylon

#include "appforge/PDBAppforgeDefinition.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/support/Errors.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::ErrorOf;
using testing::FromHex;
using testing::StreamOf;
using testing::ToHex;

// The AppInfo block of a table "Shops", put together apart from the code under test.
Bytes Shops() {
  Bytes block(276);
  const auto put = [&block](size_t at, const Bytes& bytes) {
    std::ranges::copy(bytes, block.begin() + static_cast<ptrdiff_t>(at));
  };
  put(0, FromHex("80 01"));
  put(2 + 16, Ascii("Business"));
  put(2 + 15 * 16, Ascii("Sixteen letters."));
  put(258 + 1, FromHex("81"));
  put(274, FromHex("FF"));
  for (const Bytes& part :
       {Ascii("APPFORG2"), FromHex("00000000 004B 0030 0004 000A 00000000"),
        FromHex("0036 0005 0000  003B 0006 0000  0040 0000 0000  0041 0009 0000"),
        Ascii({"Shops\0Name\0Open\0\0Turnover \x80\0", 28})}) {
    block.insert(block.end(), part.begin(), part.end());
  }
  return block;
}

PDBByteStream ArrayOf(Bytes bytes, int32_t lower_bound = 0) {
  PDBByteStream stream;
  stream.SetByteArray({std::move(bytes), lower_bound});
  return stream;
}

std::string HexOf(const PDBByteStream& stream) {
  const auto array = stream.ByteArray();
  return array ? ToHex(array->bytes) : "nothing";
}

TEST(PDBAppforgeDefinition, ABlockGoesBothWays) {
  const Bytes block = Shops();
  // With a spare byte, as databases hand blocks out, and as an array.
  for (const PDBByteStream& stream : {StreamOf(block), ArrayOf(block)}) {
    PDBAppforgeDefinition definition;
    ASSERT_TRUE(definition.IsAppforgeData(stream));
    ASSERT_EQ(definition.FieldCount(), 4);
    EXPECT_EQ(definition.FieldName(1), u"Name");
    EXPECT_EQ(definition.FieldType(2), eBooleanField);
    EXPECT_EQ(definition.FieldName(4), u"Turnover \u20AC");
    const PDBByteStream made = definition.AppInfoBlock();
    EXPECT_EQ(HexOf(made), ToHex(block));
    EXPECT_EQ(ToHex(made.BlockBytes()), ToHex(block));
  }
}

// What a reader sees in a block of Shops' shape with some bytes changed.
TEST(PDBAppforgeDefinition, Reading) {
  const struct {
    const char* name;
    size_t at;
    const char* bytes;
    const char16_t* field_name;  // of field 1
    int32_t field_type;
  } cases[] = {{"as it is", 0, "", u"Name", 5},
               {"a type is the sum of two bytes", 302, "02 05", u"Name", 7},
               {"even beyond a byte", 302, "FF FF", u"Name", 510},
               {"fields end with two unread bytes", 304, "FF FF", u"Name", 5},
               {"stored lengths are not read", 294, "FF FF FF FF FF FF", u"Name", 5},
               {"nor the four bytes behind the signature", 284, "FF FF FF FF FF FF", u"Name", 5},
               {"blanks go", 330, "20 4E 20 20 00", u"N", 5},
               {"a name inside another", 301, "37", u"ame", 5}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes block = Shops();
    std::ranges::copy(FromHex(c.bytes), block.begin() + static_cast<ptrdiff_t>(c.at));
    PDBAppforgeDefinition definition;
    ASSERT_TRUE(definition.IsAppforgeData(StreamOf(block)));
    EXPECT_EQ(definition.FieldName(1), c.field_name);
    EXPECT_EQ(definition.FieldType(1), c.field_type);
  }
}

TEST(PDBAppforgeDefinition, DamagedBlocksLeaveTheFieldsAlone) {
  const Bytes good = Shops();
  const auto changed = [&good](size_t at, const char* bytes) {
    Bytes block = good;
    std::ranges::copy(FromHex(bytes), block.begin() + static_cast<ptrdiff_t>(at));
    return block;
  };
  // A table of which every field has one long name: small, but 2 GB when read.
  Bytes bomb = good;
  bomb.resize(300 + 6 * 32767 + 33000, std::byte{'x'});
  std::fill(bomb.begin() + 300, bomb.begin() + 300 + 6 * 32767, std::byte{0xFF});
  bomb.push_back(std::byte{0});
  std::ranges::copy(FromHex("7F FF"), bomb.begin() + 292);
  Bytes many = good;
  many.resize(300 + 6 * 32768 + 1);
  std::ranges::copy(FromHex("80 00"), many.begin() + 292);

  std::vector<std::pair<const char*, PDBByteStream>> cases = {
      {"nothing", PDBByteStream()},
      {"another signature", ArrayOf(changed(276, "61"))},
      {"small letters", ArrayOf(changed(283, "33"))},
      {"65,535 fields", ArrayOf(changed(292, "FF FF"))},
      {"one field more than there is room for", ArrayOf(changed(292, "01 00"))},
      {"more fields than can be counted", ArrayOf(many)},
      {"a table name outside", ArrayOf(changed(290, "7F FF"))},
      {"a field name outside", ArrayOf(changed(300, "FF FF"))},
      {"a name without an end", ArrayOf(changed(good.size() - 1, "41"))},
      {"names that overlap", ArrayOf(bomb)},
      {"an array that begins at 1", ArrayOf(good, 1)},
      {"an array that begins before 0", ArrayOf(good, -1)}};
  for (size_t size = 0; size < good.size(); ++size) {
    cases.emplace_back("cut",
                       ArrayOf(Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(size))));
  }
  PDBAppforgeDefinition old;
  old.AddFieldName(u"Old", eLongField);
  const std::string old_table = ToHex(old.AppInfoBlock().BlockBytes().subspan(276));
  for (const auto& [name, stream] : cases) {
    SCOPED_TRACE(name);
    PDBAppforgeDefinition definition = old;
    EXPECT_FALSE(definition.IsAppforgeData(stream));
    ASSERT_EQ(definition.FieldCount(), 1);
    EXPECT_EQ(definition.FieldName(1), u"Old");
    // So is the table's name, which only the block shows.
    EXPECT_EQ(ToHex(definition.AppInfoBlock().BlockBytes().subspan(276)), old_table);
  }
  // The spare byte of a stream counts as one of the block: here it ends the last name.
  EXPECT_TRUE(
      PDBAppforgeDefinition().IsAppforgeData(StreamOf(ByteSpan(good).first(good.size() - 1))));
}

TEST(PDBAppforgeDefinition, CategoriesAreTakenFromAnyBlock) {
  Bytes block = Shops();
  block.resize(276);  // the categories of a handheld application that has no table
  PDBAppforgeDefinition definition;
  EXPECT_FALSE(definition.IsAppforgeData(StreamOf(block)));
  const PDBByteStream made = definition.AppInfoBlock();
  EXPECT_EQ(ToHex(made.BlockBytes().first(276)), ToHex(block));
}

TEST(PDBAppforgeDefinition, Limits) {
  using D = PDBAppforgeDefinition;
  const auto fields = [](int count, size_t length, int32_t type = eLongField) {
    D definition;
    for (int i = 0; i < count; ++i) definition.AddFieldName(std::u16string(length, u'x'), type);
    return definition;
  };
  const struct {
    const char* name;
    D definition;
    int32_t error;
  } cases[] = {{"the largest block", fields(1, 32767 - 24 - 6 - 1), 0},
               {"one byte more", fields(1, 32767 - 24 - 6), 6},
               {"the most fields", fields(4677, 0), 0},
               {"more of them", fields(4678, 0), 6},
               {"a fixed length beyond 32,767", fields(4600, 0, eDoubleField), 0},
               {"a name of 100,000 characters", fields(1, 100000), 6},
               {"any type of 16 bits", fields(1, 0, 32767), 0},
               {"a larger type", fields(1, 0, 32768), 6},
               {"a negative type", fields(1, 0, -1), 6}};
  for (const auto& c : cases) {
    EXPECT_EQ(ErrorOf([&] { (void)c.definition.AppInfoBlock(); }), c.error) << c.name;
  }
  D full = fields(32767, 0);
  EXPECT_EQ(ErrorOf([&] { full.AddFieldName(u"", eLongField); }), 6);
  EXPECT_EQ(full.FieldCount(), 32767);
}

TEST(PDBAppforgeDefinition, FieldsCountFromOne) {
  PDBAppforgeDefinition definition;
  definition.AddFieldName(u"First", eLongField);
  definition.AddFieldName(u"Second", 99);
  definition.SetFieldName(1, u"Changed");
  definition.SetFieldType(1, eByteField);
  EXPECT_EQ(definition.FieldName(1), u"Changed");
  EXPECT_EQ(definition.FieldType(1), eByteField);
  EXPECT_EQ(definition.FieldType(2), 99);
  for (const int16_t index : std::initializer_list<int16_t>{-32768, -1, 0, 3, 32767}) {
    EXPECT_EQ(ErrorOf([&] { (void)definition.FieldName(index); }), 9);
    EXPECT_EQ(ErrorOf([&] { (void)definition.FieldType(index); }), 9);
    EXPECT_EQ(ErrorOf([&] { definition.SetFieldName(index, u""); }), 9);
    EXPECT_EQ(ErrorOf([&] { definition.SetFieldType(index, 0); }), 9);
  }
  definition.ClearFieldName();
  EXPECT_EQ(definition.FieldCount(), 0);
}

constexpr char kSort[] = "53 4F 52 54 00 00 00 00 00 00 00 00 00 00 00 00 ";

TEST(PDBAppforgeDefinition, SortFields) {
  PDBAppforgeDefinition definition;
  EXPECT_EQ(HexOf(definition.SortInfoBlock()), "nothing");
  const std::string block = std::string(kSort) + "00 02 00 03 00 00 7F FF 00 00 00 00";
  definition.SetSortInfoBlock(StreamOf(FromHex(block)));
  ASSERT_EQ(definition.SortFieldCount(), 2);
  EXPECT_EQ(definition.SortFieldIndex(0), 3);
  EXPECT_EQ(definition.SortFieldIndex(1), 32767);
  EXPECT_EQ(HexOf(definition.SortInfoBlock()), block);
  for (const int16_t index : std::initializer_list<int16_t>{-1, 2}) {
    EXPECT_EQ(ErrorOf([&] { (void)definition.SortFieldIndex(index); }), 9);
  }

  const struct {
    const char* name;
    std::string block;
    int32_t error;
    int16_t count;
  } cases[] = {{"empty", "", 0, 2},
               {"another kind", "73 4F 52 54 00", 0, 2},
               {"no word", "53 4F", 9, 2},
               {"no count", "53 4F 52 54", 9, 2},
               {"cut", std::string(kSort) + "00 02 00 03 00 00 00", 9, 2},
               {"65,535 fields", std::string(kSort) + "FF FF 00 03", 6, 2},
               {"32,767 fields", std::string(kSort) + "7F FF 00 03", 9, 2},
               {"a position too large", std::string(kSort) + "00 01 80 00 00 00", 6, 2},
               {"without the last zeros", std::string(kSort) + "00 01 00 05", 0, 1},
               {"none", std::string(kSort) + "00 00", 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    PDBAppforgeDefinition copy = definition;
    EXPECT_EQ(ErrorOf([&] { copy.SetSortInfoBlock(ArrayOf(FromHex(c.block))); }), c.error);
    EXPECT_EQ(copy.SortFieldCount(), c.count);
  }
  definition.SetSortInfoBlock(PDBByteStream());
  EXPECT_TRUE(definition.IsAppforgeData(ArrayOf(Shops())));
  EXPECT_EQ(definition.SortFieldCount(), 2);
}

}  // namespace
}  // namespace pylon

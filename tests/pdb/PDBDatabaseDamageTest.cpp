#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Errors.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::DatabaseFile;
using testing::ErrorOf;
using testing::FileImage;
using ::testing::HasSubstr;
using testing::ReadAll;
using testing::ToHex;

FileImage Good() {
  FileImage image;
  image.app_info = Bytes(30, std::byte{1});
  image.sort_info = Bytes(10, std::byte{2});
  image.records = {{0x40, 1, Ascii("first")}, {0x01, 2, {}}, {0x80, 3, Ascii("third")}};
  return image;
}

constexpr size_t kAppInfoOffset = 52, kSortInfoOffset = 56, kCount = 76, kList = 78;

Bytes With(Bytes bytes, size_t at, uint32_t value, size_t width) {
  for (size_t i = 0; i < width; ++i) {
    bytes[at + i] = static_cast<std::byte>(value >> 8 * (width - 1 - i));
  }
  return bytes;
}

TEST(DamagedFile, IsRefusedSaidWhyAndLeftAlone) {
  const Bytes good = Good().Build();
  const auto size = static_cast<uint32_t>(good.size());
  const struct {
    const char* name;
    Bytes bytes;
    const char* reason;
  } cases[] = {
      {"empty", {}, "header"},
      {"text", Ascii("This is no database at all."), "header"},
      {"more records than bytes", With(good, kCount, 65535, 2), "record list"},
      {"a record before the end of the list", With(good, kList, 78, 4), "record 1"},
      {"a record in the header", With(good, kList, 0, 4), "record 1"},
      {"records backwards", With(good, kList + 8, 120, 4), "record 2"},
      {"a record past the end", With(good, kList + 16, size + 1, 4), "record 3"},
      {"a negative offset", With(good, kList + 16, 0xFFFFFFFF, 4), "record 3"},
      {"AppInfo before the end of the list", With(good, kAppInfoOffset, 101, 4), "AppInfo"},
      {"AppInfo behind SortInfo", With(good, kAppInfoOffset, 133, 4), "AppInfo"},
      {"AppInfo past the end", With(good, kAppInfoOffset, size + 1, 4), "AppInfo"},
      {"SortInfo behind the first record", With(good, kSortInfoOffset, 143, 4), "SortInfo"},
      {"SortInfo before the end of the list", With(good, kSortInfoOffset, 1, 4), "SortInfo"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    DatabaseFile file(c.bytes);
    const auto database = file.Database();
    EXPECT_FALSE(database->OpenDatabase());
    ASSERT_EQ(file.log->lines.size(), 1u);
    EXPECT_THAT(file.log->lines[0], HasSubstr("Test.pdb"));
    EXPECT_THAT(file.log->lines[0], HasSubstr(c.reason));
    database->CloseDatabase();
    EXPECT_EQ(ToHex(file.bytes()), ToHex(c.bytes));
    EXPECT_TRUE(file.folder.open.empty());
  }
}

// A prefix that still holds the last record's offset is a good file with a shorter last record.
TEST(DamagedFile, EveryPrefixOfAGoodFile) {
  const Bytes good = Good().Build();
  const size_t last_offset = good.size() - 5;
  for (size_t size = 0; size <= good.size(); ++size) {
    SCOPED_TRACE(size);
    DatabaseFile file(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)));
    const auto database = file.Database();
    ASSERT_EQ(database->OpenDatabase(), size >= last_offset);
    if (size >= last_offset) {
      EXPECT_EQ(ReadAll(*database)[2].data.size(), size - last_offset);
    }
  }
}

// Any one byte changed: opened or refused, but nothing else happens and nothing is written.
TEST(DamagedFile, EveryByteChanged) {
  const Bytes good = Good().Build();
  for (size_t at = 0; at < good.size(); ++at) {
    for (const unsigned value : {0x00u, 0x01u, 0x7Fu, 0x80u, 0xFFu}) {
      const Bytes bytes = With(good, at, value, 1);
      DatabaseFile file(bytes);
      const auto database = file.Database();
      bool opened = false;
      const int32_t error = ErrorOf([&] { opened = database->OpenDatabase(); });
      ASSERT_TRUE(error == 0 || error == 6) << at;
      if (opened) ReadAll(*database);
      database->CloseDatabase();
      ASSERT_EQ(file.bytes(), bytes) << at;
    }
  }
}

TEST(DamagedFile, CustomaryOdditiesAreNoDamage) {
  FileImage image = Good();
  image.gap = 2;
  image.records.push_back({0xFF, 0, {}});
  DatabaseFile file(image);
  const auto database = file.Open(dftPalmHotSync);
  EXPECT_EQ(ReadAll(*database).size(), 4u);

  // An offset below 1 is no block.
  file.bytes() = With(With(Good().Build(), kAppInfoOffset, 0xFFFFFFFF, 4), kSortInfoOffset, 0, 4);
  const auto without = file.Database();
  database->CloseDatabase();
  ASSERT_TRUE(without->OpenDatabase());
  EXPECT_EQ(ToHex(without->ReadAppInfoBlock()), "");
}

TEST(DamagedFile, AnAppInfoBlockOver32767BytesOverflows) {
  FileImage image = Good();
  for (const size_t size : {32767u, 32768u, 70000u}) {
    image.app_info = Bytes(size);
    DatabaseFile file(image);
    const auto database = file.Database();
    EXPECT_EQ(ErrorOf([&] { database->OpenDatabase(); }), size > 32767 ? 6 : 0) << size;
    EXPECT_EQ(file.folder.open.empty(), size > 32767);
    if (size > 32767) continue;
    EXPECT_EQ(ErrorOf([&] { database->WriteAppInfoBlock(Bytes(32768)); }), 6);
    database->WriteSortInfoBlock(database->ReadAppInfoBlock());  // as it was read
    database->WriteAppInfoBlock({});
    database->CloseDatabase();
    ASSERT_TRUE(database->OpenDatabase());
    EXPECT_EQ(ToHex(database->ReadAppInfoBlock()), "");
    EXPECT_EQ(database->ReadSortInfoBlock().bytes().size(), size);
  }
}

}  // namespace
}  // namespace pylon

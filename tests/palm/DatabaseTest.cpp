#include "simulators/palm/Database.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/PdbTesting.h"

namespace pylon::palm {
namespace {

using testing::Ascii;
using testing::FileImage;

constexpr Date kNow = 45000.5;
constexpr Date kLater = 45001.25;

std::string Text(ByteSpan bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// "id:category:attributes:data" for each record.
std::vector<std::string> Records(const Database& database) {
  std::vector<std::string> records;
  for (int32_t index = 0; const auto record = database.At(index); ++index) {
    EXPECT_EQ(record->index, index);
    records.push_back(std::to_string(record->id) + ":" + std::to_string(record->category) + ":" +
                      std::to_string(record->attributes) + ":" + Text(record->data));
  }
  return records;
}

using Lines = std::vector<std::string>;

FileImage Image() {
  FileImage image;
  image.name = "MemoDB";
  image.creator = "memo";
  image.seed = 20;
  image.gap = 2;
  image.app_info = Ascii("app");
  image.sort_info = Ascii("sorting");
  image.records = {{0x41, 7, Ascii("one")}, {0x10, 9, Ascii("two")}, {0x00, 8, {}}};
  return image;
}

TEST(Database, ReadsAFileAndBuildsTheSameOne) {
  const Bytes file = Image().Build();
  const Database database = Database::Parse(file);
  EXPECT_EQ(database.Name(), u"MemoDB");
  EXPECT_EQ(database.creator(), 0x6D656D6Fu);
  EXPECT_EQ(Text(database.app_info()), std::string("app"));
  EXPECT_EQ(Text(database.sort_info()), "sorting");
  EXPECT_EQ(Records(database), (Lines{"7:1:64:one", "9:0:16:two", "8:0:0:"}));
  EXPECT_EQ(database.Build(), file);
  EXPECT_FALSE(database.changed());
}

TEST(Database, WritesAsAHandheldDoes) {
  Database database = Database::Parse(Image().Build());
  const uint32_t number = database.modification_number();
  EXPECT_EQ(database.Write(0, 3, eDirty | kBusy, Ascii("new"), kNow), 21u) << "behind the seed";
  EXPECT_EQ(database.Write(9, 2, 0, Ascii("changed"), kLater), 9u);
  EXPECT_EQ(Records(database), (Lines{"7:1:64:one", "9:2:0:changed", "8:0:0:", "21:3:64:new"}));
  EXPECT_EQ(database.modification_number(), number + 2);
  EXPECT_NEAR(database.modified(), kLater, 1e-6);
  EXPECT_TRUE(database.MarkDeleted(7, false, kNow));
  EXPECT_TRUE(database.MarkDeleted(21, true, kNow));
  EXPECT_EQ(Records(database), (Lines{"9:2:0:changed", "8:0:0:", "7:1:192:", "21:3:200:new"}));
  EXPECT_EQ(database.Next(0, {.secret = true, .modified = true})->id, 7u);
  database.ResetModified(kNow);
  EXPECT_FALSE(database.Next(0, {.secret = true, .modified = true}));
  EXPECT_NEAR(database.backed_up(), kNow, 1e-6);
  database.RemoveDeleted(kNow);
  EXPECT_EQ(Records(database), (Lines{"9:2:0:changed", "8:0:0:"}));
  EXPECT_EQ(Records(Database::Parse(database.Build())), Records(database));
  database.RemoveAll(kNow);
  EXPECT_EQ(database.Write(0, 0, 0, {}, kNow), 22u) << "no id comes back";
}

}  // namespace
}  // namespace pylon::palm

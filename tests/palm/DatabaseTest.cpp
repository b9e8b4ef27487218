#include "simulators/palm/Database.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "simulators/palm/SuiteError.h"
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

uint32_t ErrorOf(const std::function<void()>& call) {
  try {
    call();
    return 0;
  } catch (const SuiteError& error) {
    EXPECT_FALSE(error.description.empty());
    return error.result;
  }
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

TEST(Database, EveryCutOffFileIsRefusedOrRead) {
  const Bytes file = Image().Build();
  for (size_t size = 0; size < file.size(); ++size) {
    const Bytes part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
    // The last bytes are those of a record, which is then shorter.
    const bool readable = size >= file.size() - Ascii("onetwo").size() + 6 ||
                          ErrorOf([&] { Database::Parse(part); }) == 0;
    if (readable) {
      EXPECT_GE(size, file.size() - 6) << size;
    }
  }
}

TEST(Database, GivesIdsThatTheFileLacks) {
  FileImage image = Image();
  image.seed = 6;
  image.records = {{0, 0, Ascii("a")}, {0, 7, Ascii("b")}, {0, 7, Ascii("c")}, {0, 0, Ascii("d")}};
  const Database database = Database::Parse(image.Build());
  EXPECT_EQ(Records(database), (Lines{"8:0:0:a", "7:0:0:b", "9:0:0:c", "10:0:0:d"}));
  EXPECT_TRUE(database.changed());
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

TEST(Database, RefusesWrongCalls) {
  Database database = Database::Parse(Image().Build());
  const Bytes large(65'506);
  const struct {
    const char* what;
    std::function<void()> call;
    uint32_t error;
  } cases[] = {
      {"unknown id", [&] { database.Write(99, 0, 0, {}, kNow); }, kNotFound},
      {"category", [&] { database.Write(0, 16, 0, {}, kNow); }, kBadArgument},
      {"attributes", [&] { database.Write(0, 0, 256, {}, kNow); }, kBadArgument},
      {"size", [&] { database.Write(0, 0, 0, large, kNow); }, kBadArgument},
      {"block", [&] { database.SetAppInfo(large, kNow); }, kBadArgument},
      {"no name", [] { Database::Make(u"", 1, 2, kNow); }, kBadArgument},
      {"long name", [] { Database::Make(std::u16string(32, u'x'), 1, 2, kNow); }, kBadArgument},
      {"name outside the code page", [] { Database::Make(u"\u0416", 1, 2, kNow); }, kBadArgument},
  };
  for (const auto& c : cases) EXPECT_EQ(ErrorOf(c.call), c.error) << c.what;
  EXPECT_FALSE(database.Remove(99, kNow));
  EXPECT_FALSE(database.changed());
}

// With a look-up or an order that costs the number of records, this would take hours.
TEST(Database, HoldsAllRecordsThatAHandheldCan) {
  Database database = Database::Make(u"Large", 1, 2, kNow);
  constexpr int32_t kMost = 65'535;
  for (int32_t i = 0; i < kMost; ++i) database.Write(0, 0, eDirty, Ascii("x"), kNow);
  EXPECT_EQ(ErrorOf([&] { database.Write(0, 0, 0, {}, kNow); }), kMemoryFull);
  database = Database::Parse(database.Build());
  for (uint32_t id = 1; id <= static_cast<uint32_t>(kMost); id += 2) {
    ASSERT_TRUE(database.Remove(id, kNow));
    ASSERT_EQ(database.Find(id + 1).has_value(), id < kMost);
  }
  EXPECT_EQ(database.count(), kMost / 2);
  EXPECT_EQ(database.At(100)->id, 202u);
  EXPECT_EQ(database.Find(202)->index, 100);
}

}  // namespace
}  // namespace pylon::palm

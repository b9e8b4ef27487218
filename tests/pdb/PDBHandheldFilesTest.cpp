#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::BlockOf;
using testing::DatabaseFile;
using testing::Put;
using testing::ReadAll;
using testing::Record;
using testing::ToHex;

// Databases as they came from handhelds; not part of the project.
class HandheldFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(PYLON_HANDHELD_PDB_DIR, missing)) {
      if (entry.path().extension() != ".pdb") continue;
      std::ifstream stream(entry.path(), std::ios::binary);
      const std::string bytes(std::istreambuf_iterator<char>(stream), {});
      files_.emplace_back(entry.path().filename().string(), Ascii(bytes));
    }
    if (files_.empty()) GTEST_SKIP() << "no handheld databases in " << PYLON_HANDHELD_PDB_DIR;
  }

  std::vector<std::pair<std::string, Bytes>> files_;
};

TEST_F(HandheldFiles, AreReadWholeAndAChangeKeepsAllTheRest) {
  for (const auto& [name, bytes] : files_) {
    SCOPED_TRACE(name);
    DatabaseFile file(bytes);
    const auto database = file.Open(dftPalmHotSync);
    std::vector<Record> expected = ReadAll(*database);
    ASSERT_FALSE(expected.empty());
    const Bytes app_info = BlockOf(database->ReadAppInfoBlock());
    size_t total = app_info.size() + BlockOf(database->ReadSortInfoBlock()).size();
    for (const Record& record : expected) {
      EXPECT_GT(record.id, 0);
      total += record.data.size();
    }
    EXPECT_LE(bytes.size() - 78 - 8 * expected.size() - total, 2u);  // at most the customary gap
    database->CloseDatabase();
    EXPECT_EQ(file.bytes(), bytes);

    database->SetDatabaseFor(dftWindows);
    ASSERT_TRUE(database->OpenDatabase());
    expected[0].data = Ascii("changed");
    Put(*database, 1, expected[0]);
    for (const char* text : {"new", "newer"}) {
      expected.push_back({0, 0, 0, Ascii(text)});
      expected.back().id = Put(*database, 0, expected.back());
    }
    database->CloseDatabase();
    ASSERT_TRUE(database->OpenDatabase());
    EXPECT_EQ(ReadAll(*database), expected);
    EXPECT_EQ(BlockOf(database->ReadAppInfoBlock()), app_info);
    // The header except dates, offsets, ids and count.
    const auto part = [](const Bytes& from, size_t start, size_t size) {
      return ToHex(ByteSpan(from).subspan(start, size));
    };
    for (const auto& [start, size] : {std::pair(0u, 40u), {44u, 8u}, {60u, 8u}}) {
      EXPECT_EQ(part(file.bytes(), start, size), part(bytes, start, size));
    }
  }
}

}  // namespace
}  // namespace pylon

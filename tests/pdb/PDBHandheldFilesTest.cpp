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

TEST_F(HandheldFiles, OpenReadAndStayAsTheyAre) {
  for (const auto& [name, bytes] : files_) {
    SCOPED_TRACE(name);
    DatabaseFile file(bytes);
    const auto database = file.Open(dftPalmHotSync);
    size_t total = 0;
    for (const Record& record : ReadAll(*database)) {
      EXPECT_GT(record.id, 0);
      total += record.data.size();
    }
    PDBByteStream block;
    database->ReadAppInfoBlock(block);
    total += BlockOf(block).size();
    database->ReadSortInfoBlock(block);
    total += BlockOf(block).size();
    const auto front = 78 + 8 * static_cast<size_t>(database->RecordCount());
    EXPECT_LE(bytes.size() - front - total, 2u);  // at most the customary gap
    database->CloseDatabase();
    EXPECT_EQ(file.bytes(), bytes);
  }
}

TEST_F(HandheldFiles, AChangeKeepsAllTheRest) {
  for (const auto& [name, bytes] : files_) {
    SCOPED_TRACE(name);
    DatabaseFile file(bytes);
    const auto database = file.Open();
    std::vector<Record> expected = ReadAll(*database);
    ASSERT_FALSE(expected.empty());
    PDBByteStream app_info, again;
    database->ReadAppInfoBlock(app_info);
    expected[0].data = Ascii("changed");
    Put(*database, 1, expected[0]);
    for (const char* text : {"new", "newer"}) {
      expected.push_back({0, 0, 0, Ascii(text)});
      expected.back().id = Put(*database, 0, expected.back());
    }
    database->CloseDatabase();
    ASSERT_TRUE(database->OpenDatabase());
    EXPECT_EQ(ReadAll(*database), expected);
    database->ReadAppInfoBlock(again);
    EXPECT_EQ(BlockOf(again), BlockOf(app_info));
    // The header but for dates, offsets, ids and count.
    const auto part = [](const Bytes& from, size_t start, size_t size) {
      return ToHex(ByteSpan(from).subspan(start, size));
    };
    EXPECT_EQ(part(file.bytes(), 0, 40), part(bytes, 0, 40));
    EXPECT_EQ(part(file.bytes(), 44, 8), part(bytes, 44, 8));
    EXPECT_EQ(part(file.bytes(), 60, 8), part(bytes, 60, 8));
  }
}

}  // namespace
}  // namespace pylon

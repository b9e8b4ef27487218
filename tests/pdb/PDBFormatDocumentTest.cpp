#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::DatabaseFile;
using testing::FromHex;
using testing::Put;
using testing::StreamOf;
using testing::ToHex;

// The hex dump of the format page: lines of eight digits of offset, a colon and up to 16 bytes.
Bytes BytesOfThePage() {
  std::ifstream page(PYLON_DOCS_DIR "/pdb-format.md");
  Bytes bytes;
  for (std::string line; std::getline(page, line);) {
    if (line.size() < 11 || line.find_first_not_of("0123456789abcdef") != 8 || line[8] != ':') {
      continue;
    }
    const Bytes row = FromHex(line.substr(10, 47));
    bytes.insert(bytes.end(), row.begin(), row.end());
  }
  return bytes;
}

TEST(PDBFormatDocument, TheWorkedExampleIsWhatADatabaseWrites) {
  DatabaseFile file;
  const auto database = file.Database(dftWindows);
  database->SetPDBDatabaseName(u"Notes");
  database->SetCreatorId(u"memo");
  ASSERT_TRUE(database->CreateDatabase());
  database->WriteAppInfoBlock(StreamOf(Ascii("Shops")));
  Put(*database, 0, {0, 1, eDirty, Ascii(std::string("Milk", 5))});
  Put(*database, 0, {0, 2, eDelete | eArchive, Ascii(std::string("Bread", 6))});
  database->CloseDatabase();
  EXPECT_EQ(ToHex(BytesOfThePage()), ToHex(file.bytes()));
}

}  // namespace
}  // namespace pylon

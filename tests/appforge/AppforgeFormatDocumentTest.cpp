#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "appforge/PDBAppforgeRecord.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::FromHex;
using testing::StreamOf;
using testing::ToHex;

// The hex dumps of the format page: lines of eight digits of offset, a colon and up to 16 bytes.
// One begins at each offset 0.
std::vector<Bytes> DumpsOfThePage() {
  std::ifstream page(PYLON_DOCS_DIR "/appforge-format.md");
  std::vector<Bytes> dumps;
  Bytes row;
  for (std::string line; std::getline(page, line);) {
    if (line.size() < 11 || line.find_first_not_of("0123456789abcdef") != 8 || line[8] != ':') {
      continue;
    }
    if (line.starts_with("00000000")) dumps.emplace_back();
    Bytes& dump = dumps.back();
    const Bytes before = row;
    row = FromHex(line.substr(10, 47));
    while (dump.size() < std::stoul(line, nullptr, 16)) {
      dump.insert(dump.end(), before.begin(), before.end());
    }
    dump.insert(dump.end(), row.begin(), row.end());
  }
  return dumps;
}

TEST(AppforgeFormatDocument, TheWorkedExampleIsWhatIsReadAndWritten) {
  const std::vector<Bytes> dumps = DumpsOfThePage();
  ASSERT_EQ(dumps.size(), 3U);
  const auto definition = std::make_shared<PDBAppforgeDefinition>();
  ASSERT_TRUE(definition->IsAppforgeData(StreamOf(dumps[0])));
  definition->SetSortInfoBlock(StreamOf(dumps[1]));
  // The categories and the table's name come with the block.
  definition->ClearFieldName();
  definition->AddFieldName(u"Item", eStringField);
  definition->AddFieldName(u"Count", eIntegerField);
  definition->AddFieldName(u"Price", eCurrencyField);
  definition->AddFieldName(u"Bought", eDateField);
  EXPECT_EQ(ToHex(definition->AppInfoBlock().BlockBytes()), ToHex(dumps[0]));
  ASSERT_EQ(definition->SortFieldCount(), 1);
  EXPECT_EQ(definition->SortFieldIndex(0), 1);
  EXPECT_EQ(ToHex(definition->SortInfoBlock().BlockBytes()), ToHex(dumps[1]));

  PDBAppforgeRecord record;
  record.SetAppforgeDefinition(definition);
  record.SetStringValue(1, u"Caf\u00E9");
  record.SetIntegerValue(2, 12);
  record.SetCurrencyValue(3, Currency{24900});
  record.SetStringValue(4, u"2023-03-15 18:00:00");
  PDBByteStream stream;
  record.Encode(stream);
  EXPECT_EQ(ToHex(stream.RecordBytes()), ToHex(dumps[2]));
}

}  // namespace
}  // namespace pylon

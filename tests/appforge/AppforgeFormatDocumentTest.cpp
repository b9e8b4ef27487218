#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "appforge/PDBAppforgeRecord.h"
#include "tests/support/DocumentHex.h"

namespace pylon {
namespace {

using testing::DumpsOfPage;
using testing::StreamOf;
using testing::ToHex;

TEST(AppforgeFormatDocument, TheWorkedExampleIsWhatIsReadAndWritten) {
  const std::vector<Bytes> dumps = DumpsOfPage(PYLON_DOCS_DIR "/appforge-format.md");
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

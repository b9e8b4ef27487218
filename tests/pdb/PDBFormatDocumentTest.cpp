#include <gtest/gtest.h>

#include <string>

#include "pdb/CSyncIndex.h"
#include "tests/support/DocumentHex.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::DatabaseFile;
using testing::DumpsOfPage;
using testing::Put;
using testing::ToHex;

TEST(PDBFormatDocument, TheWorkedExampleIsWhatADatabaseWrites) {
  DatabaseFile file;
  const auto database = file.Database(dftWindows);
  database->SetPDBDatabaseName(u"Notes");
  database->SetCreatorId(u"memo");
  ASSERT_TRUE(database->CreateDatabase());
  database->WriteAppInfoBlock(Ascii("Shops"));
  Put(*database, 0, {0, 1, eDirty, Ascii(std::string("Milk") + '\0')});
  Put(*database, 0, {0, 2, eDelete | eArchive, Ascii(std::string("Bread") + '\0')});
  database->CloseDatabase();
  EXPECT_EQ(ToHex(DumpsOfPage(PYLON_DOCS_DIR "/pdb-format.md").at(0)), ToHex(file.bytes()));
}

TEST(SyncIndexDocument, TheWorkedExampleIsWhatAnIndexWrites) {
  DatabaseFile file;
  CSyncIndex index({file.folder.Factory(),
                    AnsiCodePage::Windows1252(),
                    file.clock,
                    file.log,
                    {},
                    u"C:\\data",
                    u"PC"});
  index.SetDatabase({}, u"Stock");
  index.Add(u"A-100", 1);
  index.Add(u"Caf\u00E9", 0x123456);
  index.CloseIndex();
  EXPECT_EQ(ToHex(DumpsOfPage(PYLON_DOCS_DIR "/sync-index.md").at(0)),
            ToHex(file.folder.files[u"C:\\data\\PC\\Stock.si"]));
}

}  // namespace
}  // namespace pylon

#include "tests/hotsync/DatabasePlaceTest.h"

#include <gmock/gmock.h>

#include <functional>
#include <vector>

#include "appforge/AppforgeAppSettings.h"
#include "appforge/PDBAppforgeDefinition.h"
#include "tests/hotsync/HandheldRun.h"
#include "tests/support/Errors.h"
#include "tests/support/FileText.h"
#include "tests/support/PdbTesting.h"

namespace pylon::testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAreArray;
using ::testing::Gt;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

constexpr size_t kMost = 1000;  // records that a loop reads, should it find no end

// The texts of the records from the cursor on.
Texts ReadOn(PDBDatabase& database) {
  Texts texts;
  for (Reader r; texts.size() < kMost && r.Next(database);)
    texts.push_back(TextOf(r.stream.RecordBytes()));
  return texts;
}
Texts AllTexts(PDBDatabase& database) {
  database.SetIterationIndex(1);
  return ReadOn(database);
}
Texts ModifiedTexts(PDBDatabase& database) {
  Texts texts;
  database.SetIterationIndex(1);
  for (Reader r; texts.size() < kMost && r.NextModified(database);) {
    texts.push_back(TextOf(r.stream.RecordBytes()));
  }
  return texts;
}

// Adds a record for each text; the ids that they got.
std::vector<int32_t> Add(PDBDatabase& database, const Texts& texts, int32_t attributes = 0) {
  std::vector<int32_t> ids;
  for (const std::string& text : texts) {
    ids.push_back(Put(database, 0, {0, 0, attributes, Ascii(text)}));
  }
  return ids;
}

}  // namespace

TEST_P(DatabasePlaceTest, RecordsOutliveTheSync) {
  std::shared_ptr<PDBDatabase> database = Create();
  EXPECT_EQ(database->RecordCount(), 0);
  EXPECT_TRUE(database->EOF_());
  const std::vector<int32_t> ids = Add(*database, {"a", "b", "c"});
  EXPECT_THAT(ids, Each(Gt(0)));
  EXPECT_EQ(Put(*database, 2, {ids[1], 7, eSecret | eDirty, Ascii("B")}), ids[1]);
  EXPECT_EQ(Put(*database, 3, {0, 0, 0, Ascii("C")}), ids[2]);
  const std::vector<Record> expected = {{ids[0], 0, 0, Ascii("a")},
                                        {ids[1], 7, eSecret | eDirty, Ascii("B")},
                                        {ids[2], 0, 0, Ascii("C")}};
  for (const bool closed : {false, true}) {
    SCOPED_TRACE(closed);
    EXPECT_THAT(ReadAll(*database), ElementsAreArray(expected));
    EXPECT_TRUE(database->EOF_());
    Reader r;
    EXPECT_TRUE(r.ByIndex(*database, 3));
    EXPECT_EQ(r.id, ids[2]);
    EXPECT_TRUE(r.ById(*database, ids[1]));
    EXPECT_EQ(r.index, 2);
    EXPECT_EQ(r.category, 7);
    EXPECT_FALSE(r.ByIndex(*database, 0));
    EXPECT_FALSE(r.ByIndex(*database, 4));
    EXPECT_FALSE(r.ById(*database, 0xFFFFFF));
    database->CloseDatabase();
    NextSync();
    database = Open();
  }
  database->Remove(ids[0]);
  NextSync();
  EXPECT_EQ(AllTexts(*Open()), Texts({"B", "C"}));
}

TEST_P(DatabasePlaceTest, BadArgumentsChangeNothing) {
  const std::shared_ptr<PDBDatabase> database = Create();
  const std::vector<int32_t> ids = Add(*database, {"a", "b"});
  const struct {
    const char* name;
    int32_t index;
    Record record;
  } cases[] = {{"category below 0", 1, {ids[0], -1, 0, {}}},
               {"category above 15", 1, {ids[0], 16, 0, {}}},
               {"attributes below 0", 1, {ids[0], 0, -1, {}}},
               {"attributes above 255", 1, {ids[0], 0, 256, {}}},
               {"id below 0", 1, {-1, 0, 0, {}}},
               {"id above 24 bits", 1, {0x1000000, 0, 0, {}}},
               {"id of another record", 1, {ids[1], 0, 0, {}}},
               {"id of a record for a new one", 0, {ids[0], 0, 0, {}}}};
  for (const auto& c : cases) {
    EXPECT_EQ(ErrorOf([&] { Put(*database, c.index, c.record); }), 5) << c.name;
  }
  for (const int32_t id : {0xFFFFFF, 0, -1}) {
    EXPECT_EQ(ErrorOf([&] { database->Remove(id); }), 5) << id;
  }
  EXPECT_EQ(AllTexts(*database), Texts({"a", "b"}));
}

TEST_P(DatabasePlaceTest, MembersOfAClosedDatabaseRaise) {
  const std::shared_ptr<PDBDatabase> database = Create();
  Put(*database, 0, {0, 0, 0, Ascii("a")});
  database->CloseDatabase();
  EXPECT_FALSE(database->IsOpen());
  PDBDatabase& d = *database;
  const std::function<void()> calls[] = {[&] { (void)d.Next(); },
                                         [&] { (void)d.ByIndex(1); },
                                         [&] { (void)d.ById(1); },
                                         [&] { (void)d.NextModified(); },
                                         [&] { d.Update(0, 0, 0, 0, {}); },
                                         [&] { d.Remove(7); },
                                         [&] { d.RemoveAll(); },
                                         [&] { d.RemoveWithDeleteFlag(); },
                                         [&] { d.ResetModifyFlags(); },
                                         [&] { (void)d.ReadAppInfoBlock(); },
                                         [&] { d.WriteAppInfoBlock({}); },
                                         [&] { (void)d.ReadSortInfoBlock(); },
                                         [&] { d.WriteSortInfoBlock({}); },
                                         [&] { (void)d.RecordCount(); },
                                         [&] { (void)d.IterationIndex(); },
                                         [&] { d.SetIterationIndex(1); },
                                         [&] { (void)d.BOF(); },
                                         [&] { (void)d.EOF_(); }};
  for (const auto& call : calls) EXPECT_EQ(ErrorOf(call), 5) << "call " << &call - calls;
  d.CloseDatabase();  // nothing to do, and no error
  EXPECT_EQ(AllTexts(*Open()), Texts({"a"}));
}

TEST_P(DatabasePlaceTest, TheCursorIsWithinTheRecords) {
  const std::shared_ptr<PDBDatabase> database = Create();
  Add(*database, {"a", "b", "c"});
  const struct {
    int32_t set, cursor;
    bool bof, eof;
  } cases[] = {{-5, 0, true, false}, {0, 0, true, false}, {1, 1, false, false},
               {3, 3, false, false}, {4, 4, false, true}, {99, 4, false, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.set);
    database->SetIterationIndex(c.set);
    EXPECT_EQ(database->IterationIndex(), c.cursor);
    EXPECT_EQ(database->BOF(), c.bof);
    EXPECT_EQ(database->EOF_(), c.eof);
    EXPECT_EQ(database->Next().has_value(), !c.eof);
    EXPECT_EQ(database->IterationIndex(), c.eof ? 4 : std::max(c.cursor, 1) + 1);
  }
  EXPECT_TRUE(database->OpenDatabase());  // which it is: changes stay, and the cursor starts again
  EXPECT_EQ(ReadOn(*database), Texts({"a", "b", "c"}));
}

TEST_P(DatabasePlaceTest, ModifiedRecordsAreReadOnceEach) {
  const std::shared_ptr<PDBDatabase> database = Create();
  Add(*database, {"a", "b"}, eDirty);
  Add(*database, {"c"});
  EXPECT_EQ(ModifiedTexts(*database), Texts({"a", "b"}));
  // A plain read goes on behind the record too; setting the cursor reads it again.
  for (const int32_t expected : {2, 1}) {
    database->SetIterationIndex(1);
    EXPECT_EQ(database->NextModified()->index, 1);
    EXPECT_EQ(database->IterationIndex(), 1);
    if (expected == 1) database->SetIterationIndex(database->IterationIndex());
    EXPECT_EQ(database->Next()->index, expected);
  }
}

TEST_P(DatabasePlaceTest, AttributesAndCategoryShareAByte) {
  const struct {
    int32_t attributes;
    int16_t category;
    int32_t attributes_read;
    int16_t category_read;
  } cases[] = {{0, 15, 0, 15},           {eSecret | eDirty, 8, eSecret | eDirty, 8},
               {eArchive, 3, 0, 3},      {eDelete | eArchive, 3, eDelete | eArchive, 3},
               {eDelete, 9, eDelete, 1}, {7, 0, 0, 0}};
  std::shared_ptr<PDBDatabase> database = Create();
  for (const auto& c : cases) Put(*database, 0, {0, c.category, c.attributes, Ascii("x")});
  NextSync();
  const std::vector<Record> records = ReadAll(*Open());
  ASSERT_EQ(records.size(), std::size(cases));
  for (size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(records[i].attributes, cases[i].attributes_read) << i;
    EXPECT_EQ(records[i].category, cases[i].category_read) << i;
  }
}

TEST_P(DatabasePlaceTest, TheCursorStaysWithItsRecord) {
  enum Kind { kAll, kModified };
  const struct {
    const char* name;
    Kind kind;          // of reading
    int read;           // so many
    size_t removed[2];  // then remove these, by the order in which they were added
    Texts rest;         // what ReadNext gives then
  } cases[] = {{"the one just read", kAll, 2, {1, 1}, {"c", "d", "e"}},
               {"those before", kAll, 3, {0, 1}, {"d", "e"}},
               {"the next", kAll, 2, {2, 2}, {"d", "e"}},
               {"one behind the next", kAll, 1, {3, 3}, {"b", "c", "e"}},
               {"before and behind", kAll, 2, {0, 3}, {"c", "e"}},
               {"at the end", kAll, 5, {0, 4}, {}},
               {"nothing read", kAll, 0, {1, 0}, {"c", "d", "e"}},
               {"modified: the one just read", kModified, 2, {1, 1}, {"c", "d", "e"}},
               {"modified: one before", kModified, 2, {0, 0}, {"c", "d", "e"}},
               {"modified: the next", kModified, 2, {2, 2}, {"d", "e"}}};
  for (const auto& c : cases) {
    for (const bool known : {true, false}) {
      SCOPED_TRACE(std::string(c.name) + (known ? "" : ", opened again"));
      std::shared_ptr<PDBDatabase> database = Create();
      const std::vector<int32_t> ids = Add(*database, {"a", "b", "c", "d", "e"}, eDirty);
      if (!known) {
        NextSync();
        database = Open();
      }
      database->SetIterationIndex(1);
      Reader r;
      for (int i = 0; i < c.read; ++i) {
        EXPECT_TRUE(c.kind == kAll ? r.Next(*database) : r.NextModified(*database));
      }
      database->Remove(ids[c.removed[0]]);
      if (c.removed[1] != c.removed[0]) database->Remove(ids[c.removed[1]]);
      EXPECT_EQ(database->EOF_(), c.rest.empty());
      EXPECT_EQ(ReadOn(*database), c.rest);
      database->RemoveAll();
      EXPECT_EQ(database->RecordCount(), 0);
      EXPECT_EQ(database->IterationIndex(), 1);
    }
  }
}

TEST_P(DatabasePlaceTest, FlagsAreResetAndDeletedRecordsRemoved) {
  for (const bool remove_first : {true, false}) {
    for (const bool read : {true, false}) {
      SCOPED_TRACE(std::to_string(remove_first) + std::to_string(read));
      Create();
      Add(*Open(), {"new"}, eDirty);
      Add(*Open(), {"old"});
      Add(*Open(), {"gone", "archived"}, eDelete | eDirty);
      Add(*Open(), {"secret"}, eSecret | eDirty);
      NextSync();
      const std::shared_ptr<PDBDatabase> database = Open();
      if (read) {
        EXPECT_EQ(ModifiedTexts(*database), Texts({"new", "gone", "archived", "secret"}));
        EXPECT_TRUE(database->EOF_());
      }
      database->SetIterationIndex(5);
      if (remove_first) database->RemoveWithDeleteFlag();
      database->ResetModifyFlags();
      database->RemoveWithDeleteFlag();
      EXPECT_EQ(database->RecordCount(), 3);
      EXPECT_EQ(ReadOn(*database), Texts({"secret"}));
      EXPECT_THAT(ModifiedTexts(*database), IsEmpty());
      NextSync();
      const std::vector<Record> records = ReadAll(*Open());
      ASSERT_EQ(records.size(), 3U);
      EXPECT_EQ(records[0].attributes, 0);
      EXPECT_EQ(records[2].attributes, eSecret);
    }
  }
}

TEST_P(DatabasePlaceTest, BlocksAreKeptAndGoWithTheDatabase) {
  const Bytes app_info = Ascii(std::string(600, 'a')), sort_info = Ascii("sort");
  const std::shared_ptr<PDBDatabase> created = Create();
  EXPECT_EQ(ToHex(created->ReadAppInfoBlock()), "");
  created->WriteAppInfoBlock(app_info);
  created->WriteSortInfoBlock(sort_info);
  Add(*created, {"a"});
  NextSync();
  const std::shared_ptr<PDBDatabase> opened = Open();
  EXPECT_EQ(ToHex(opened->ReadAppInfoBlock()), ToHex(app_info));
  EXPECT_EQ(ToHex(opened->ReadSortInfoBlock()), ToHex(sort_info));
  opened->CloseDatabase();

  Create();  // in the place of that one
  NextSync();
  const std::shared_ptr<PDBDatabase> empty = Open();
  EXPECT_EQ(empty->RecordCount(), 0);
  EXPECT_EQ(ToHex(empty->ReadAppInfoBlock()) + ToHex(empty->ReadSortInfoBlock()), "");
}

TEST_P(DatabasePlaceTest, TheSyncIndexFindsRecordsInLaterSyncs) {
  std::shared_ptr<PDBDatabase> database = Create();
  const std::vector<int32_t> ids = Add(*database, {"a", "b"});
  database->SyncIndex()->Add(u"bread", ids[0]);
  database->SyncIndex()->Add(u"milk", ids[1]);
  database->CloseDatabase();
  NextSync();

  database = Open();
  Reader r;
  EXPECT_TRUE(r.ById(*database, database->SyncIndex()->UniqueId(u"milk")));
  EXPECT_EQ(TextOf(r.stream.RecordBytes()), "b");
  database->SyncIndex()->Remove(u"bread");
  NextSync();  // which closes it

  database = Open();
  EXPECT_EQ(database->SyncIndex()->UniqueId(u"bread"), 0);
  EXPECT_EQ(database->SyncIndex()->UniqueId(u"milk"), ids[1]);
  database->CloseDatabase();
  EXPECT_TRUE(files_->DeleteDatabase(u"Stock"));
  NextSync();

  Create();
  NextSync();
  EXPECT_EQ(Open()->SyncIndex()->UniqueId(u"milk"), 0);
}

TEST_P(DatabasePlaceTest, DatabasesAreFoundByTheirExactName) {
  Add(*Create(u"Stock"), {"a"});
  EXPECT_EQ(Open(u"Stock"), Open(u"Stock"));
  EXPECT_EQ(files_->DatabaseCount(), 1);
  EXPECT_EQ(files_->Database(1), Open(u"Stock"));
  std::shared_ptr<PDBDatabase> database;
  EXPECT_FALSE(files_->OpenDatabase(u"Other", database));
  ASSERT_TRUE(database);
  EXPECT_EQ(ErrorOf([&] { (void)database->RecordCount(); }), 5);
  EXPECT_TRUE(files_->DeleteDatabase(u"Stock"));
  NextSync();
  EXPECT_FALSE(files_->OpenDatabase(u"Stock", database));

  const std::shared_ptr<PDBDatabase> created = Create(u"Stock");
  created->SetCreatorId(u"memo");
  Add(*created, {"a"});
  NextSync();
  EXPECT_EQ(Open(u"Stock")->CreatorId(), u"memo");
  Failures failures;
  EXPECT_TRUE(files_->End(failures));
  EXPECT_FALSE(files_->OpenDatabase(u"Stock", database));
  EXPECT_FALSE(files_->CreateDatabase(u"Stock", database));
  EXPECT_FALSE(files_->DeleteDatabase(u"Stock"));
  EXPECT_EQ(files_->DatabaseCount(), 0);
}

TEST_P(DatabasePlaceTest, SettingsOfApplicationsAreInTheirTable) {
  NoUserSettings store;
  const auto run = std::make_shared<HandheldRun>(files_);
  AppforgeAppSettings settings(run, store, AnsiCodePage::Windows1252());
  const auto get = [&](const char16_t* section, const char16_t* key) {
    return settings.GetSettings(u"Memo", section, key, u"default");
  };
  EXPECT_EQ(get(u"", u"Font"), u"");
  EXPECT_EQ(files_->DatabaseCount(), 1);  // asked for, and not made
  std::shared_ptr<PDBDatabase> table;
  EXPECT_FALSE(files_->OpenDatabase(u"Memo-Settings", table));

  settings.SaveSettings(u"Memo", u"", u"Font", u"Tahoma");  // makes the table and adds no setting
  NextSync();
  run->files = files_;
  table = Open(u"Memo-Settings");
  EXPECT_EQ(table->RecordCount(), 0);
  PDBByteStream block;
  block.Fill(table->ReadAppInfoBlock());
  PDBAppforgeDefinition definition;
  EXPECT_TRUE(definition.IsAppforgeData(block));
  EXPECT_EQ(definition.FieldCount(), 3);

  using namespace std::string_literals;
  Put(*table, 0, {0, 0, eDelete | eDirty, {}});  // all that handhelds leave of a deleted one
  Put(*table, 0, {0, 5, eSecret, Ascii("Size\0\0\0"s)});
  Put(*table, 0, {0, 0, 0, Ascii("Font\0Arial\0\0"s)});
  table->SetIterationIndex(3);
  EXPECT_EQ(get(u"", u"Font"), u"Arial");
  EXPECT_EQ(get(u"Arial", u"Font"), u"");
  EXPECT_EQ(get(u"", u"font"), u"");
  settings.SaveSettings(u"Memo", u"", u"Size", u"12");
  EXPECT_EQ(table->IterationIndex(), 3);
  settings.DeleteSettings(u"Memo", u"", u"Font");
  table->CloseDatabase();
  EXPECT_EQ(get(u"", u"Size"), u"12");
  EXPECT_EQ(get(u"", u"Font"), u"");
  EXPECT_EQ(ErrorOf([&] { (void)table->RecordCount(); }), 5);  // closed again
  table = Open(u"Memo-Settings");
  table->RemoveWithDeleteFlag();
  const std::vector<Record> records = ReadAll(*table);
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].attributes, eSecret);
  EXPECT_EQ(records[0].category, 5);
}

}  // namespace pylon::testing

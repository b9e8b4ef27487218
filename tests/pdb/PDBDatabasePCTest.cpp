#include "pdb/PDBDatabasePC.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "tests/support/Errors.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::BlockOf;
using testing::DatabaseFile;
using ::testing::ElementsAre;
using testing::ErrorOf;
using testing::FileImage;
using testing::FileOperation;
using testing::FromHex;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::MemoryFolder;
using testing::Put;
using testing::ReadAll;
using testing::Reader;
using testing::Record;
using testing::StreamOf;
using testing::ToHex;

FileImage ThreeRecords() {
  FileImage image;
  image.records = {{0x41, 7, Ascii("one")}, {0x92, 8, Ascii("two")}, {0x03, 9, Ascii("three")}};
  return image;
}

// The index of each record that ReadNextModified hands out, from the cursor on.
std::vector<int32_t> ModifiedFromHere(PDBDatabase& database) {
  std::vector<int32_t> indexes;
  Reader reader;
  while (reader.NextModified(database)) {
    EXPECT_EQ(database.IterationIndex(), reader.index);
    indexes.push_back(reader.index);
    if (indexes.size() > 1000) break;
  }
  return indexes;
}

TEST(PDBDatabasePC, AnEmptyDatabaseIsABareHeader) {
  DatabaseFile file;
  const auto database = file.Database();
  ASSERT_TRUE(database->CreateDatabase());
  EXPECT_FALSE(file.exists());  // nothing before the close
  database->CloseDatabase();

  FileImage expected;
  expected.creator.clear();
  expected.created = expected.modified = 14 * 86400;  // see PDBUtils.DateToPalmLong
  expected.next_id = 1;
  EXPECT_EQ(ToHex(file.bytes()), ToHex(expected.Build()));
  EXPECT_EQ(database->PDBDatabaseName(), u"Test");  // its file's
  EXPECT_EQ(database->DatabaseType(), u"DATA");
}

TEST(PDBDatabasePC, FilesOfEveryPlatform) {
  for (const auto database_for :
       {dftPalmHotSync, dftPalmVFS, dftPocketPC, dftSymbian, dftWindows, dftActiveSync}) {
    SCOPED_TRACE(database_for);
    const bool padded = database_for == dftPalmHotSync || database_for == dftPalmVFS;
    FileImage expected;
    expected.name = "caf\xE9";
    expected.type = "memo";
    expected.creator = "appl";
    expected.created = expected.modified = 14 * 86400;
    expected.little = database_for == dftPalmVFS;
    expected.app_info = Ascii("categories");
    expected.sort_info = Ascii("order");
    expected.records = {{0x4F, database_for == dftPalmHotSync ? 0u : 0x8001u, Ascii("new")},
                        {0x93, 0x8000, Ascii("given")},  // Int24ToByte would refuse this id
                        {0, 0, {}}};
    if (database_for != dftPalmHotSync) {
      expected.seed = 0x8001;
      expected.next_id = 0x8002;
    }
    if (padded) {
      expected.app_info.resize(512);
      expected.sort_info.resize(512);
    }

    DatabaseFile file;
    const auto database = file.Database(database_for);
    database->SetPDBDatabaseName(u"caf\u00E9");
    database->SetDatabaseType(u"memo");
    database->SetCreatorId(u"appl");
    ASSERT_TRUE(database->CreateDatabase());
    database->WriteAppInfoBlock(StreamOf(Ascii("categories")));
    database->WriteSortInfoBlock(StreamOf(Ascii("order")));
    Put(*database, 0, {0x8000, 3, eDelete | eSecret, Ascii("given")});
    const int32_t id = Put(*database, 0, {0, 15, eDirty, Ascii("new")});
    EXPECT_EQ(id, database_for == dftPalmHotSync ? 0 : 0x8001);
    EXPECT_EQ(Put(*database, 0, {}), 0);  // no data, no id
    std::swap(expected.records[0], expected.records[1]);
    database->CloseDatabase();
    EXPECT_EQ(ToHex(file.bytes()), ToHex(expected.Build()));

    // And it opens again as it was written.
    ASSERT_TRUE(database->OpenDatabase()) << file.log->lines.back();
    EXPECT_EQ(database->DatabaseType(), u"memo");
    EXPECT_THAT(ReadAll(*database),
                ElementsAre(Record{0x8000, 3, eDelete | eSecret, Ascii("given")},
                            Record{id, 15, eDirty, Ascii("new")}, Record{}));
    PDBByteStream block;
    database->ReadAppInfoBlock(block);
    EXPECT_EQ(BlockOf(block), expected.app_info);
    database->ReadSortInfoBlock(block);
    EXPECT_EQ(BlockOf(block), expected.sort_info);
  }
}

TEST(PDBDatabasePC, BlockBytesAreTakenWithoutTheWritersSpareOne) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  PDBByteStream stream;
  database->ReadAppInfoBlock(stream);
  EXPECT_EQ(stream.length(), 0);
  int32_t offset = 0;
  stream.LongToByte(1, offset);
  database->WriteAppInfoBlock(stream);
  stream.SetByteArray({FromHex("01 02 03"), 0});
  database->WriteSortInfoBlock(stream);
  database->CloseDatabase();
  ASSERT_TRUE(database->OpenDatabase());
  database->ReadAppInfoBlock(stream);
  EXPECT_EQ(ToHex(BlockOf(stream)), "01 00 00 00");
  database->ReadSortInfoBlock(stream);
  EXPECT_EQ(ToHex(BlockOf(stream)), "01 02 03");

  // Read, change, write back keeps the length; an empty stream removes the block.
  database->WriteSortInfoBlock(stream);
  database->WriteAppInfoBlock(PDBByteStream());
  EXPECT_EQ(ErrorOf([&] { database->WriteAppInfoBlock(StreamOf(Bytes(32768))); }), 6);
  database->CloseDatabase();
  FileImage expected = ThreeRecords();
  expected.sort_info = FromHex("01 02 03");
  expected.seed = 9;
  expected.next_id = 10;
  expected.modified = 14 * 86400;
  EXPECT_EQ(ToHex(file.bytes()), ToHex(expected.Build()));
}

TEST(PDBDatabasePC, WhatWasOnlyReadIsNotWritten) {
  FileImage image = ThreeRecords();
  image.gap = 2;
  image.app_info = Bytes(20, std::byte{5});
  DatabaseFile file(image);
  const auto database = file.Open(dftPalmHotSync);
  EXPECT_EQ(ReadAll(*database).size(), 3u);
  database->SetPDBDatabaseName(u"Test");
  file.folder.ResetOperations();
  database->CloseDatabase();
  EXPECT_EQ(file.folder.operations(), 1);  // the close
  EXPECT_EQ(ToHex(file.bytes()), ToHex(image.Build()));
}

TEST(PDBDatabasePC, EveryAttributesByteAndIdSurvivesAChangeElsewhere) {
  FileImage image;
  image.attributes = 0xABCD;
  image.version = 7;
  image.created = 0xB0000000;
  image.backed_up = 0x12345678;
  image.modification_number = 99;
  image.name = std::string("Name\0left over", 14);
  image.type = std::string("a\0bc", 4);
  image.seed = 0xFFFFFF;
  for (uint32_t i = 0; i < 256; ++i) {
    image.records.push_back({static_cast<uint8_t>(i), 0xFFFFFF - 255 + i, Ascii("r")});
  }
  DatabaseFile file(image);
  const auto database = file.Open();
  const std::vector<Record> records = ReadAll(*database);
  for (int32_t i = 0; i < 256; ++i) {
    EXPECT_EQ(Put(*database, i + 1, records[static_cast<size_t>(i)]), 0xFFFFFF - 255 + i);
  }
  database->CloseDatabase();
  image.modified = 14 * 86400;
  image.next_id = 0x1000000;
  EXPECT_EQ(ToHex(file.bytes()), ToHex(image.Build()));
}

TEST(PDBDatabasePC, RecordsAreReadByIndexIdAndInOrder) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  EXPECT_EQ(database->RecordCount(), 3);
  EXPECT_EQ(database->IterationIndex(), 1);
  EXPECT_THAT(ReadAll(*database), ElementsAre(Record{7, 1, eDirty, Ascii("one")},
                                              Record{8, 2, eDelete | eSecret, Ascii("two")},
                                              Record{9, 3, 0, Ascii("three")}));
  EXPECT_TRUE(database->EOF_());
  EXPECT_EQ(database->IterationIndex(), 4);

  Reader reader;
  EXPECT_TRUE(reader.ByIndex(*database, 2));
  EXPECT_EQ(reader.id, 8);
  EXPECT_TRUE(reader.ById(*database, 9));
  EXPECT_EQ(reader.index, 3);
  EXPECT_EQ(reader.stream.length(), 5);
  for (const int32_t missing : {-1, 0, 4}) {
    EXPECT_FALSE(reader.ByIndex(*database, missing));
  }
  for (const int32_t missing : {-1, 0, 10, 0x1000007}) {
    EXPECT_FALSE(reader.ById(*database, missing));
  }
  EXPECT_EQ(reader.stream.length(), 5);  // untouched
  EXPECT_TRUE(database->EOF_());         // and so is the cursor
}

TEST(PDBDatabasePC, TheCursor) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
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
    Reader reader;
    EXPECT_EQ(reader.Next(*database), !c.eof);
    EXPECT_EQ(database->IterationIndex(), c.eof ? 4 : std::max(c.cursor, 1) + 1);
  }
}

TEST(PDBDatabasePC, ModifiedRecordsAreReadOnceEach) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  EXPECT_THAT(ModifiedFromHere(*database), ElementsAre(1, 2));
  EXPECT_TRUE(database->EOF_());
  database->SetIterationIndex(2);
  EXPECT_THAT(ModifiedFromHere(*database), ElementsAre(2));

  // A plain read goes on behind the record too; setting the cursor reads it again.
  Reader reader;
  database->SetIterationIndex(1);
  ASSERT_TRUE(reader.NextModified(*database));
  ASSERT_TRUE(reader.Next(*database));
  EXPECT_EQ(reader.index, 2);
  database->SetIterationIndex(1);
  ASSERT_TRUE(reader.NextModified(*database));
  database->SetIterationIndex(database->IterationIndex());
  ASSERT_TRUE(reader.Next(*database));
  EXPECT_EQ(reader.index, 1);
}

TEST(PDBDatabasePC, ModifyFlagsAreResetButForDeletedRecords) {
  FileImage image;
  image.records = {{0x4F, 1, Ascii("a")}, {0xC2, 2, Ascii("b")}, {0x10, 3, Ascii("c")}};
  DatabaseFile file(image);
  const auto database = file.Open();
  database->ResetModifyFlags();
  EXPECT_THAT(ReadAll(*database),
              ElementsAre(Record{1, 15, 0, Ascii("a")}, Record{2, 2, eDelete | eDirty, Ascii("b")},
                          Record{3, 0, eSecret, Ascii("c")}));
  database->CloseDatabase();
  EXPECT_NE(ToHex(file.bytes()), ToHex(image.Build()));
}

TEST(PDBDatabasePC, RemovingKeepsTheCursorWithItsRecord) {
  const struct {
    const char* name;
    int32_t cursor, removed, expected_cursor;
  } cases[] = {{"before", 3, 7, 2}, {"at", 2, 8, 2}, {"behind", 1, 9, 1}, {"at the end", 4, 8, 3}};
  for (const auto& c : cases) {
    DatabaseFile file(ThreeRecords());
    const auto database = file.Open();
    database->SetIterationIndex(c.cursor);
    database->Remove(c.removed);
    EXPECT_EQ(database->IterationIndex(), c.expected_cursor) << c.name;
  }
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  database->SetIterationIndex(3);
  database->RemoveWithDeleteFlag();
  EXPECT_EQ(database->IterationIndex(), 2);
  EXPECT_THAT(ReadAll(*database),
              ElementsAre(Record{7, 1, eDirty, Ascii("one")}, Record{9, 3, 0, Ascii("three")}));
  EXPECT_EQ(ErrorOf([&] { database->Remove(8); }), 5);
  database->RemoveAll();
  EXPECT_EQ(database->RecordCount(), 0);
  EXPECT_TRUE(database->EOF_());
}

// Reads and removes: every record is met and goes, by its own id or not.
TEST(PDBDatabasePC, ALoopThatRemovesMeetsEveryRecord) {
  for (const bool modified : {false, true}) {
    for (const uint32_t id_step : {1u, 0u}) {
      FileImage image;
      for (uint32_t i = 0; i < 200; ++i) {
        image.records.push_back({eDirty, id_step * (i + 1), Bytes(1, std::byte(i))});
      }
      DatabaseFile file(image);
      const auto database = file.Open(dftPalmHotSync);
      Reader reader;
      int met = 0;
      const auto next = [&] {
        return modified ? reader.NextModified(*database) : reader.Next(*database);
      };
      while (next()) {
        EXPECT_EQ(reader.stream.BlockBytes()[0], std::byte(met));
        if (met++ % 2 == 0) database->Remove(reader.id);
      }
      EXPECT_EQ(met, 200);
      const std::vector<Record> left = ReadAll(*database);
      ASSERT_EQ(left.size(), 100u);
      for (size_t i = 0; i < left.size(); ++i) EXPECT_EQ(left[i].data[0], std::byte(2 * i + 1));
    }
  }
}

TEST(PDBDatabasePC, OfRecordsThatShareAnIdTheOneReadLastGoes) {
  FileImage image;
  image.records = {{0, 0, Ascii("a")}, {0, 7, Ascii("b")}, {0, 0, Ascii("c")}};
  DatabaseFile file(image);
  const auto database = file.Open(dftPalmHotSync);
  Reader reader;
  ASSERT_TRUE(reader.ByIndex(*database, 3));
  database->Remove(7);
  database->Remove(0);
  EXPECT_THAT(ReadAll(*database), ElementsAre(Record{0, 0, 0, Ascii("a")}));
}

TEST(PDBDatabasePC, UpdateRefusesWhatARecordCannotHold) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  const struct {
    const char* name;
    int32_t index;
    Record record;
  } cases[] = {
      {"category", 1, {0, 16, 0, {}}},     {"negative category", 1, {0, -1, 0, {}}},
      {"attributes", 1, {0, 0, 256, {}}},  {"negative attributes", 1, {0, 0, -1, {}}},
      {"id", 0, {0x1000000, 0, 0, {}}},    {"negative id", 0, {-1, 0, 0, {}}},
      {"id of another", 1, {9, 0, 0, {}}}, {"id of another for a new one", 0, {9, 0, 0, {}}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ErrorOf([&] { Put(*database, c.index, c.record); }), 5) << c.name;
  }
  database->CloseDatabase();
  EXPECT_EQ(ToHex(file.bytes()), ToHex(ThreeRecords().Build()));
}

TEST(PDBDatabasePC, UniqueIdsOfNewRecords) {
  const struct {
    const char* name;
    uint32_t seed, next;
    std::vector<uint32_t> held;  // ids of records; 0: a record that has none
    std::vector<int32_t> given;  // to two new ones
    std::vector<int32_t> after;  // all ids then
  } cases[] = {
      {"an empty database", 0, 0, {}, {1, 2}, {1, 2}},
      {"above the highest", 0, 0, {5, 3}, {6, 7}, {5, 3, 6, 7}},
      {"above the seed", 10, 11, {5}, {11, 12}, {5, 11, 12}},
      {"a seed without a next id", 10, 0, {5}, {1, 12}, {5, 1, 12}},
      {"records without id come first", 0, 0, {0, 4, 0}, {7, 8}, {5, 4, 6, 7, 8}},
      {"held ids are passed over", 100, 3, {3, 102}, {103, 104}, {3, 102, 103, 104}},
      {"a seed beyond all ids", 0x904C0000, 0, {2, 6}, {7, 8}, {2, 6, 7, 8}},
      {"the largest seed", 0xFFFFFFFF, 0, {9}, {10, 11}, {9, 10, 11}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FileImage image;
    image.seed = c.seed;
    image.next_id = c.next;
    for (const uint32_t id : c.held) image.records.push_back({0, id, Ascii("x")});
    DatabaseFile file(image);
    const auto database = file.Open();
    std::vector<int32_t> given;
    for (const int32_t index : {-1, 99}) {
      given.push_back(Put(*database, index, {0, 0, 0, Ascii("n")}));
    }
    EXPECT_EQ(given, c.given);
    database->CloseDatabase();
    ASSERT_TRUE(database->OpenDatabase());
    std::vector<int32_t> after;
    for (const Record& record : ReadAll(*database)) after.push_back(record.id);
    EXPECT_EQ(after, c.after);
  }
}

TEST(PDBDatabasePC, IdsThatHaveRunOutAreAnErrorAndNothingIsLost) {
  FileImage image;
  image.records = {{0, 0xFFFFFF, Ascii("last")}};
  DatabaseFile file(image);
  const auto database = file.Open();
  EXPECT_EQ(ErrorOf([&] { Put(*database, 0, {0, 0, 0, Ascii("new")}); }), 6);
  EXPECT_EQ(database->RecordCount(), 1);
  EXPECT_EQ(Put(*database, 0, {5, 0, 0, Ascii("new")}), 5);
  database->CloseDatabase();
  ASSERT_TRUE(database->OpenDatabase());
  EXPECT_EQ(database->RecordCount(), 2);
}

TEST(PDBDatabasePC, SixtyFiveThousandRecordsInAHandfulOfOperations) {
  DatabaseFile file;
  auto database = file.Database();
  ASSERT_TRUE(database->CreateDatabase());
  for (int32_t i = 1; i <= 65535; ++i) {
    ASSERT_EQ(Put(*database, 0, {0, 0, 0, Bytes(3, std::byte(i))}), i);
  }
  EXPECT_EQ(ErrorOf([&] { Put(*database, 0, {0, 0, 0, Ascii("x")}); }), 6);
  file.folder.ResetOperations();
  database->CloseDatabase();
  EXPECT_LE(file.folder.operations(), 4);
  file.folder.ResetOperations();
  ASSERT_TRUE(database->OpenDatabase());
  EXPECT_LE(file.folder.operations(), 4);
  EXPECT_EQ(ReadAll(*database).size(), 65535u);
  EXPECT_LE(file.folder.operations(), 5);
  for (int32_t id = 65535; id > 0; --id) database->Remove(id);
  EXPECT_EQ(database->RecordCount(), 0);
  EXPECT_LE(file.folder.operations(), 5);
}

TEST(PDBDatabasePC, LargeDatabasesAreWrittenInAFewPieces) {
  DatabaseFile file;
  const auto database = file.Database();
  ASSERT_TRUE(database->CreateDatabase());
  std::vector<Record> expected;
  for (int32_t id = 1; id <= 12; ++id) {
    const size_t size = id == 6 ? 3'000'000 : 900'000;
    expected.push_back({id, 0, 0, Bytes(size, std::byte(id))});
    Put(*database, 0, expected.back());
  }
  for (int round = 0; round < 2; ++round) {
    file.folder.ResetOperations();
    database->CloseDatabase();
    EXPECT_LE(file.folder.operations(), 10);
    ASSERT_TRUE(database->OpenDatabase());
    EXPECT_EQ(ReadAll(*database) == expected, true);
    expected[8].data = Ascii("short");  // between records of the old file
    Put(*database, 9, expected[8]);
  }
}

TEST(PDBDatabasePC, AFailedSaveLosesNothingAndCanBeRepeated) {
  const struct {
    const char* name;
    FileOperation operation;
    int n;
  } cases[] = {
      {"the body can't be read", FileOperation::kRead, 1},
      {"the new file can't be opened", FileOperation::kOpen, 1},
      {"a short write", FileOperation::kWrite, 1},
      {"the new file can't be closed", FileOperation::kClose, 2},
      {"the old file can't be replaced", FileOperation::kReplace, 1},
  };
  for (const bool is_new : {false, true}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(c.name) + (is_new ? ", new" : ""));
      if (is_new && c.operation == FileOperation::kRead) continue;
      const Bytes before = ThreeRecords().Build();
      DatabaseFile file(before);
      const auto database = file.Database();
      ASSERT_TRUE(is_new ? database->CreateDatabase() : database->OpenDatabase());
      Put(*database, 0, {100, 0, 0, Ascii("more")});
      const bool repeats_open = c.operation == FileOperation::kOpen;
      file.folder.FailNth(c.operation, is_new && c.operation == FileOperation::kClose ? 1 : c.n);
      if (repeats_open) file.folder.open.insert(u"C:\\pdb\\Test.pdb.new");
      std::string description;
      EXPECT_EQ(ErrorOf([&] {
                  try {
                    database->CloseDatabase();
                  } catch (const AutomationError& error) {
                    description = error.what();
                    throw;
                  }
                }),
                57);
      EXPECT_THAT(description, HasSubstr("C:\\pdb\\Test.pdb"));
      EXPECT_THAT(description, HasSubstr(repeats_open ? "another program" : "injected"));
      EXPECT_EQ(ToHex(file.bytes()), ToHex(before));
      EXPECT_EQ(file.folder.files.size(), 1u);  // no new file left
      EXPECT_EQ(database->PDBFilePath(), DatabaseFile::kPath);

      file.folder.open.clear();
      EXPECT_EQ(ReadAll(*database).size(), is_new ? 1u : 4u);
      database->CloseDatabase();
      EXPECT_FALSE(database->IsOpen());
      ASSERT_TRUE(database->OpenDatabase());
      EXPECT_EQ(ReadAll(*database).back().data, Ascii("more"));
      EXPECT_EQ(file.folder.files.size(), 1u);
    }
  }
}

TEST(PDBDatabasePC, AFileThatAnotherProgramHoldsIsNotReplaced) {
  DatabaseFile file;
  const auto database = file.Database();
  ASSERT_TRUE(database->CreateDatabase());
  file.bytes() = Ascii("another program's");
  file.folder.open.insert(DatabaseFile::kPath);
  EXPECT_EQ(ErrorOf([&] { database->CloseDatabase(); }), 57);
  EXPECT_EQ(file.bytes(), Ascii("another program's"));
}

TEST(PDBDatabasePC, SavingMakesMissingFoldersAndTakesOverALeftoverFile) {
  DatabaseFile file;
  file.folder.missing_folders.insert(u"C:\\pdb");
  const auto database = file.Database();
  ASSERT_TRUE(database->CreateDatabase());
  database->CloseDatabase();
  EXPECT_EQ(file.bytes().size(), 78u);

  file.folder.files[u"C:\\pdb\\Test.pdb.new"] = Bytes(5000, std::byte{9});  // of a killed run
  ASSERT_TRUE(database->OpenDatabase());
  Put(*database, 0, {1, 0, 0, Ascii("x")});
  database->CloseDatabase();
  EXPECT_EQ(file.bytes().size(), 87u);
  EXPECT_EQ(file.folder.files.size(), 1u);
}

TEST(PDBDatabasePC, AReadThatFailsIsAnErrorAndTheCursorStays) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  file.folder.FailNth(FileOperation::kRead, 1);
  EXPECT_EQ(ErrorOf([&] { ReadAll(*database); }), 57);
  EXPECT_EQ(database->IterationIndex(), 1);
  EXPECT_EQ(ReadAll(*database).size(), 3u);
}

// A component that creates what it can't open must not replace what may be whole.
TEST(PDBDatabasePC, AFileThatCouldNotBeOpenedIsNotCreatedAnew) {
  const struct {
    const char* name;
    std::function<void(MemoryFolder&)> fault;
    bool creates;
  } cases[] = {
      {"header", [](MemoryFolder& f) { f.FailNth(FileOperation::kRead, 1); }, false},
      {"record list", [](MemoryFolder& f) { f.FailNth(FileOperation::kRead, 2); }, false},
      {"in use", [](MemoryFolder& f) { f.open.insert(DatabaseFile::kPath); }, false},
      {"damaged", [](MemoryFolder& f) { f.files[DatabaseFile::kPath].resize(90); }, false},
      {"AppInfo too large",
       [](MemoryFolder& f) {
         FileImage image = ThreeRecords();
         image.app_info = Bytes(32768);
         f.files[DatabaseFile::kPath] = image.Build();
       },
       false},
      {"missing", [](MemoryFolder& f) { f.files.clear(); }, true},
  };
  const auto without_reading = [](PDBDatabasePC& database) {
    const bool created = database.CreateDatabase();
    database.CloseDatabase();
    return created;
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    DatabaseFile file(ThreeRecords());
    const auto database = file.Database();
    c.fault(file.folder);
    const Bytes before = file.exists() ? file.bytes() : Bytes();
    try {
      EXPECT_FALSE(database->OpenDatabase());
    } catch (const AutomationError& error) {
      EXPECT_EQ(error.number(), 6);
    }
    file.folder.open.clear();
    EXPECT_EQ(without_reading(*database), c.creates);
    if (c.creates) continue;
    EXPECT_THAT(file.log->lines.back(), HasSubstr("delete it first"));
    EXPECT_EQ(file.bytes(), before);
    const std::function<void()> lifts[] = {
        [&] { EXPECT_TRUE(database->OpenDatabase()); },
        [&] { database->RemoveDatabase(); },
        [&] { database->SetPDBFilePath(u"C:\\pdb\\Other.pdb"); },
        [&] { file.folder.files.clear(); },
    };
    for (const auto& lift : lifts) {
      database->Abandon();
      database->SetPDBFilePath(DatabaseFile::kPath);
      file.bytes() = ThreeRecords().Build();
      file.folder.FailNth(FileOperation::kRead, 1);
      EXPECT_FALSE(database->OpenDatabase());
      database->SetPDBFilePath(DatabaseFile::kPath);
      EXPECT_FALSE(without_reading(*database));
      lift();
      EXPECT_TRUE(without_reading(*database));
    }
  }
}

TEST(PDBDatabasePC, WhoComesInWhileItIsOpenedIsTurnedAway) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Database();
  file.folder.while_opening = [&] {
    EXPECT_FALSE(database->OpenDatabase());
    EXPECT_FALSE(database->CreateDatabase());
    EXPECT_THAT(file.log->lines.back(), HasSubstr("it is being opened"));
    EXPECT_FALSE(database->Rename(u"Other.pdb"));
    EXPECT_EQ(ErrorOf([&] { database->RemoveDatabase(); }), 5);
    EXPECT_EQ(ErrorOf([&] { database->SetPDBFilePath(u"C:\\pdb\\Other.pdb"); }), 5);
  };
  EXPECT_TRUE(database->OpenDatabase());
  EXPECT_FALSE(file.folder.while_opening);
  EXPECT_EQ(ReadAll(*database).size(), 3u);
}

TEST(PDBDatabasePC, MembersOfAClosedDatabaseRaise) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Database();
  PDBByteStream stream;
  int32_t number = 0;
  int16_t category = 0;
  const std::function<void()> calls[] = {
      [&] { database->ReadNext(number, number, category, number, stream); },
      [&] { database->ReadNextByIndex(1, number, category, number, stream); },
      [&] { database->ReadNextById(number, 1, category, number, stream); },
      [&] { database->ReadNextModified(number, number, category, number, stream); },
      [&] { Put(*database, 0, {}); },
      [&] { database->Remove(7); },
      [&] { database->RemoveAll(); },
      [&] { database->RemoveWithDeleteFlag(); },
      [&] { database->ResetModifyFlags(); },
      [&] { database->ReadAppInfoBlock(stream); },
      [&] { database->WriteAppInfoBlock(stream); },
      [&] { database->ReadSortInfoBlock(stream); },
      [&] { database->WriteSortInfoBlock(stream); },
      [&] { database->RecordCount(); },
      [&] { database->IterationIndex(); },
      [&] { database->SetIterationIndex(1); },
      [&] { database->BOF(); },
      [&] { database->EOF_(); },
  };
  int n = 0;
  for (const auto& call : calls) EXPECT_EQ(ErrorOf(call), 5) << "call " << n++;
  database->CloseDatabase();  // nothing to do, and no error
  ASSERT_TRUE(database->OpenDatabase());
  for (const auto& call : calls) EXPECT_NE(ErrorOf(call), 57);
}

TEST(PDBDatabasePC, OpeningAgainKeepsUnsavedChanges) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  Put(*database, 1, {0, 0, 0, Ascii("changed")});
  database->SetIterationIndex(3);
  ASSERT_TRUE(database->OpenDatabase());
  EXPECT_EQ(database->IterationIndex(), 1);
  EXPECT_EQ(ReadAll(*database)[0].data, Ascii("changed"));
}

TEST(PDBDatabasePC, CreatingOverAnOpenDatabaseStartsAfresh) {
  FileImage image = ThreeRecords();
  image.app_info = Ascii("info");
  image.attributes = 8;
  DatabaseFile file(image);
  const auto database = file.Open();
  ASSERT_TRUE(database->CreateDatabase());
  EXPECT_EQ(database->RecordCount(), 0);
  EXPECT_EQ(database->CreatorId(), u"test");
  EXPECT_EQ(ToHex(file.bytes()), ToHex(image.Build()));
  database->CloseDatabase();
  EXPECT_EQ(file.bytes().size(), 78u);
  EXPECT_EQ(file.bytes()[33], std::byte{0});  // header attributes
}

TEST(PDBDatabasePC, NamesThatAHeaderCannotHold) {
  DatabaseFile file;
  const auto database = file.Database();
  const std::u16string longest(32, u'\u00E9');
  database->SetPDBDatabaseName(longest);
  EXPECT_EQ(database->PDBDatabaseName(), longest);
  EXPECT_EQ(ErrorOf([&] { database->SetPDBDatabaseName(longest + u"x"); }), 5);
  EXPECT_EQ(ErrorOf([&] { database->SetPDBDatabaseName(u"\u0416"); }), 5);
  EXPECT_EQ(ErrorOf([&] { database->SetCreatorId(u"12345"); }), 5);
  EXPECT_EQ(ErrorOf([&] { database->SetDatabaseType(u"\u0416"); }), 5);
  EXPECT_EQ(database->PDBDatabaseName(), longest);
  const auto unnamed = file.Database();
  unnamed->SetPDBFilePath(u"C:\\pdb\\" + std::u16string(33, u'x') + u".pdb");
  EXPECT_FALSE(unnamed->CreateDatabase());
  EXPECT_EQ(file.log->lines.size(), 1u);
}

TEST(PDBDatabasePC, ANameThatLooksLikeAByteOrderMarkOpens) {
  DatabaseFile file;
  const auto database = file.Database();
  database->SetPDBDatabaseName(u"\u00FF\u00FE!");
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(round == 0 ? database->CreateDatabase() : database->OpenDatabase());
    EXPECT_EQ(Put(*database, 0, {0, 0, 0, Ascii("x")}), round + 1);
    database->CloseDatabase();
  }
  ASSERT_TRUE(database->OpenDatabase());
  EXPECT_EQ(database->PDBDatabaseName(), u"\u00FF\u00FE!");
  EXPECT_EQ(ReadAll(*database).size(), 2u);
}

TEST(PDBDatabasePC, AnotherPathOrPlatformWhileOpenIsSaveAs) {
  const Bytes before = ThreeRecords().Build();
  DatabaseFile file(before);
  const auto database = file.Open();
  database->SetPDBFilePath(u"C:\\other\\Copy.pdb");
  database->SetDatabaseFor(dftPalmVFS);
  database->CloseDatabase();
  EXPECT_EQ(file.bytes(), before);
  FileImage expected = ThreeRecords();
  expected.little = true;
  expected.seed = 9;
  expected.next_id = 10;
  expected.modified = 14 * 86400;
  EXPECT_EQ(ToHex(file.folder.files[u"C:\\other\\Copy.pdb"]), ToHex(expected.Build()));
}

TEST(PDBDatabasePC, RemoveDatabaseDeletesTheFile) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  file.folder.FailNth(FileOperation::kDelete, 1);
  EXPECT_EQ(ErrorOf([&] { database->RemoveDatabase(); }), 57);
  EXPECT_TRUE(file.exists());
  database->RemoveDatabase();
  EXPECT_FALSE(file.exists());
  EXPECT_FALSE(database->OpenDatabase());
  database->RemoveDatabase();  // nothing there is nothing to fail
}

}  // namespace
}  // namespace pylon

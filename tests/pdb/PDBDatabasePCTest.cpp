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
using ::testing::HasSubstr;
using testing::MemoryDisk;
using testing::Put;
using testing::ReadAll;
using testing::Record;
using testing::ToHex;

FileImage ThreeRecords() {
  FileImage image;
  image.records = {{0x41, 7, Ascii("one")}, {0x92, 8, Ascii("two")}, {0x03, 9, Ascii("three")}};
  return image;
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
    database->WriteAppInfoBlock(Ascii("categories"));
    database->WriteSortInfoBlock(Ascii("order"));
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
    EXPECT_EQ(BlockOf(database->ReadAppInfoBlock()), expected.app_info);
    EXPECT_EQ(BlockOf(database->ReadSortInfoBlock()), expected.sort_info);
  }
}

TEST(PDBDatabasePC, WhatWasOnlyReadIsNotWritten) {
  FileImage image = ThreeRecords();
  image.gap = 2;
  image.app_info = Bytes(20, std::byte{5});
  DatabaseFile file(image);
  const auto database = file.Open(dftPalmHotSync);
  EXPECT_EQ(ReadAll(*database).size(), 3u);
  database->SetPDBDatabaseName(u"Test");
  file.folder.calls.clear();
  database->CloseDatabase();
  EXPECT_EQ(file.folder.calls.size(), 1U);  // the close
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

TEST(PDBDatabasePC, OfRecordsThatShareAnIdTheOneReadLastGoes) {
  FileImage image;
  image.records = {{0, 0, Ascii("a")}, {0, 7, Ascii("b")}, {0x80, 9, {}}, {0, 0, Ascii("c")}};
  for (const int32_t removed : {7, 9}) {
    DatabaseFile file(image);
    const auto database = file.Open(dftPalmHotSync);
    ASSERT_TRUE(database->ByIndex(4));
    if (removed == 7) {
      database->Remove(7);
    } else {
      database->RemoveWithDeleteFlag();
    }
    database->Remove(0);
    EXPECT_EQ(ReadAll(*database)[0].data, Ascii("a"));
    EXPECT_EQ(database->RecordCount(), 2);
  }
}

TEST(PDBDatabasePC, UniqueIdsOfNewRecords) {
  const struct {
    const char* name;
    uint32_t seed, next;
    std::vector<uint32_t> held;  // ids of records; 0: a record that has none
    std::vector<int32_t> given;  // to two new ones
    std::vector<int32_t> after;  // all ids then
  } cases[] = {{"an empty database", 0, 0, {}, {1, 2}, {1, 2}},
               {"above the highest", 0, 0, {5, 3}, {6, 7}, {5, 3, 6, 7}},
               {"above the seed", 10, 11, {5}, {11, 12}, {5, 11, 12}},
               {"a seed without a next id", 10, 0, {5}, {1, 12}, {5, 1, 12}},
               {"records without id come first", 0, 0, {0, 4, 0}, {7, 8}, {5, 4, 6, 7, 8}},
               {"held ids are passed over", 100, 3, {3, 102}, {103, 104}, {3, 102, 103, 104}},
               {"a seed beyond all ids", 0x904C0000, 0, {2, 6}, {7, 8}, {2, 6, 7, 8}},
               {"the largest seed", 0xFFFFFFFF, 0, {9}, {10, 11}, {9, 10, 11}}};
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

// Ids that a caller gives count like those of the file, from the first new one on.
TEST(PDBDatabasePC, GivenIdsRaiseTheSeed) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  EXPECT_EQ(Put(*database, 0, {0, 0, 0, Ascii("a")}), 10);
  EXPECT_EQ(Put(*database, 0, {100, 0, 0, Ascii("b")}), 100);
  EXPECT_EQ(Put(*database, 1, {200, 0, 0, Ascii("one")}), 200);
  EXPECT_EQ(Put(*database, 0, {300, 0, 0, {}}), 300);  // without data it doesn't count
  database->CloseDatabase();
  EXPECT_EQ(ToHex(ByteSpan(file.bytes()).subspan(68, 8)), "00 00 00 C8 00 00 00 C9");
}

TEST(PDBDatabasePC, IdsOfEmptyRecordsDontCountAndAreNotGivenAgain) {
  FileImage image;
  image.records = {{0, 6, Ascii("x")}, {0, 7, {}}, {0, 50, {}}, {0, 0, {}}};
  DatabaseFile file(image);
  const auto database = file.Open();
  EXPECT_EQ(Put(*database, 0, {0, 0, 0, Ascii("n")}), 8);
  EXPECT_EQ(ReadAll(*database)[3].id, 0);
}

TEST(PDBDatabasePC, ForAnotherPlatformRecordsGetTheirIdsAtTheEnd) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  EXPECT_EQ(Put(*database, 0, {0, 0, 0, Ascii("a")}), 10);
  database->SetDatabaseFor(dftPalmHotSync);
  EXPECT_EQ(Put(*database, 0, {0, 0, 0, Ascii("b")}), 0);
  database->SetDatabaseFor(dftWindows);
  database->CloseDatabase();
  ASSERT_TRUE(database->OpenDatabase());
  EXPECT_EQ(ReadAll(*database).back().id, 11);
}

TEST(PDBDatabasePC, DeletedRecordsKeepTheirFlags) {
  FileImage image;
  image.records = {{eDelete | eDirty, 1, {}}, {eDirty, 2, {}}};
  DatabaseFile file(image);
  const auto database = file.Open();
  database->ResetModifyFlags();
  EXPECT_EQ(ReadAll(*database)[0].attributes, eDelete | eDirty);
  EXPECT_EQ(ReadAll(*database)[1].attributes, 0);
}

TEST(PDBDatabasePC, ABlockMayBeEmpty) {
  FileImage image;
  image.records = {{0, 1, Ascii("x")}};
  Bytes bytes = image.Build();
  bytes[59] = std::byte{78 + 8};  // SortInfo starts where the record does
  DatabaseFile file(bytes);
  EXPECT_TRUE(file.Database()->OpenDatabase());
}

TEST(PDBDatabasePC, WhatCantBeDeletedStaysOpen) {
  DatabaseFile file(ThreeRecords());
  const auto database = file.Open();
  file.folder.FailNth("Delete", 1);
  EXPECT_EQ(ErrorOf([&] { database->RemoveDatabase(); }), 57);
  EXPECT_EQ(ReadAll(*database)[2].data, Ascii("three"));
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
  file.folder.calls.clear();
  database->CloseDatabase();
  EXPECT_LE(file.folder.calls.size(), 5U);
  file.folder.calls.clear();
  ASSERT_TRUE(database->OpenDatabase());
  EXPECT_LE(file.folder.calls.size(), 4U);
  EXPECT_EQ(ReadAll(*database).size(), 65535u);
  EXPECT_LE(file.folder.calls.size(), 5U);
  for (int32_t id = 65535; id > 0; --id) database->Remove(id);
  EXPECT_EQ(database->RecordCount(), 0);
  EXPECT_LE(file.folder.calls.size(), 5U);
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
    file.folder.calls.clear();
    database->CloseDatabase();
    EXPECT_LE(file.folder.calls.size(), 10U);
    ASSERT_TRUE(database->OpenDatabase());
    EXPECT_EQ(ReadAll(*database) == expected, true);
    expected[8].data = Ascii("short");  // between records of the old file
    Put(*database, 9, expected[8]);
  }
}

TEST(PDBDatabasePC, AFailedSaveLosesNothingAndCanBeRepeated) {
  const struct {
    const char* name;
    const char* operation;
    int n;
  } cases[] = {{"the body can't be read", "Read", 1},
               {"the new file can't be opened", "Open", 1},
               {"a short write", "Write", 1},
               {"the new file can't be closed", "Close", 2},
               {"the old file can't be replaced", "Replace", 1}};
  for (const bool is_new : {false, true}) {
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(c.name) + (is_new ? ", new" : ""));
      if (is_new && std::string_view(c.operation) == "Read") continue;
      const Bytes before = ThreeRecords().Build();
      DatabaseFile file(before);
      const auto database = file.Database();
      ASSERT_TRUE(is_new ? database->CreateDatabase() : database->OpenDatabase());
      Put(*database, 0, {100, 0, 0, Ascii("more")});
      const std::u16string path = database->PDBFilePath();
      const bool repeats_open = std::string_view(c.operation) == "Open";
      file.folder.FailNth(c.operation, is_new ? 1 : c.n);
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
      EXPECT_THAT(description, HasSubstr("Test.pdb"));
      EXPECT_THAT(description, HasSubstr(repeats_open ? "error 32" : "error 31"));
      EXPECT_EQ(ToHex(file.bytes()), ToHex(before));
      EXPECT_EQ(file.folder.files.size(), 1u);  // no new file left
      EXPECT_EQ(database->PDBFilePath(), path);

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

TEST(PDBDatabasePC, SavingMakesMissingFoldersAndTakesOverALeftoverFile) {
  DatabaseFile file;
  file.folder.folders = {u"C:"};
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
  file.folder.FailNth("Read", 1);
  EXPECT_EQ(ErrorOf([&] { ReadAll(*database); }), 57);
  EXPECT_EQ(database->IterationIndex(), 1);
  EXPECT_EQ(ReadAll(*database).size(), 3u);
}

// A component that creates what it can't open must not replace what may be whole.
TEST(PDBDatabasePC, AFileThatCouldNotBeOpenedIsNotReplaced) {
  const struct {
    const char* name;
    std::function<void(MemoryDisk&)> fault;
    const char* reason;
  } cases[] = {
      {"header", [](MemoryDisk& f) { f.FailNth("Read", 1); }, "error 31"},
      {"record list", [](MemoryDisk& f) { f.FailNth("Read", 2); }, "error 31"},
      {"in use", [](MemoryDisk& f) { f.open.insert(DatabaseFile::kPath); }, "error 32"},
      {"damaged", [](MemoryDisk& f) { f.files[DatabaseFile::kPath].resize(90); }, "record list"},
      {"AppInfo too large",
       [](MemoryDisk& f) {
         FileImage image = ThreeRecords();
         image.app_info = Bytes(32768);
         f.files[DatabaseFile::kPath] = image.Build();
       },
       "AppInfo"},
      {"missing", [](MemoryDisk& f) { f.files.clear(); }, "no such file"}};
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
    const size_t open = file.folder.open.size();
    try {
      EXPECT_FALSE(database->OpenDatabase());
      EXPECT_THAT(file.log->lines.back(), HasSubstr(c.reason));
    } catch (const AutomationError& error) {
      EXPECT_THAT(error.what(), HasSubstr(c.reason));
      EXPECT_EQ(error.number(), 6);
    }
    EXPECT_EQ(file.folder.open.size(), open);
    file.folder.open.clear();
    const bool creates = !file.exists();
    EXPECT_EQ(without_reading(*database), creates);
    if (creates) continue;
    EXPECT_THAT(file.log->lines.back(), HasSubstr("delete it first"));
    EXPECT_EQ(file.bytes(), before);
    const std::function<void()> lifts[] = {[&] { EXPECT_TRUE(database->OpenDatabase()); },
                                           [&] { database->RemoveDatabase(); },
                                           [&] { database->SetPDBFilePath(u"C:\\pdb\\Other.pdb"); },
                                           [&] { file.folder.files.clear(); }};
    for (const auto& lift : lifts) {
      database->Abandon();
      database->SetPDBFilePath(DatabaseFile::kPath);
      file.bytes() = ThreeRecords().Build();
      file.folder.FailNth("Read", 1);
      EXPECT_FALSE(database->OpenDatabase());
      database->SetPDBFilePath(DatabaseFile::kPath);
      EXPECT_FALSE(without_reading(*database));
      lift();
      EXPECT_TRUE(without_reading(*database));
    }
  }
}

TEST(PDBDatabasePC, CallsWhileItIsOpenedAreRefused) {
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
  EXPECT_EQ(ErrorOf([&] { database->SetPDBDatabaseName(std::u16string(u"a\0b", 3)); }), 5);
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

}  // namespace
}  // namespace pylon

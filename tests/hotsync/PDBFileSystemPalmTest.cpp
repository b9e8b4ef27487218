#include "hotsync/PDBFileSystemPalm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <random>

#include "appforge/AppforgeAppSettings.h"
#include "pdb/PDBFileSystemPC.h"
#include "tests/hotsync/HandheldRun.h"
#include "tests/support/Errors.h"
#include "tests/support/MemoryHandheld.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::CollectingLog;
using ::testing::ElementsAre;
using testing::ErrorOf;
using testing::FixedClock;
using testing::HandheldRun;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::MemoryDisk;
using testing::MemoryHandheld;
using testing::NoUserSettings;
using testing::Put;
using testing::ReadAll;
using testing::Reader;
using Database = MemoryHandheld::Database;

class FileSystemPalm : public ::testing::Test {
 protected:
  FileSystemPalm() { Begin(); }

  // A new session with an empty handheld.
  void Begin() {
    files_.reset();
    handheld_->databases.clear();
    handheld_->calls_to_live = std::numeric_limits<int>::max();
    files_ =
        std::make_shared<PDBFileSystemPalm>(handheld_, AnsiCodePage::Windows1252(), log_, [this] {
          return std::make_shared<CSyncIndex>(CSyncIndex::Surroundings{
              disk_.Factory(), AnsiCodePage::Windows1252(), clock_, log_, {}, {}, u"Device"});
        });
    files_->SetCreatorId(u"memo");
    files_->SetFolder(u"C:\\memo");
    handheld_->TakeCalls();
  }
  // A database on the handheld of this many records, all of these attributes.
  Database& Fill(std::u16string_view name, int32_t count, int32_t attributes = 0) {
    Database& database = handheld_->databases[std::u16string(name)];
    for (int32_t id = 1; id <= count; ++id) {
      database.records.push_back({0, id, 0, attributes, Ascii("text")});
    }
    database.last_id = count;
    return database;
  }
  std::shared_ptr<PDBDatabase> Open(std::u16string_view name = u"Stock") {
    std::shared_ptr<PDBDatabase> database;
    EXPECT_TRUE(files_->OpenDatabase(name, database));
    return database;
  }
  std::shared_ptr<PDBDatabase> Create(std::u16string_view name = u"Stock") {
    std::shared_ptr<PDBDatabase> database;
    EXPECT_TRUE(files_->CreateDatabase(name, database));
    return database;
  }
  // The next call of this name fails.
  void Fail(std::string_view call, int32_t number) {
    handheld_->fault = call;
    handheld_->fault_number = number;
  }

  std::shared_ptr<MemoryHandheld> handheld_ = std::make_shared<MemoryHandheld>();
  MemoryDisk disk_;
  FixedClock clock_;
  std::shared_ptr<CollectingLog> log_ = std::make_shared<CollectingLog>();
  std::shared_ptr<PDBFileSystemPalm> files_;
};

TEST_F(FileSystemPalm, ListsEveryNameThatItWasAskedFor) {
  Fill(u"Stock", 1);
  const std::shared_ptr<PDBDatabase> stock = Open();
  std::shared_ptr<PDBDatabase> other = stock;
  EXPECT_FALSE(files_->OpenDatabase(u"stock", other));
  EXPECT_NE(other, stock);
  EXPECT_TRUE(files_->DeleteDatabase(u"gone"));
  EXPECT_EQ(files_->DatabaseCount(), 3);
  EXPECT_EQ(files_->Database(1), stock);
  EXPECT_EQ(files_->Database(2), other);
  EXPECT_TRUE(files_->Database(3));
  for (const int32_t index : {0, 4, -1}) EXPECT_FALSE(files_->Database(index)) << index;
  EXPECT_TRUE(files_->DeleteDatabase(u"Stock"));  // while it is open
  EXPECT_EQ(files_->DatabaseCount(), 3);
  EXPECT_THAT(handheld_->databases, IsEmpty());
  EXPECT_FALSE(files_->MoveDatabase(u"Stock", u"Other"));
}

TEST_F(FileSystemPalm, RefusesWhatAHandheldCantName) {
  const std::u16string names[] = {u"", std::u16string(32, u'x'), u"\u4F60"};
  for (const std::u16string& name : names) {
    std::shared_ptr<PDBDatabase> database;
    EXPECT_FALSE(files_->CreateDatabase(name, database));
    EXPECT_FALSE(database);
    EXPECT_FALSE(files_->OpenDatabase(name, database));
    EXPECT_TRUE(database);
    EXPECT_TRUE(files_->DeleteDatabase(name));
  }
  std::shared_ptr<PDBDatabase> database;
  EXPECT_TRUE(files_->CreateDatabase(std::u16string(31, u'x'), database));
  files_->SetCreatorId(u"me");
  EXPECT_FALSE(files_->CreateDatabase(u"Other", database));
  EXPECT_EQ(handheld_->databases.size(), 1U);
  EXPECT_EQ(log_->lines.size(), 7U);
}

TEST_F(FileSystemPalm, AsksTheLinkAsLittleAsCanBe) {
  constexpr int kCount = 1000;
  using Calls = std::function<void(PDBDatabase&)>;
  const auto each = [](auto call) -> Calls {
    return [call](PDBDatabase& d) {
      for (int id = 1; id <= kCount; ++id) call(d, id);
    };
  };
  const Calls nothing = [](PDBDatabase&) {};
  const Calls count = [](PDBDatabase& d) { (void)d.RecordCount(); };
  const Calls read_all = [](PDBDatabase& d) { EXPECT_EQ(ReadAll(d).size(), size_t{kCount}); };
  const Calls cursor = each([](PDBDatabase& d, int i) {
    d.SetIterationIndex(i);
    (void)(d.BOF() || d.EOF_() || d.IterationIndex() == d.RecordCount());
  });
  const Calls by_id = each([](PDBDatabase& d, int id) { EXPECT_TRUE(d.ById(id)); });
  const Calls write = each([](PDBDatabase& d, int id) { d.Update(id, id, 0, 0, Ascii("new")); });
  const Calls add = each([](PDBDatabase& d, int) { d.Update(0, 0, 0, 0, Ascii("new")); });
  const Calls remove = each([](PDBDatabase& d, int id) { d.Remove(id); });
  const Calls read_and_remove = each([](PDBDatabase& d, int) { d.Remove(d.Next()->id); });
  const Calls read_modified = each([](PDBDatabase& d, int) { EXPECT_TRUE(d.NextModified()); });
  const Calls no_modified = [](PDBDatabase& d) {
    EXPECT_FALSE(d.NextModified());
    EXPECT_TRUE(d.EOF_());
  };
  const Calls remove_deleted = [](PDBDatabase& d) { d.RemoveWithDeleteFlag(); };
  const Calls end = [](PDBDatabase& d) {
    d.RemoveWithDeleteFlag();
    d.ResetModifyFlags();
  };
  constexpr int32_t kDeleted = eDelete | eDirty;
  const struct {
    const char* name;
    int32_t attributes;
    Calls before;  // not counted
    Calls calls;
    int expected;
  } cases[] = {{"opening alone", 0, nothing, nothing, 0},
               {"the cursor", 0, nothing, cursor, 1},
               {"reading on", 0, nothing, read_all, kCount + 1},
               {"by id", 0, nothing, by_id, kCount},
               {"modified ones, of which there are none", 0, nothing, no_modified, 2},
               {"read, then written by index", 0, read_all, write, kCount},
               {"written by index without reading", 0, count, write, 2 * kCount},
               {"added", 0, count, add, kCount},
               {"removed where it reads", 0, nothing, read_and_remove, 2 * kCount + 1},
               {"removed by id without reading", 0, nothing, remove, kCount},
               {"deleted ones, met before", kDeleted, read_modified, remove_deleted, kCount + 1},
               {"deleted ones, not met before", kDeleted, nothing, remove_deleted, 2 * kCount + 1},
               {"deleted ones that are gone", kDeleted, read_and_remove, remove_deleted, 0},
               {"the end of a sync that read all", eDirty, read_all, end, 1}};
  for (const auto& c : cases) {
    Begin();
    Fill(u"Stock", kCount, c.attributes);
    const std::shared_ptr<PDBDatabase> database = Open();
    EXPECT_EQ(handheld_->TakeCalls(), 1);
    c.before(*database);
    handheld_->TakeCalls();
    c.calls(*database);
    EXPECT_EQ(handheld_->TakeCalls(), c.expected) << c.name;
  }
}

// The same calls give the same answers as on the PC, where nothing is remembered, also when each
// fails once before it succeeds.
TEST_F(FileSystemPalm, AnswersAsThePcDoes) {
  PDBFileSystemPC pc(u"C:\\pdb", disk_.Factory(), dftWindows, AnsiCodePage::Windows1252(), clock_,
                     log_);
  for (const bool faults : {false, true}) {
    std::mt19937 random(faults);
    const auto pick = [&](int n) {
      return static_cast<int32_t>(random() % static_cast<unsigned>(n));
    };
    std::shared_ptr<PDBDatabase> databases[2];
    Begin();
    ASSERT_TRUE(files_->CreateDatabase(u"Stock", databases[0]));
    ASSERT_TRUE(pc.CreateDatabase(u"Stock", databases[1]));
    int32_t last_id = 0;
    for (int step = 0; step < 5000; ++step) {
      const int32_t op = pick(12), index = pick(12), id = last_id - pick(12);
      const int32_t attributes = pick(3) == 0 ? eDelete | eDirty : pick(2) * eDirty;
      std::string answers[2];
      for (PDBDatabase* const d : {databases[0].get(), databases[1].get()}) {
        Reader r;
        const auto run = [&] {
          if (op <= 1) return r.Next(*d);
          if (op == 2) return r.NextModified(*d);
          if (op == 3) return r.ByIndex(*d, index);
          if (op == 4) return r.ById(*d, id);
          if (op == 5) {
            if (index == 0) {  // forgets what was read
              d->CloseDatabase();
              EXPECT_TRUE(d->OpenDatabase());
            }
            d->SetIterationIndex(index);
          } else if (op == 6) {
            d->Remove(id);
          } else if (op <= 8) {
            r.id = Put(*d, 0, {0, 0, attributes, Ascii("a" + std::to_string(step))});
          } else if (op == 9) {
            if (!r.ByIndex(*d, index)) return false;
            Put(*d, index, {r.id, 0, attributes, Ascii("b" + std::to_string(step))});
          } else if (attributes == 0) {
            if (op == 11 && pick(9) == 0) d->RemoveAll();
            d->RemoveWithDeleteFlag();
            if (op == 11) d->ResetModifyFlags();
          }
          return true;
        };
        const bool on_handheld = d == databases[0].get();
        std::string& answer = answers[on_handheld ? 0 : 1];
        const std::mt19937 before = random;
        if (on_handheld && faults && !handheld_->calls.empty()) Fail(handheld_->calls.back(), 70);
        int32_t error = ErrorOf([&] { answer = run() ? "yes " : "no "; });
        if (error == 70) {
          random = before;
          error = ErrorOf([&] { answer = run() ? "yes " : "no "; });
        }
        handheld_->fault.clear();
        if (on_handheld) random = before;
        if (r.id > last_id) last_id = r.id;
        answer += std::to_string(error) + " at " + std::to_string(r.index) + " id " +
                  std::to_string(r.id) + " " + testing::ToHex(r.stream.RecordBytes()) + " cursor " +
                  std::to_string(d->IterationIndex()) + " of " + std::to_string(d->RecordCount());
      }
      ASSERT_EQ(answers[0], answers[1]) << "step " << step << " operation " << op;
    }
    EXPECT_EQ(ReadAll(*databases[0]), ReadAll(*databases[1]));
  }
}

TEST_F(FileSystemPalm, BusyRecordsAndReadOnlyDatabasesAreRefused) {
  Database& stock = Fill(u"Stock", 3, eDelete | eDirty);
  stock.busy = {2};
  const std::shared_ptr<PDBDatabase> database = Open();
  Reader r;
  EXPECT_TRUE(r.Next(*database));
  EXPECT_EQ(ErrorOf([&] { r.Next(*database); }), 70);
  EXPECT_EQ(database->IterationIndex(), 2);
  EXPECT_EQ(ErrorOf([&] { database->Remove(2); }), 70);
  EXPECT_EQ(stock.records.size(), 3U);
  stock.busy.clear();
  stock.read_only = true;
  EXPECT_EQ(ErrorOf([&] { Put(*database, 0, {0, 0, 0, Ascii("new")}); }), 70);
  EXPECT_EQ(ErrorOf([&] { database->RemoveWithDeleteFlag(); }), 70);
  EXPECT_EQ(ErrorOf([&] { database->CreateDatabase(); }), 70);
  EXPECT_EQ(ErrorOf([&] { files_->DeleteDatabase(u"Stock"); }), 70);
  EXPECT_EQ(ReadAll(*database).size(), 3U);  // open again
  // The busy bit belongs to the handheld.
  stock.read_only = false;
  Put(*database, 1, {1, 0, 0x20 | eSecret, Ascii("x")});
  EXPECT_EQ(stock.records[0].attributes, eSecret);
}

TEST_F(FileSystemPalm, ALostLinkIsAnErrorOfEveryCallAndNeverTheEndOfTheRecords) {
  using Call = std::function<void()>;
  std::shared_ptr<PDBDatabase> database;
  const Call nothing = [] {};
  const Call open = [&] { database = Open(); };
  const Call create = [&] { files_->CreateDatabase(u"Stock", database); };
  const Call create_new = [&] { files_->CreateDatabase(u"New", database); };
  const Call read = [&] {
    (void)files_->OpenDatabase(u"Stock", database);
    int left = 11;
    while (left > 0 && database->NextModified()) --left;
    database->SetIterationIndex(1);
    while (left > 0 && database->Next()) --left;
    EXPECT_EQ(left, 1);
  };
  const Call change = [&] {
    Put(*database, 2, {0, 0, 0, {}});
    Put(*database, 0, {9, 0, 0, {}});
    database->SetIterationIndex(3);
    database->Remove(1);
  };
  const Call mark = [&] {
    database->RemoveWithDeleteFlag();
    database->ResetModifyFlags();
    database->RemoveAll();
  };
  NoUserSettings store;
  const Call save_settings = [&] {
    AppforgeAppSettings(std::make_shared<HandheldRun>(files_), store, AnsiCodePage::Windows1252())
        .SaveSettings(u"Memo", u"", u"Font", u"Arial");
  };
  const struct {
    const char* name;
    Call before, call;
  } cases[] = {{"read", nothing, read},
               {"create over another", nothing, create},
               {"create over an open one", open, create},
               {"another creator", create_new, [&] { database->SetCreatorId(u"five"); }},
               {"delete", open, [&] { files_->DeleteDatabase(u"Stock"); }},
               {"replace, add, remove", open, change},
               {"marks", open, mark},
               {"settings", nothing, save_settings}};
  for (const auto& c : cases) {
    int32_t error = 57;
    for (int calls = 0; error != 0; ++calls) {
      SCOPED_TRACE(std::string(c.name) + " " + std::to_string(calls));
      Begin();
      Fill(u"Stock", 5, eDelete | eDirty).app_info = Ascii("block");
      c.before();
      handheld_->calls_to_live = calls;
      error = ErrorOf(c.call);
      EXPECT_EQ(error, handheld_->IsLost() ? 57 : 0);
      ASSERT_LT(calls, 50);
      Failures failures;
      EXPECT_TRUE(files_->End(failures));
      EXPECT_EQ(handheld_.use_count(), 1);
    }
  }
}

TEST_F(FileSystemPalm, NoRecordIsSkippedAfterAFailure) {
  Fill(u"Stock", 3, eDirty);
  const std::shared_ptr<PDBDatabase> database = Open();
  Reader r;
  EXPECT_TRUE(r.NextModified(*database));
  Fail("Write", 70);
  EXPECT_EQ(ErrorOf([&] { Put(*database, 1, {1, 0, 0, {}}); }), 70);
  database->Remove(1);
  EXPECT_TRUE(r.NextModified(*database));
  EXPECT_EQ(r.id, 2);
}

// As in a database that came with the handheld.
TEST_F(FileSystemPalm, RecordsWithoutIdAreReadOnly) {
  Database& stock = Fill(u"Stock", 2, eDelete | eDirty);
  stock.records[0].id = 0;
  const std::shared_ptr<PDBDatabase> database = Open();
  Reader r;
  EXPECT_TRUE(r.Next(*database));
  EXPECT_EQ(r.id, 0);
  EXPECT_EQ(ErrorOf([&] { Put(*database, 1, {0, 0, 0, Ascii("x")}); }), 51);
  EXPECT_EQ(ErrorOf([&] { database->Remove(0); }), 5);
  database->RemoveWithDeleteFlag();
  ASSERT_EQ(stock.records.size(), 1U);
  EXPECT_EQ(stock.records[0].id, 0);
}

TEST_F(FileSystemPalm, HalfATableOfSettingsDoesNotStay) {
  NoUserSettings store;
  AppforgeAppSettings settings(std::make_shared<HandheldRun>(files_), store,
                               AnsiCodePage::Windows1252());
  const auto save = [&] { settings.SaveSettings(u"Memo", u"", u"Font", u"Arial"); };
  Fail("WriteAppInfoBlock", 7);
  EXPECT_EQ(ErrorOf(save), 7);
  EXPECT_THAT(handheld_->databases, IsEmpty());
  save();
  EXPECT_FALSE(handheld_->databases[u"Memo-Settings"].app_info.empty());
}

TEST_F(FileSystemPalm, WhatTheHandheldHasNotGivenIsNoEndEither) {
  Database& stock = Fill(u"Stock", 3);
  const std::shared_ptr<PDBDatabase> database = Open();
  EXPECT_EQ(database->RecordCount(), 3);
  stock.records.pop_back();  // by an application, against the rules
  EXPECT_EQ(ReadAll(*database).size(), 2U);
  EXPECT_TRUE(database->EOF_());
  EXPECT_EQ(database->RecordCount(), 2);

  // A deleted one that is gone is not asked for again.
  stock.records[1].attributes = eDelete;
  EXPECT_EQ(ReadAll(*database).size(), 2U);
  stock.records.pop_back();
  for (const int expected : {1, 0}) {
    handheld_->TakeCalls();
    database->RemoveWithDeleteFlag();
    EXPECT_EQ(handheld_->TakeCalls("Remove"), expected);
  }
}

TEST_F(FileSystemPalm, CreatingLosesNothingThatCouldNotBeRead) {
  Database& stock = Fill(u"Stock", 3);
  stock.created = 40000;
  stock.app_info = stock.sort_info = Ascii("block");
  stock.locked = true;
  std::shared_ptr<PDBDatabase> database;
  EXPECT_EQ(ErrorOf([&] { files_->OpenDatabase(u"Stock", database); }), 70);
  database.reset();
  stock.locked = false;
  EXPECT_FALSE(files_->CreateDatabase(u"Stock", database));
  EXPECT_FALSE(database);
  EXPECT_THAT(log_->lines, ElementsAre(HasSubstr("could not be opened: delete it first")));
  EXPECT_EQ(stock.records.size(), 3U);

  database = Open();  // which it can now
  database->CloseDatabase();
  handheld_->TakeCalls();
  EXPECT_TRUE(files_->CreateDatabase(u"Stock", database));
  EXPECT_EQ(handheld_->TakeCalls("DeleteDatabase"), 0);
  EXPECT_THAT(stock.records, IsEmpty());
  EXPECT_THAT(stock.app_info, IsEmpty());
  EXPECT_THAT(stock.sort_info, IsEmpty());
  EXPECT_EQ(database->CreateDateTime(), 40000);
  Put(*database, 0, {0, 0, 0, Ascii("new")});
  EXPECT_TRUE(files_->CreateDatabase(u"Stock", database));  // while it is open
  EXPECT_EQ(database->RecordCount(), 0);
}

// Marked eDelete when it was read, and not for certain any more.
TEST_F(FileSystemPalm, WhatMayBeAliveAgainIsNotRemoved) {
  Database& stock = Fill(u"Stock", 2, eDelete);
  const std::shared_ptr<PDBDatabase> database = Open();
  EXPECT_EQ(ReadAll(*database).size(), 2U);
  stock.records[0].attributes = 0;  // by an application
  EXPECT_TRUE(database->ByIndex(1));
  handheld_->fault = "Write";
  handheld_->fault_number = 70;
  EXPECT_EQ(ErrorOf([&] { Put(*database, 2, {0, 0, 0, {}}); }), 70);
  database->RemoveWithDeleteFlag();
  EXPECT_EQ(stock.records.size(), 2U);
}

TEST_F(FileSystemPalm, ARecordThatTheHandheldDoesNotGiveIsNotTheEnd) {
  Database& stock = Fill(u"Stock", 2);
  const std::shared_ptr<PDBDatabase> database = Open();
  EXPECT_EQ(database->RecordCount(), 2);
  handheld_->during_call = [&] {
    handheld_->during_call = [&stock, records = std::exchange(stock.records, {})] {
      stock.records = records;
    };
  };
  EXPECT_EQ(ErrorOf([&] { (void)database->ByIndex(2); }), 51);
}

TEST_F(FileSystemPalm, TheCreatorCanChangeUntilSomethingIsWritten) {
  const std::shared_ptr<PDBDatabase> database = Create();
  EXPECT_EQ(database->CreatorId(), u"memo");
  database->SetCreatorId(u"memo");
  EXPECT_EQ(handheld_->TakeCalls("CreateDatabase"), 1);
  EXPECT_EQ(ErrorOf([&] { database->SetCreatorId(u"five5"); }), 5);
  EXPECT_EQ(ErrorOf([&] { database->SetCreatorId(u"abc"); }), 5);
  database->SetCreatorId(u"Inv1");
  EXPECT_EQ(handheld_->databases[u"Stock"].creator, u"Inv1");
  EXPECT_EQ(handheld_->databases[u"Stock"].type, u"DATA");
  Put(*database, 0, {0, 0, 0, Ascii("a")});
  database->SetCreatorId(u"Inv1");
  EXPECT_EQ(ErrorOf([&] { database->SetCreatorId(u"memo"); }), 445);
  database->CloseDatabase();
  EXPECT_EQ(Open()->CreatorId(), u"Inv1");
  EXPECT_EQ(ErrorOf([&] { database->SetCreatorId(u"memo"); }), 445);
  EXPECT_EQ(handheld_->databases[u"Stock"].records.size(), 1U);
  EXPECT_EQ(ErrorOf([&] { database->SetPDBDatabaseName(u"Other"); }), 445);
  EXPECT_EQ(ErrorOf([&] { database->SetPDBFilePath(u"C:\\Stock.pdb"); }), 445);
}

TEST_F(FileSystemPalm, ACreatorThatIsRefusedLeavesTheOldOne) {
  for (const char* const fault : {"DeleteDatabase", "CreateDatabase"}) {
    SCOPED_TRACE(fault);
    Begin();
    const std::shared_ptr<PDBDatabase> database = Create();
    Fail(fault, 70);
    EXPECT_EQ(ErrorOf([&] { database->SetCreatorId(u"Inv1"); }), 70);
    EXPECT_EQ(database->CreatorId(), u"memo");
    EXPECT_EQ(handheld_->databases[u"Stock"].creator, u"memo");
    EXPECT_EQ(database->RecordCount(), 0);
    database->SetCreatorId(u"Inv1");
    EXPECT_EQ(handheld_->databases[u"Stock"].creator, u"Inv1");
  }
}

TEST_F(FileSystemPalm, RecordsAndBlocksHaveALimit) {
  const std::shared_ptr<PDBDatabase> database = Create();
  const Bytes most(PDBDatabasePalm::kMaxChunk), more(PDBDatabasePalm::kMaxChunk + 1);
  Put(*database, 0, {0, 0, 0, most});
  database->WriteAppInfoBlock(most);
  handheld_->TakeCalls();
  EXPECT_EQ(ErrorOf([&] { Put(*database, 0, {0, 0, 0, more}); }), 6);
  EXPECT_EQ(ErrorOf([&] { database->WriteAppInfoBlock(more); }), 6);
  EXPECT_EQ(ErrorOf([&] { database->WriteSortInfoBlock(more); }), 6);
  EXPECT_EQ(handheld_->TakeCalls(), 0);
  handheld_->databases[u"Full"].records.resize(65'535);
  const std::shared_ptr<PDBDatabase> full = Open(u"Full");
  EXPECT_EQ(ErrorOf([&] { Put(*full, 0, {0, 0, 0, {}}); }), 6);
}

TEST_F(FileSystemPalm, TheEndLetsGoOfTheHandheld) {
  Fill(u"Stock", 1);
  const std::shared_ptr<PDBDatabase> database = Open();
  database->SyncIndex()->Add(u"key", 1);
  handheld_->calls_to_live = 0;  // what the conduit has done is known on the PC all the same
  EXPECT_EQ(ErrorOf([&] { ReadAll(*database); }), 57);
  Failures failures;
  EXPECT_TRUE(files_->End(failures));
  EXPECT_TRUE(disk_.files.contains(u"C:\\memo\\Device\\Stock.si"));
  EXPECT_EQ(handheld_.use_count(), 1);
  EXPECT_FALSE(handheld_->databases[u"Stock"].open);
  EXPECT_FALSE(database->OpenDatabase());
  EXPECT_FALSE(database->CreateDatabase());
  EXPECT_EQ(ErrorOf([&] { database->RemoveDatabase(); }), 5);
  EXPECT_EQ(ErrorOf([&] { (void)database->RecordCount(); }), 5);
  EXPECT_EQ(database->CreateDateTime(), 0);
}

TEST_F(FileSystemPalm, MayEndDuringACall) {
  const auto closed = [](PDBDatabase& d, auto call) {
    d.CloseDatabase();
    EXPECT_EQ(ErrorOf(call), 5);
  };
  const std::function<void(PDBDatabase&)> calls[] = {
      [](PDBDatabase& d) { (void)d.Next(); },
      [](PDBDatabase& d) { (void)d.NextModified(); },
      [](PDBDatabase& d) { d.Update(0, 0, 0, 0, Ascii("new")); },
      [](PDBDatabase& d) { d.Remove(1); },
      [](PDBDatabase& d) { d.RemoveWithDeleteFlag(); },
      [](PDBDatabase& d) { d.CreateDatabase(); },
      [](PDBDatabase& d) { d.RemoveDatabase(); },
      [&](PDBDatabase& d) { closed(d, [&] { d.OpenDatabase(); }); },
      [&](PDBDatabase& d) { closed(d, [&] { d.CreateDatabase(); }); }};
  for (const auto& call : calls) {
    SCOPED_TRACE(&call - calls);
    Begin();
    Fill(u"Stock", 3, eDelete | eDirty);
    const std::shared_ptr<PDBDatabase> database = Open();
    handheld_->during_call = [&] { files_->Close(); };
    call(*database);
    EXPECT_EQ(ErrorOf([&] { (void)database->RecordCount(); }), 5);
    EXPECT_FALSE(database->OpenDatabase());
    EXPECT_EQ(handheld_.use_count(), 1);
  }
}

TEST_F(FileSystemPalm, AnIndexThatCantBeSavedIsToldAndTheOthersAreClosed) {
  Fill(u"Stock", 1);
  Fill(u"Other", 1);
  Open()->SyncIndex()->Add(u"key", 1);
  Open(u"Other")->SyncIndex()->Add(u"key", 1);
  disk_.FailNth("Replace", 1);
  files_.reset();
  EXPECT_FALSE(disk_.files.contains(u"C:\\memo\\Device\\Stock.si"));
  EXPECT_TRUE(disk_.files.contains(u"C:\\memo\\Device\\Other.si"));
  EXPECT_THAT(log_->lines, Contains(HasSubstr("WriteSyncIndex")));
}

}  // namespace
}  // namespace pylon

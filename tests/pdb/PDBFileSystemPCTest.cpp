#include "pdb/PDBFileSystemPC.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Errors.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::CollectingLog;
using testing::ErrorOf;
using testing::FileImage;
using testing::FixedClock;
using ::testing::HasSubstr;
using testing::MemoryDisk;
using testing::Put;
using testing::ReadAll;

class FileSystem : public ::testing::Test {
 protected:
  void Save(const char16_t* name) { folder_.files[Path(name)] = FileImage().Build(); }
  bool Has(const char16_t* name) const { return folder_.files.contains(Path(name)); }
  static std::u16string Path(const char16_t* name) {
    return u"C:\\pdb\\" + std::u16string(name) + u".pdb";
  }
  std::shared_ptr<PDBDatabase> Open(const char16_t* name) {
    std::shared_ptr<PDBDatabase> database;
    EXPECT_TRUE(system_.OpenDatabase(name, database));
    return database;
  }
  std::shared_ptr<PDBDatabase> Create(const char16_t* name) {
    std::shared_ptr<PDBDatabase> database;
    EXPECT_TRUE(system_.CreateDatabase(name, database));
    return database;
  }

  MemoryDisk folder_;
  FixedClock clock_;
  std::shared_ptr<CollectingLog> log_ = std::make_shared<CollectingLog>();
  PDBFileSystemPC system_{
      u"C:\\pdb", folder_.Factory(), dftWindows, AnsiCodePage::Windows1252(), clock_, log_};
};

TEST_F(FileSystem, TheSameNameIsTheSameDatabase) {
  Save(u"Memo");
  Save(u"memo");
  const auto database = Open(u"Memo");
  EXPECT_EQ(Open(u"Memo"), database);
  EXPECT_EQ(Create(u"Memo"), database);
  EXPECT_EQ(system_.DatabaseCount(), 1);
  EXPECT_NE(Open(u"memo"), database);
  EXPECT_EQ(system_.DatabaseCount(), 2);
  EXPECT_EQ(system_.Database(1), database);
  EXPECT_EQ(database->DatabaseFor(), dftWindows);
  EXPECT_EQ(database->PDBFilePath(), Path(u"Memo"));
  for (const int32_t index : {-1, 0, 3}) {
    EXPECT_EQ(ErrorOf([&] { system_.Database(index); }), 9) << index;
  }
}

TEST_F(FileSystem, ADatabaseThatIsNotThereIsListedAndAppearsLater) {
  std::shared_ptr<PDBDatabase> database;
  EXPECT_FALSE(system_.OpenDatabase(u"Memo", database));
  ASSERT_TRUE(database);
  EXPECT_THAT(log_->lines.back(), HasSubstr("C:\\pdb\\Memo.pdb"));
  Save(u"Memo");
  EXPECT_EQ(Open(u"Memo"), database);
}

TEST_F(FileSystem, NamesThatReachOutOfTheFolderOrAreDevices) {
  for (const char16_t* name :
       {u"",        u"..\\Memo",  u"a/b",     u"C:Memo", u"a:b",  u"a\tb",      u"a\nb",
        u"a*",      u"a?",        u"\"a\"",   u"<a>",    u"a|b",  u"CON",       u"con",
        u"nul.x",   u"AUX ",      u"PRN",     u"Com1",   u"LPT9", u"COM\u00B2", u"CONIN$",
        u"conout$", u"NUL  .txt", u"a\u007F", u"a\u0085"}) {
    SCOPED_TRACE(ToUtf8(name));
    std::shared_ptr<PDBDatabase> database;
    const size_t lines = log_->lines.size();
    EXPECT_FALSE(system_.OpenDatabase(name, database));
    EXPECT_FALSE(system_.CreateDatabase(name, database));
    EXPECT_FALSE(system_.MoveDatabase(name, u"x"));
    EXPECT_FALSE(system_.MoveDatabase(u"x", name));
    EXPECT_FALSE(system_.DeleteDatabase(name));
    EXPECT_FALSE(database);
    EXPECT_EQ(log_->lines.size(), lines + 5);
  }
  EXPECT_EQ(system_.DatabaseCount(), 0);
  EXPECT_EQ(folder_.calls.size(), 0U);
  for (const char16_t* name : {u"Memo", u".", u"..", u"a b ", u"COM0", u"COM10", u"CONSOLE",
                               u"x.con", u"caf\u00E9", u"\u0416"}) {
    EXPECT_TRUE(PDBFileSystemPC::IsDatabaseName(name)) << ToUtf8(name);
  }
}

TEST_F(FileSystem, NamesThatAHeaderCannotHoldOpenButAreNotCreated) {
  const std::u16string long_name(33, u'x');
  for (const char16_t* name : {long_name.c_str(), u"\u0416"}) {
    std::shared_ptr<PDBDatabase> database;
    EXPECT_FALSE(system_.CreateDatabase(name, database));
    EXPECT_FALSE(log_->lines.empty());
    EXPECT_FALSE(database);
    Save(name);
    EXPECT_TRUE(Open(name));
  }
}

TEST_F(FileSystem, MovingAClosedDatabaseRenamesItsFile) {
  Save(u"A");
  EXPECT_TRUE(system_.MoveDatabase(u"A", u"B"));
  EXPECT_TRUE(Has(u"B"));
  EXPECT_FALSE(Has(u"A"));
  EXPECT_EQ(system_.DatabaseCount(), 0);
  EXPECT_TRUE(system_.MoveDatabase(u"B", u"b"));  // case only
  EXPECT_TRUE(system_.MoveDatabase(u"b", u"b"));
  EXPECT_FALSE(system_.MoveDatabase(u"A", u"C"));  // not there
  EXPECT_FALSE(system_.MoveDatabase(u"A", u"A"));
  Save(u"C");
  EXPECT_FALSE(system_.MoveDatabase(u"b", u"C"));  // taken
  EXPECT_EQ(log_->lines.size(), 3u);
}

TEST_F(FileSystem, AnOpenDatabaseMovesWithItsUnsavedChanges) {
  Save(u"A");
  const auto database = Open(u"A");
  Put(*database, 0, {1, 0, 0, Ascii("unsaved")});
  std::shared_ptr<PDBDatabase> stale;
  EXPECT_FALSE(system_.OpenDatabase(u"B", stale));
  EXPECT_EQ(system_.DatabaseCount(), 2);

  ASSERT_TRUE(system_.MoveDatabase(u"A", u"B"));
  EXPECT_EQ(system_.DatabaseCount(), 1);
  EXPECT_EQ(Open(u"B"), database);
  EXPECT_EQ(ReadAll(*database).size(), 1u);
  EXPECT_FALSE(Has(u"A"));
  EXPECT_EQ(folder_.files[Path(u"B")], FileImage().Build());  // not saved yet
  database->CloseDatabase();
  EXPECT_FALSE(Has(u"A"));
  EXPECT_NE(folder_.files[Path(u"B")], FileImage().Build());
}

TEST_F(FileSystem, ANewDatabaseMovesBeforeItsFirstSave) {
  const auto database = Create(u"A");
  Create(u"C");
  EXPECT_FALSE(system_.MoveDatabase(u"A", u"C"));  // taken, though there is no file yet
  ASSERT_TRUE(system_.MoveDatabase(u"A", u"B"));
  EXPECT_EQ(database->PDBDatabaseName(), u"B");
  database->CloseDatabase();
  EXPECT_TRUE(Has(u"B"));
  EXPECT_FALSE(Has(u"A"));
}

TEST_F(FileSystem, AFailedMoveLeavesAllAsItWas) {
  Save(u"A");
  const auto database = Open(u"A");
  Put(*database, 0, {1, 0, 0, Ascii("unsaved")});
  folder_.FailNth("Replace", 1);
  EXPECT_FALSE(system_.MoveDatabase(u"A", u"B"));
  EXPECT_THAT(log_->lines.back(), HasSubstr("error 31"));
  EXPECT_EQ(Open(u"A"), database);
  EXPECT_EQ(ReadAll(*database).size(), 1u);
  database->CloseDatabase();
  EXPECT_NE(folder_.files[Path(u"A")], FileImage().Build());
}

TEST_F(FileSystem, Deleting) {
  Save(u"A");
  Save(u"B");
  const auto database = Open(u"A");
  Put(*database, 0, {1, 0, 0, Ascii("unsaved")});
  EXPECT_TRUE(system_.DeleteDatabase(u"A"));
  EXPECT_FALSE(Has(u"A"));
  EXPECT_EQ(system_.DatabaseCount(), 0);
  database->CloseDatabase();  // who still holds it saves nothing
  EXPECT_FALSE(Has(u"A"));
  EXPECT_TRUE(system_.DeleteDatabase(u"B"));
  EXPECT_FALSE(system_.DeleteDatabase(u"B"));

  Create(u"C");
  EXPECT_TRUE(system_.DeleteDatabase(u"C"));
  Save(u"D");
  folder_.FailNth("Delete", 1);
  EXPECT_FALSE(system_.DeleteDatabase(u"D"));
  EXPECT_TRUE(Has(u"D"));

  Save(u"E");
  const auto kept = Open(u"E");
  const int32_t count = kept->RecordCount();
  Put(*kept, 0, {0, 0, 0, Ascii("unsaved")});
  folder_.FailNth("Delete", 1);
  EXPECT_FALSE(system_.DeleteDatabase(u"E"));
  EXPECT_EQ(kept->RecordCount(), count + 1) << "a failed deletion loses nothing";
  kept->CloseDatabase();
  EXPECT_EQ(Open(u"E")->RecordCount(), count + 1);
}

TEST_F(FileSystem, EachFailureIsToldOnceAndNotTriedAgain) {
  const auto a = Create(u"A");
  const auto b = Create(u"B");
  const auto c = Create(u"C");
  folder_.FailNth("Write", 1);
  EXPECT_EQ(ErrorOf([&] { a->CloseDatabase(); }), 57);
  folder_.open = {Path(u"A") + u".new", Path(u"B") + u".new"};
  Failures failures;
  EXPECT_FALSE(system_.CloseDatabases(failures));
  EXPECT_TRUE(Has(u"C"));
  ASSERT_EQ(failures.size(), 2u);
  EXPECT_EQ(failures[0].kind, FailureKind::kUnsaved);
  EXPECT_THAT(ToUtf8(failures[0].text), HasSubstr("error 31")) << "what CloseDatabase raised";
  EXPECT_THAT(ToUtf8(failures[1].text), HasSubstr("error 32"));
  folder_.calls.clear();
  EXPECT_FALSE(system_.End(failures));
  EXPECT_EQ(failures.size(), 2u);
  EXPECT_EQ(folder_.calls.size(), 0U);
}

TEST_F(FileSystem, ACancelledSaveGivesWayToAnotherFailure) {
  folder_.fault_error = file_error::kCancelled;
  for (const auto& database : {Create(u"A"), Create(u"B")}) {
    folder_.FailNth("Write", 1);
    EXPECT_EQ(ErrorOf([&] { database->CloseDatabase(); }), 57);
    EXPECT_EQ(database->SaveFailure()->kind, FailureKind::kCancelled);
  }
  folder_.open = {Path(u"A") + u".new"};
  folder_.FailNth("Write", 1);  // that of B
  Failures failures;
  EXPECT_FALSE(system_.CloseDatabases(failures));
  ASSERT_EQ(failures.size(), 2u);
  EXPECT_EQ(failures[0].kind, FailureKind::kUnsaved);
  EXPECT_THAT(ToUtf8(failures[0].text), HasSubstr("error 32"));
  EXPECT_EQ(failures[1].kind, FailureKind::kCancelled);
}

TEST_F(FileSystem, WhatIsBeingOpenedOrSavedIsLeftAlone) {
  Save(u"A");
  std::shared_ptr<PDBDatabase> a, other;
  folder_.while_opening = [&] { EXPECT_FALSE(system_.CreateDatabase(u"A", other)); };
  EXPECT_TRUE(system_.OpenDatabase(u"A", a));
  const auto b = Create(u"B");
  a->CloseDatabase();
  folder_.while_opening = [&] { EXPECT_FALSE(system_.MoveDatabase(u"A", u"B")); };
  b->CloseDatabase();
  EXPECT_TRUE(Has(u"A"));
  EXPECT_TRUE(Has(u"B"));
}

TEST_F(FileSystem, EndingSavesEveryDatabaseAndLogsFailures) {
  const auto a = Create(u"A");
  const auto b = Create(u"B");
  folder_.FailNth("Write", 1);
  system_.Close();
  EXPECT_FALSE(Has(u"A"));
  EXPECT_TRUE(Has(u"B"));
  ASSERT_EQ(log_->lines.size(), 1u);
  EXPECT_THAT(log_->lines[0], HasSubstr("error 31"));

  std::shared_ptr<PDBDatabase> database;
  EXPECT_FALSE(system_.OpenDatabase(u"B", database));
  EXPECT_FALSE(system_.CreateDatabase(u"C", database));
  EXPECT_FALSE(system_.MoveDatabase(u"B", u"C"));
  EXPECT_FALSE(system_.DeleteDatabase(u"B"));
  EXPECT_EQ(system_.DatabaseCount(), 0);
  EXPECT_TRUE(Has(u"B"));
}

}  // namespace
}  // namespace pylon

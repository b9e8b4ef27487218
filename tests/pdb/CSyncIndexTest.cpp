#include "pdb/CSyncIndex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "pdb/PDBFileSystemPC.h"
#include "tests/support/Errors.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::CollectingLog;
using ::testing::ElementsAre;
using testing::ErrorOf;
using testing::ErrorTextOf;
using testing::FileImage;
using testing::FixedClock;
using testing::FromHex;
using ::testing::IsEmpty;
using testing::MemoryDisk;
using testing::Put;
using ::testing::StartsWith;
using testing::ToHex;

constexpr char16_t kIndex[] = u"C:\\data\\My PC\\Stock.si";

class SyncIndex : public ::testing::Test {
 protected:
  struct Loop final : MessageLoop {
    void Yield() noexcept override {
      ++yields;
      if (on_yield) on_yield();
    }
    int yields = 0;
    std::function<void()> on_yield;
  };

  std::shared_ptr<CSyncIndex> NewIndex(std::u16string base_folder = u"C:\\data") {
    return std::make_shared<CSyncIndex>(
        CSyncIndex::Surroundings{folder_.Factory(), AnsiCodePage::Windows1252(), clock_, log_,
                                 loop_, std::move(base_folder), u"My PC"});
  }
  std::shared_ptr<CSyncIndex> Index() {
    auto index = NewIndex();
    index->SetDatabase(u"C:\\save", u"Stock");
    return index;
  }
  // An index file of these records, each "id key".
  static FileImage Image(std::initializer_list<Bytes> records) {
    FileImage image;
    image.type = "INDX";
    image.creator = "PYL1";
    for (const Bytes& record : records) image.records.push_back({0, 0, record});
    return image;
  }
  Bytes& file() { return folder_.files[kIndex]; }
  bool Exists() const { return folder_.files.contains(kIndex); }

  MemoryDisk folder_;
  FixedClock clock_;
  std::shared_ptr<CollectingLog> log_ = std::make_shared<CollectingLog>();
  std::shared_ptr<Loop> loop_ = std::make_shared<Loop>();
};

TEST_F(SyncIndex, GivesBackWhatItWasGiven) {
  const std::u16string kKeys[] = {u"1",
                                  u"Caf\u00E9\u2013\u20AC",
                                  {u'a', 0, u'b'},
                                  std::u16string(254, u'x'),
                                  std::u16string(255, u'x'),
                                  std::u16string(32'767, u'x')};
  folder_.folders = {u"C:\\data"};
  auto index = Index();
  EXPECT_FALSE(index->SyncIndexExists());
  int32_t id = -2;
  for (const std::u16string& key : kKeys) index->Add(key, ++id);
  index->Add(u"max", 0x7FFFFFFF);
  EXPECT_TRUE(index->Changed());
  index->CloseIndex();
  EXPECT_TRUE(index->SyncIndexExists());
  EXPECT_FALSE(index->Changed());

  index = Index();
  id = -2;
  for (const std::u16string& key : kKeys) EXPECT_EQ(index->UniqueId(key), ++id);
  EXPECT_EQ(index->UniqueId(u"max"), 0x7FFFFFFF);
  EXPECT_EQ(index->UniqueId(u"unknown"), 0);
  EXPECT_EQ(loop_->yields, 7);
  EXPECT_THAT(log_->lines, IsEmpty());
}

TEST_F(SyncIndex, WritesTheBytesOfTheFormat) {
  const auto index = Index();
  index->SetUniqueId(u"B", 0x01020304);
  index->Add(std::u16string(255, u'y'), 5);
  index->Add(u"gone", 9);
  index->Remove(u"gone");
  index->CloseIndex();
  FileImage image = Image({FromHex("04 03 02 01 01 42"), FromHex("05 00 00 00 FF FF 00")});
  image.records[1].data.insert(image.records[1].data.end(), 255, std::byte{'y'});
  image.name = "Stock";
  image.created = image.modified = 14 * 86'400;  // as all dates of headers are written
  for (uint32_t i = 0; i < 2; ++i) image.records[i].id = i + 1;
  image.seed = 2;
  image.next_id = 3;
  EXPECT_EQ(ToHex(file()), ToHex(image.Build()));
}

TEST_F(SyncIndex, AFolderIsItselfWithABackslashAtItsEnd) {
  const auto index = NewIndex({});
  index->SetDatabase(u"C:\\save\\", u"Stock");
  EXPECT_TRUE(index->IsFor(u"C:\\save", u"Stock"));
}

TEST_F(SyncIndex, WritesOnlyWhatChanged) {
  auto index = Index();
  index->Add(u"a", 1);
  index->CloseIndex();
  clock_.now += 5;
  const Bytes before = file();
  struct Case {
    const char* what;
    std::function<void(CSyncIndex&)> change;
    bool changes;
  };
  const Case kCases[] = {{"nothing", [](CSyncIndex&) {}, false},
                         {"a look-up", [](CSyncIndex& i) { i.UniqueId(u"a"); }, false},
                         {"the same id", [](CSyncIndex& i) { i.SetUniqueId(u"a", 1); }, false},
                         {"no such key", [](CSyncIndex& i) { i.Remove(u"b"); }, false},
                         {"another id", [](CSyncIndex& i) { i.Add(u"a", 2); }, true},
                         {"another key", [](CSyncIndex& i) { i.Add(u"b", 1); }, true},
                         {"removed", [](CSyncIndex& i) { i.Remove(u"a"); }, true},
                         {"cleared", [](CSyncIndex& i) { i.Clear(); }, true}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.what);
    file() = before;
    index = Index();
    c.change(*index);
    EXPECT_EQ(index->Changed(), c.changes);
    index->CloseIndex();
    EXPECT_EQ(file() == before, !c.changes);
  }
  index->Clear();
  EXPECT_FALSE(index->Changed()) << "it is empty already";
}

TEST_F(SyncIndex, RefusesKeysThatTheFileCantHold) {
  struct Case {
    std::u16string key;
    const char* error;
  };
  const Case kCases[] = {
      {{}, "1001 Invalid key"},
      {u"\u4E2D", "1001 Invalid key: "},
      {std::u16string(32'768, u'x'), "1001 Invalid key: it has 32768 characters"}};
  const auto index = Index();
  for (const Case& c : kCases) {
    EXPECT_THAT(ErrorTextOf([&] { index->Add(c.key, 1); }), StartsWith(c.error));
    EXPECT_THAT(ErrorTextOf([&] { index->SetUniqueId(c.key, 1); }), StartsWith(c.error));
  }
  EXPECT_EQ(ErrorOf([&] { index->UniqueId({}); }), 1001);
  EXPECT_EQ(ErrorOf([&] { index->Remove({}); }), 1001);
  EXPECT_EQ(index->UniqueId(u"\u4E2D"), 0);
  EXPECT_FALSE(index->Changed());
}

TEST_F(SyncIndex, HoldsAsManyEntriesAsADatabase) {
  auto index = Index();
  for (int32_t i = 1; i <= 65'535; ++i) index->Add(ToText(i), i);
  EXPECT_EQ(ErrorOf([&] { index->Add(u"0", 1); }), 6);
  index->Add(u"65535", -1);
  index->CloseIndex();
  index = Index();
  EXPECT_EQ(index->UniqueId(u"65534"), 65'534);
  EXPECT_EQ(index->UniqueId(u"65535"), -1);
}

TEST_F(SyncIndex, SetsADamagedFileAside) {
  struct Case {
    const char* what;
    Bytes bytes;
  };
  const Bytes good = Image({FromHex("01 00 00 00 02 41 42")}).Build();
  FileImage other = Image({});
  other.creator = "memo";
  Bytes too_long = FromHex("01 00 00 00 FF 00 80");
  too_long.resize(7 + 0x8000, std::byte{'x'});
  const Case kCases[] = {
      {"empty", {}},
      {"cut in the header", {good.begin(), good.begin() + 50}},
      {"cut in the list", {good.begin(), good.begin() + 80}},
      {"cut in a record", {good.begin(), good.end() - 1}},
      {"bytes behind a key", Image({FromHex("01 00 00 00 02 41 42 43")}).Build()},
      {"no key", Image({FromHex("01 00 00 00")}).Build()},
      {"an empty key", Image({FromHex("01 00 00 00 00")}).Build()},
      {"a negative length", Image({FromHex("01 00 00 00 FF FF FF 41")}).Build()},
      {"a key that is too long", Image({too_long}).Build()},
      {"a good entry before", Image({FromHex("01 00 00 00 01 41"), {}}).Build()},
      {"something else", other.Build()}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.what);
    folder_.files = {{kIndex, c.bytes}, {std::u16string(kIndex) + u".damaged", {}}};
    log_->lines.clear();
    const auto index = Index();
    EXPECT_EQ(index->UniqueId(u"A"), 0);
    EXPECT_FALSE(Exists());
    EXPECT_EQ(folder_.files[std::u16string(kIndex) + u".damaged2"], c.bytes);
    EXPECT_THAT(log_->lines, ElementsAre(StartsWith("ReadSyncIndex ")));
    index->Add(u"A", 7);
    index->CloseIndex();
    EXPECT_EQ(Index()->UniqueId(u"A"), 7);
    EXPECT_EQ(folder_.files.size(), 3u);
  }
}

TEST_F(SyncIndex, AFileThatCantBeReadIsNotTakenForAnEmptyOne) {
  const auto write = [&] {
    const auto index = Index();
    index->Add(u"a", 1);
    index->CloseIndex();
  };
  write();
  const Bytes before = file();
  struct Case {
    const char* what;
    std::function<void()> fail;
  };
  const Case kCases[] = {{"locked", [&] { folder_.open.insert(kIndex); }},
                         {"header", [&] { folder_.FailNth("Read", 1); }},
                         {"list", [&] { folder_.FailNth("Read", 2); }},
                         {"body", [&] { folder_.FailNth("Read", 3); }}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.what);
    log_->lines.clear();
    c.fail();
    const auto index = Index();
    EXPECT_EQ(ErrorOf([&] { index->Add(u"b", 2); }), 57);
    EXPECT_THAT(log_->lines, ElementsAre(StartsWith("ReadSyncIndex ")));
    index->CloseIndex();
    folder_.open.clear();
    EXPECT_EQ(file(), before);
    EXPECT_EQ(folder_.files.size(), 1u);
    EXPECT_EQ(index->UniqueId(u"a"), 1);
    index->CloseIndex();
  }
}

TEST_F(SyncIndex, AFailedWriteKeepsTheOldFileAndTheChange) {
  for (const std::string operation : {"Open", "Write", "Close", "Replace"}) {
    SCOPED_TRACE(operation);
    folder_.files.clear();
    log_->lines.clear();
    auto index = Index();
    index->Add(u"a", 1);
    index->CloseIndex();
    const Bytes before = file();
    index->Add(u"a", 2);
    // Opened again after the folder was made; the first close is that of the old file.
    folder_.FailNth(operation, operation == "Close" ? 2 : 1);
    if (operation == "Open") folder_.open.insert(std::u16string(kIndex) + u".new");
    EXPECT_THAT(ErrorTextOf([&] { index->CloseIndex(); }), StartsWith("57 WriteSyncIndex "));
    folder_.open.clear();
    folder_.FailNth("Open", 0);
    EXPECT_THAT(log_->lines, ElementsAre(StartsWith("WriteSyncIndex ")));
    EXPECT_EQ(file(), before);
    EXPECT_TRUE(index->Changed());
    EXPECT_EQ(index->UniqueId(u"a"), 2);
    index->CloseIndex();
    EXPECT_EQ(Index()->UniqueId(u"a"), 2);
  }
}

TEST_F(SyncIndex, CallsDuringReadingAreRefused) {
  const auto index = Index();
  index->Add(u"a", 1);
  index->CloseIndex();
  loop_->on_yield = [&] { EXPECT_EQ(ErrorOf([&] { index->UniqueId(u"a"); }), 5); };
  EXPECT_EQ(index->UniqueId(u"a"), 1);
  index->CloseIndex();

  loop_->on_yield = [&] { index->CloseIndex(); };
  EXPECT_EQ(ErrorOf([&] { index->Add(u"b", 1); }), 5) << "closed meanwhile";
  EXPECT_FALSE(index->Changed());
  EXPECT_THAT(folder_.open, IsEmpty());
  loop_->on_yield = {};
  EXPECT_EQ(index->UniqueId(u"a"), 1);
}

TEST_F(SyncIndex, DoesNotOverwriteAFileThatCameLater) {
  const auto first = Index();
  const auto second = Index();
  first->Add(u"a", 1);
  second->Add(u"b", 2);
  first->CloseIndex();
  EXPECT_EQ(ErrorOf([&] { second->CloseIndex(); }), 57);
  EXPECT_THAT(log_->lines, ElementsAre(StartsWith("WriteSyncIndex ")));
  EXPECT_EQ(Index()->UniqueId(u"a"), 1);
}

TEST_F(SyncIndex, RaisesDamageWhereThereIsNoLog) {
  log_ = nullptr;
  file() = Ascii("no index");
  auto index = Index();
  EXPECT_THAT(ErrorTextOf([&] { index->Add(u"a", 1); }), StartsWith("57 ReadSyncIndex "));
  index->Add(u"a", 1);
  index->CloseIndex();
  EXPECT_EQ(Index()->UniqueId(u"a"), 1);

  PDBDatabasePC database(folder_.Factory()(), AnsiCodePage::Windows1252(), clock_, nullptr,
                         [this] { return NewIndex(); });
  database.SetPDBFilePath(u"C:\\save\\Stock.pdb");
  ASSERT_TRUE(database.CreateDatabase());
  database.SyncIndex()->Add(u"b", 1);
  folder_.FailNth("Write", 2);
  EXPECT_EQ(ErrorOf([&] { database.CloseDatabase(); }), 57);
  EXPECT_FALSE(database.IsOpen());
  database.CloseDatabase();
  EXPECT_EQ(Index()->UniqueId(u"b"), 1);
}

class DatabaseWithIndex : public SyncIndex {
 protected:
  std::shared_ptr<PDBDatabase> Create(const char16_t* name) {
    std::shared_ptr<PDBDatabase> database;
    EXPECT_TRUE(system_.CreateDatabase(name, database));
    return database;
  }

  PDBFileSystemPC system_{u"C:\\save",
                          folder_.Factory(),
                          dftWindows,
                          AnsiCodePage::Windows1252(),
                          clock_,
                          log_,
                          [this] { return NewIndex(); }};
};

TEST_F(DatabaseWithIndex, ClosingTheDatabaseWritesItLast) {
  const auto database = Create(u"Stock");
  const auto index = database->SyncIndex();
  EXPECT_EQ(database->SyncIndex(), index);
  const int32_t id = Put(*database, 0, {0, 0, 0, Ascii("x")});
  index->Add(u"x", id);

  folder_.FailNth("Write", 1);
  EXPECT_EQ(ErrorOf([&] { database->CloseDatabase(); }), 57);
  EXPECT_FALSE(Exists());
  EXPECT_TRUE(index->Changed());

  folder_.FailNth("Write", 2);  // the index's own
  database->CloseDatabase();
  EXPECT_FALSE(Exists());
  EXPECT_TRUE(index->Changed());
  EXPECT_THAT(log_->lines.back(), StartsWith("WriteSyncIndex "));

  database->CloseDatabase();
  EXPECT_TRUE(Exists());
  EXPECT_FALSE(index->Changed());
  EXPECT_EQ(index->UniqueId(u"x"), id);
}

TEST_F(DatabaseWithIndex, GoesWithTheNameOfTheDatabase) {
  struct Case {
    const char* what;
    bool in_memory;
    std::function<void(PDBDatabase&)> rename;
  };
  const Case kCases[] = {
      {"renamed", true, [](PDBDatabase& d) { d.SetPDBDatabaseName(u"Old:Stock"); }},
      {"renamed, unread", false, [](PDBDatabase& d) { d.SetPDBDatabaseName(u"Old:Stock"); }},
      {"there and back", true,
       [](PDBDatabase& d) {
         d.SetPDBDatabaseName(u"X");
         d.SetPDBDatabaseName(u"Stock");
         d.SetPDBDatabaseName(u"Old:Stock");
       }},
      {"moved", true, [&](PDBDatabase& d) {
         EXPECT_TRUE(system_.MoveDatabase(u"Stock", u"Old"));
         d.SetPDBDatabaseName(u"Old:Stock");
       }}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.what);
    folder_.files.clear();
    {
      const auto database = Create(u"Stock");
      database->SyncIndex()->Add(u"x", 1);
      database->CloseDatabase();
      ASSERT_TRUE(database->OpenDatabase());
      const auto index = database->SyncIndex();
      if (c.in_memory) index->Add(u"y", 2);
      c.rename(*database);
      EXPECT_EQ(database->SyncIndex(), index);
      database->CloseDatabase();
    }
    EXPECT_FALSE(Exists());
    const auto renamed = NewIndex();
    renamed->SetDatabase({}, u"Old:Stock");
    EXPECT_TRUE(folder_.files.contains(u"C:\\data\\My PC\\Old_Stock.si"));
    EXPECT_EQ(renamed->UniqueId(u"x"), 1);
    EXPECT_EQ(renamed->UniqueId(u"y"), c.in_memory ? 2 : 0);
    renamed->CloseIndex();
    EXPECT_TRUE(system_.DeleteDatabase(u"Old") || system_.DeleteDatabase(u"Stock"));
  }
}

TEST_F(DatabaseWithIndex, ANewDatabaseOfTheNameStartsWithNone) {
  const auto fill = [&] {
    const auto database = Create(u"Stock");
    database->SyncIndex()->Add(u"x", 1);
    database->CloseDatabase();
  };
  struct Case {
    const char* what;
    std::function<void()> act;
    bool kept;
  };
  const Case kCases[] = {
      {"replaced by a new one", [&] { Create(u"Stock")->CloseDatabase(); }, true},
      {"deleted, and a new one",
       [&] {
         std::shared_ptr<PDBDatabase> database;
         ASSERT_TRUE(system_.OpenDatabase(u"Stock", database));
         database->SyncIndex()->Add(u"lost with it", 1);
         ASSERT_TRUE(system_.DeleteDatabase(u"Stock"));
         EXPECT_THAT(folder_.open, IsEmpty());
         Create(u"Stock")->CloseDatabase();
       },
       false},
      {"file gone, and a new one that asks",
       [&] {
         folder_.files.erase(u"C:\\save\\Stock.pdb");
         const auto database = Create(u"Stock");
         EXPECT_EQ(database->SyncIndex()->UniqueId(u"x"), 0);
         database->CloseDatabase();
       },
       false}};
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.what);
    fill();
    c.act();
    const auto index = Index();
    EXPECT_EQ(index->UniqueId(u"x"), c.kept ? 1 : 0);
    EXPECT_EQ(index->UniqueId(u"lost with it"), 0);
    index->CloseIndex();
  }
}

TEST_F(DatabaseWithIndex, AnObjectThatBecomesAnotherDatabaseGetsTheOthersIndex) {
  PDBDatabasePC database(folder_.Factory()(), AnsiCodePage::Windows1252(), clock_, log_,
                         [this] { return NewIndex({}); });
  const auto be = [&](const char16_t* path, const char16_t* name) {
    database.SetPDBFilePath(path);
    database.SetPDBDatabaseName(name);
    ASSERT_TRUE(database.CreateDatabase());
  };
  be(u"D:\\a\\A.pdb", u"A");
  const auto index = database.SyncIndex();
  index->Add(u"x", 77);
  database.CloseDatabase();
  EXPECT_EQ(index->UniqueId(u"x"), 77);
  be(u"D:\\a\\B.pdb", u"B");
  EXPECT_EQ(database.SyncIndex()->UniqueId(u"x"), 0);
  database.SyncIndex()->Add(u"y", 3);
  // Saved under another path as well: the index goes there, that of the old file stays.
  database.CloseDatabase();
  ASSERT_TRUE(database.OpenDatabase());
  database.SetPDBFilePath(u"D:\\b\\B.pdb");
  database.SyncIndex()->Add(u"z", 4);
  database.CloseDatabase();
  const auto entry = [&](const char16_t* folder, const char16_t* name, const char16_t* key) {
    const auto other = NewIndex({});
    other->SetDatabase(folder, name);
    return other->UniqueId(key);
  };
  EXPECT_EQ(index->UniqueId(u"x"), 77);
  EXPECT_EQ(entry(u"D:\\a", u"B", u"y"), 3);
  EXPECT_EQ(entry(u"D:\\a", u"B", u"z"), 0);
  EXPECT_EQ(entry(u"D:\\b\\", u"B", u"y"), 3);
  EXPECT_EQ(entry(u"D:\\b", u"B", u"z"), 4);
}

TEST_F(DatabaseWithIndex, IsBesideADatabaseOfNoRun) {
  PDBDatabasePC database(folder_.Factory()(), AnsiCodePage::Windows1252(), clock_, log_,
                         [this] { return NewIndex({}); });
  database.SetPDBFilePath(u"D:\\own\\File.pdb");
  EXPECT_EQ(ErrorOf([&] { database.SyncIndex(); }), 5);
  ASSERT_TRUE(database.CreateDatabase());
  database.SyncIndex()->Add(u"x", 1);
  database.CloseDatabase();
  EXPECT_TRUE(folder_.files.contains(u"D:\\own\\My PC\\File.si"));

  PDBDatabasePC without(folder_.Factory()(), AnsiCodePage::Windows1252(), clock_, log_);
  EXPECT_EQ(ErrorOf([&] { without.SyncIndex(); }), 445);

  // The close of a new database asks for one, which may not be possible.
  PDBDatabasePC failing(folder_.Factory()(), AnsiCodePage::Windows1252(), clock_, log_,
                        []() -> std::shared_ptr<CSyncIndex> { throw Overflow(); });
  failing.SetPDBFilePath(u"D:\\own\\New.pdb");
  ASSERT_TRUE(failing.CreateDatabase());
  EXPECT_EQ(ErrorOf([&] { failing.CloseDatabase(); }), 6);
  EXPECT_FALSE(failing.IsOpen());
  EXPECT_TRUE(failing.FileExists());
}

}  // namespace
}  // namespace pylon

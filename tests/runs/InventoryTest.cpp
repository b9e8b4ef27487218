// Whole runs of Pylon.exe with the sample Inventory: a CSV file and a table in the AppForge format.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "appforge/PDBAppforgeDefinition.h"
#include "appforge/PDBAppforgeRecord.h"
#include "base/Text.h"
#include "tests/runs/SampleRun.h"

namespace pylon {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using testing::Process;
using testing::Quoted;
using namespace std::string_literals;

// The table as an application on the handheld sees it. Its texts are bytes, one a character.
class Handheld : public testing::SampleDatabase {
 public:
  explicit Handheld(const fs::path& path) : SampleDatabase(path) {
    if (!fs::exists(path)) return;
    PDBByteStream block(Page());
    block.Fill(database_.ReadAppInfoBlock());
    EXPECT_TRUE(definition_->IsAppforgeData(block));
    record.SetAppforgeDefinition(definition_);
  }

  PDBAppforgeDefinition& definition() { return *definition_; }
  void Create() {
    EXPECT_TRUE(database_.CreateDatabase());
    database_.WriteAppInfoBlock(definition_->AppInfoBlock().BlockBytes());
    record.SetAppforgeDefinition(definition_);
  }

  int32_t count() const { return database_.RecordCount(); }
  // Reads the record with this key into `record`.
  bool Find(const std::string& key) {
    for (index = 1; index <= count(); ++index) {
      Read(index);
      if (Text(1) == key) return true;
    }
    return false;
  }
  void Read(int32_t at) {
    const std::optional<Record> read = database_.ByIndex(at);
    ASSERT_TRUE(read);
    id = read->id;
    attributes = read->attributes;
    PDBByteStream stream(Page());
    stream.SetUTF8Strings(false);
    stream.Fill(read->data);
    size = read->data.bytes().size();
    if (!(attributes & eDelete)) record.Decode(stream);
  }
  void Write(int32_t at) {
    PDBByteStream stream(Page());
    stream.SetUTF8Strings(false);
    record.Encode(stream);
    id = database_.Update(at, id, 0, attributes, stream.RecordBytes());
  }
  void Change(const std::string& key, const std::function<void(PDBAppforgeRecord&)>& change) {
    EXPECT_TRUE(Find(key)) << key;
    change(record);
    attributes = eDirty;
    Write(index);
  }
  void Add(const std::function<void(PDBAppforgeRecord&)>& fill) {
    record.Clear();
    fill(record);
    id = 0;
    attributes = eDirty;
    Write(0);
  }
  void AddBytes(int32_t length) {
    PDBByteStream stream(Page());
    stream.Resize(length + 1);
    id = 0;
    id = database_.Update(0, id, 0, eDirty, stream.RecordBytes());
  }
  void Delete(const std::string& key, int32_t with = 0) {
    EXPECT_TRUE(Find(key)) << key;
    attributes = eDelete | with;
    Write(index);
  }
  std::string Text(int16_t field) const {
    const Bytes bytes = Page().Encode(record.StringValue(field));
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }

  PDBAppforgeRecord record;
  int32_t index = 0, id = 0, attributes = 0;  // of the record
  size_t size = 0;                            // of its bytes

 private:
  std::shared_ptr<PDBAppforgeDefinition> definition_ =
      std::make_shared<PDBAppforgeDefinition>(Page());
};

constexpr char kAllTypes[] =
    "Article:string,Byte:byte,Integer:integer,Long:long,Float:float,Text:string,Boolean:boolean,"
    "Date:date,Double:double,Currency:currency,Signature:signature\r\n";

constexpr char kInventory[] = "Inventory";

class InventoryTest : public testing::SampleRun<kInventory> {
 protected:
  fs::path database() const { return data() / "Inventory.pdb"; }

  // A run that is refused: what the user is told.
  std::string Refused() const {
    Process process = Start();
    const auto box = testing::WaitForMessageBox(process.id());
    if (!box) return "(no message box)";
    testing::PressOk(process.id());
    EXPECT_EQ(process.Wait().value_or(99), 1U);
    return ToUtf8(box->text);
  }
  // The lines that a sync adds.
  std::string SyncedLog() const {
    const size_t old = Log().size();
    Sync();
    return Log().substr(old);
  }

  void Write(const std::string& text) const {
    std::ofstream(data() / "Inventory.csv", std::ios::binary) << text;
  }
  std::string Csv(const char* name = "Inventory.csv") const {
    return testing::ReadFile(data() / name);
  }
  std::string Cells(const std::string& key, int16_t field) const {
    Handheld handheld(database());
    return handheld.Find(key) ? handheld.Text(field) : "(none)";
  }

  static void PutBack(const Contents& files, const char* extension) {
    for (const auto& [path, file] : files) {
      if (path.extension() == extension) std::ofstream(path, std::ios::binary) << file.first;
    }
  }
};

TEST_F(InventoryTest, AllTypesGoBothWays) {
  const std::string small =
      "small,0,-32768,-2147483648,-3.4028235E+38,,False,,-1.7976931348623157E+308,"
      "-922337203685477.5808,\r\n";
  const std::string large =
      "large \xE2\x82\xAC,255,32767,2147483647,0.1,\"\xCE\xA9 \xF0\x9F\x93\xA6, \"\"\xC3\xA9\"\"\n"
      "2\",True,2040-02-06 06:28:15,nan,922337203685477.5807,0001 00e9 d83d ffff\r\n";
  Write(kAllTypes + small + large);
  Sync();
  {
    Handheld handheld(database());
    ASSERT_EQ(handheld.count(), 2);
    handheld.Read(1);
    EXPECT_EQ(handheld.size, 40U);
    EXPECT_EQ(handheld.record.LongValue(4), INT32_MIN);
    EXPECT_EQ(handheld.record.DateValue(8), 1462);
    EXPECT_EQ(handheld.record.CurrencyValue(10).scaled, INT64_MIN);
    handheld.Read(2);
    EXPECT_EQ(handheld.size, 70U) << "no zeros behind the texts";
    EXPECT_EQ(handheld.Text(1), "large \xE2\x82\xAC");
    EXPECT_EQ(handheld.record.ByteValue(2), 255);
    EXPECT_EQ(handheld.record.SingleValue(5), 0.1F);
    EXPECT_EQ(handheld.Text(6), "\xCE\xA9 \xED\xA0\xBD\xED\xB3\xA6, \"\xC3\xA9\"\n2");
    EXPECT_TRUE(handheld.record.BooleanValue(7));
    EXPECT_EQ(handheld.Text(11), "\x01\xC3\xA9\xED\xA0\xBD\xEF\xBF\xBF");

    handheld.Change("small", [](PDBAppforgeRecord& record) {
      record.SetByteValue(2, 7);
      record.SetIntegerValue(3, -1);
      record.SetLongValue(4, 100000);
      record.SetSingleValue(5, 1.5F);
      record.SetStringValue(6, u"a,\u00C3\u00A9");  // UTF-8
      record.SetBooleanValue(7, true);
      record.SetDateValue(8, 45000.75);
      record.SetDoubleValue(9, 1e-300);
      record.SetCurrencyValue(10, Currency{-12345});
      record.SetStringValue(11, u"\u0005\u0006\u00EF\u00BF\u00BF");
    });
    // An application that writes its texts in the code page.
    handheld.Add([](PDBAppforgeRecord& record) { record.SetStringValue(1, u"caf\u00E9"); });
    handheld.Change("caf\xE9", [](PDBAppforgeRecord& record) { record.SetDateValue(8, 1462); });
    handheld.Close();
  }
  Sync();
  EXPECT_EQ(Csv(), kAllTypes +
                       "small,7,-1,100000,1.5,\"a,\xC3\xA9\",True,2023-03-15 18:00:00,1E-300,"
                       "-1.2345,0005 0006 ffff\r\n"s +
                       large + "caf\xC3\xA9,0,0,0,0,,False,,0,0,\r\n");
  const Contents settled = Snapshot();
  Sync();
  EXPECT_EQ(Snapshot(), settled) << "nothing had changed";
}

TEST_F(InventoryTest, BothSidesChange) {
  const std::string header = "Article:string,Stock:long,Price:currency\r\n";
  Write(header +
        "A,1,2.50\r\nB,1,2.50\r\nC,1,2.50\r\nD,1,2.50\r\nE,1,2.50\r\nF,1,2.50\r\nG,1,2\r\n");
  Sync();
  Write(header +
        "\r\nA,1,2.50\r\nB,5,2.50\r\nC,5,2.50\r\nE,1,2.50\r\nF,1,2.50\r\nG,1,2\r\nH,1,2\r\n");
  Handheld handheld(database());
  const auto stock = [](int32_t value) {
    return [value](PDBAppforgeRecord& record) { record.SetLongValue(2, value); };
  };
  handheld.Change("A", stock(7));
  handheld.Change("C", stock(7));
  handheld.Delete("E");
  handheld.Change("F", [](PDBAppforgeRecord& record) { record.SetStringValue(1, u"F2"); });
  handheld.Delete("G", eArchive);
  handheld.Add([](PDBAppforgeRecord& record) { record.SetStringValue(1, u"I"); });
  handheld.Close();
  const Contents before = Snapshot();
  const std::string log = SyncedLog();

  EXPECT_EQ(Csv(),
            header + "\r\nA,7,2.50\r\nB,5,2.50\r\nC,7,2.50\r\nF2,1,2.50\r\nH,1,2\r\nI,0,0\r\n");
  EXPECT_EQ(Csv("Inventory.conflicts.csv"), header + "C,5,2.50\r\n");
  EXPECT_EQ(Csv("Inventory.archive.csv"), header + "G,1,2\r\n");
  for (const char* line :
       {"File, updated: A", "Table, updated: B", "Conflict: C was changed", "Table, removed: D",
        "File, removed: E", "File, updated: F2", "Table, added: H", "File, added: I"}) {
    EXPECT_THAT(log, HasSubstr(line));
  }
  std::map<std::string, std::string> table;
  Handheld after(database());
  for (int32_t i = 1; i <= after.count(); ++i) {
    after.Read(i);
    table[after.Text(1)] = after.Text(2);
    EXPECT_EQ(after.attributes, 0);
  }
  EXPECT_EQ(table, (std::map<std::string, std::string>{
                       {"A", "7"}, {"B", "5"}, {"C", "7"}, {"F2", "1"}, {"H", "1"}, {"I", "0"}}));
  after.Close();
  const Contents settled = Snapshot();
  Sync();
  EXPECT_EQ(Snapshot(), settled) << "nothing had changed";

  // As a sync leaves things that is killed before it saves the index, the database, the file.
  const std::string csv = Csv();
  for (const auto& unsaved : {std::vector{".si"}, {".si", ".pdb"}, {".si", ".pdb", ".csv"}}) {
    for (const char* extension : unsaved) PutBack(before, extension);
    Sync();
    EXPECT_EQ(Csv(), csv);
    EXPECT_EQ(Csv("Inventory.conflicts.csv"), header + "C,5,2.50\r\n");
    EXPECT_EQ(Csv("Inventory.archive.csv"), header + "G,1,2\r\n");
    EXPECT_EQ(Cells("C", 2), "7");
    EXPECT_EQ(Cells("D", 2), "(none)");
    EXPECT_EQ(Cells("E", 2), "(none)");
  }
}

TEST_F(InventoryTest, ABadCellIsNamedAndItsRowLeftAlone) {
  const std::string good = "ok,1,1,1,1,,1,,1,1,\r\n";
  Write(kAllTypes + "bad,1,1,1,1,old,1,,1,1,\r\n"s + good);
  Sync();
  Handheld handheld(database());
  handheld.Change("bad", [](PDBAppforgeRecord& record) { record.SetStringValue(6, u"new"); });
  handheld.Close();
  const int32_t changed = 5;

  const std::string row = "bad,1,1,1,1,text,1,,1,1,";
  const struct {
    std::string row;
    const char* place;
  } cases[] = {
      {"bad,256,1,1,1,,1,,1,1,", "column 2 (Byte): \"256\" is out of the type's range"},
      {"bad,1,40000,1,1,,1,,1,1,", "column 3 (Integer): \"40000\" is out of the type's range"},
      {"bad,1,1,x,1,,1,,1,1,", "column 4 (Long): \"x\" is no whole number"},
      {"bad,1,1,1,1e99,,1,,1,1,", "column 5 (Float): \"1e99\" is out of the type's range"},
      {"bad,1,1,1,1," + std::string(40000, 'a') + ",1,,1,1,", "column 6 (Text): \"aaa"},
      {"bad,1,1,1,1,,maybe,,1,1,", "column 7 (Boolean): \"maybe\" is neither True nor False"},
      {"bad,1,1,1,1,,1,2023-02-30,1,1,", "column 8 (Date): \"2023-02-30\" is no date"},
      {"bad,1,1,1,1,,1,2041-01-01,1,1,", "column 8 (Date): \"2041-01-01\" is a date that"},
      {"bad,1,1,1,1,,1,,1 000,1,", "column 9 (Double): \"1 000\" is no number"},
      {"bad,1,1,1,1,,1,,1,1e3,", "column 10 (Currency): \"1e3\" is no amount"},
      {"bad,1,1,1,1,,1,,1,1,12", "column 11 (Signature): \"12\" is no signature"},
      {"bad,1,1,1", "column 5 (Float) is missing"},
      {row + ",more", "column 12: \"more\" is one more than the header has"},
      {"bad,\"1\"2,1,1,1,,1,,1,1,", "column 2 (Byte): \"12\" has more text behind"},
      {",1,1,1,1,,1,,1,1,", "column 1 (Article) is empty"},
      {good + row, "the key"},  // the second "ok" below
  };
  int32_t stock = changed;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.row.substr(0, 60));
    const std::string ok = "ok,1,1," + std::to_string(++stock) + ",1,,1,,1,1,\r\n";
    const std::string csv = c.place == "the key"s ? kAllTypes + ok + row + "\r\n" + good
                                                  : kAllTypes + c.row + "\r\n" + ok;
    Write(csv);
    if (c.place == "the key"s) {
      EXPECT_THAT(SyncedLog(), HasSubstr("line 4, the key \"ok\" is that of line 2"));
    } else {
      EXPECT_THAT(SyncedLog(), HasSubstr("Skipped: Inventory.csv, line 2, "s + c.place));
      EXPECT_EQ(Csv(), csv) << "the row stays";
      Handheld after(database());
      ASSERT_TRUE(after.Find("bad"));
      EXPECT_EQ(after.Text(6), "new");
      EXPECT_EQ(after.attributes, eDirty) << "for the sync that finds the row put right";
    }
    EXPECT_EQ(Cells("ok", 4), std::to_string(stock)) << "the rest goes on";
  }
}

TEST_F(InventoryTest, WhatIsWrongAltogetherIsToldBeforeAnythingIsWritten) {
  EXPECT_THAT(Refused(), HasSubstr("Inventory.csv is missing. Make it;"));
  Write("\r\n");
  EXPECT_THAT(Refused(),
              HasSubstr("it has no header in its first line. File and database are as they were."));
  Write("\xC3\x89:string,\xCE\xA9:long\r\n");
  EXPECT_THAT(Refused(), HasSubstr("a database can't keep this name: column 2"));
  EXPECT_FALSE(fs::exists(database()));

  const std::string rows = "A,1\r\nB,2\r\n";
  Write("Article:string,Stock:long\r\n" + rows);
  Sync();
  Handheld handheld(database());
  handheld.Delete("B");
  handheld.Close();
  const struct {
    std::string csv;
    const char* message;
  } cases[] = {
      {"Article:string,Stock:integer\r\n" + rows, "Conduit Error: 321 (Inventory.Conduit) "},
      {"Article:string,Stock:integer\r\n" + rows,
       "column 2 is Stock:integer in the file and Stock:long in the database"},
      {"Article:string\r\nA\r\nB\r\n", "column 2 is missing in the file"},
      {"Article:string,Stock:long\r\nA,\"1\r\nB,2\r\n", "line 2: a quote is opened there"},
      {"Article:string,Stock:long\r\nA,\xFF\0\r\n"s, "it is no text"},
  };
  for (const auto& c : cases) {
    Write(c.csv);
    const Contents before = Snapshot();
    EXPECT_THAT(Refused(), HasSubstr(c.message));
    EXPECT_EQ(Snapshot(), before);
  }
  fs::remove(data() / "Inventory.csv");
  const Contents before = Snapshot();
  EXPECT_THAT(Refused(), HasSubstr("It was there at the last sync: put it back."));
  EXPECT_EQ(Snapshot(), before);
}

TEST_F(InventoryTest, ATableWithoutAFileIsWrittenToOneAndAFileWithoutRowsIsFilled) {
  Handheld handheld(database());
  handheld.definition().AddFieldName(u"Number", eLongField);
  handheld.definition().AddFieldName(u"Name", eStringField);
  handheld.Create();
  for (const int32_t number : {3, -1}) {
    handheld.Add([&](PDBAppforgeRecord& record) {
      record.SetLongValue(1, number);
      record.SetStringValue(2, u"a\"b");
    });
  }
  handheld.AddBytes(3);
  handheld.Close();
  EXPECT_THAT(SyncedLog(), HasSubstr("Skipped: record 3: its 3 bytes don't fit the columns"));
  const std::string csv = "Number:long,Name:string\r\n3,\"a\"\"b\"\r\n-1,\"a\"\"b\"\r\n";
  EXPECT_EQ(Csv(), csv);
  Write("Number:long,Name:string\r\n");
  EXPECT_THAT(SyncedLog(), HasSubstr("Inventory.csv has no rows"));
  EXPECT_EQ(Csv(), csv);
}

TEST_F(InventoryTest, AnotherFileDoesNotRemoveWhatItLacks) {
  const std::string header = "Article:string,Stock:long\r\n";
  Write(header + "A,1\r\nB,1\r\n");
  Sync();
  std::ofstream(data() / "AppStore.ini") << "[Inventory]\nFile=Other.csv\n";
  std::ofstream(data() / "Other.csv", std::ios::binary) << header << "B,1\r\n";
  Sync();
  EXPECT_EQ(Csv("Other.csv"), header + "B,1\r\nA,1\r\n");
  EXPECT_EQ(Cells("A", 2), "1");
}

}  // namespace
}  // namespace pylon

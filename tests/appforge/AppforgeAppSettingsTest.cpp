#include "appforge/AppforgeAppSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "appforge/PDBAppforgeDefinition.h"
#include "pdb/PDBFileSystemPC.h"
#include "tests/support/Errors.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::Ascii;
using testing::ErrorOf;
using testing::FixedClock;
using ::testing::HasSubstr;
using testing::MemoryDisk;
using testing::Put;
using testing::ReadAll;
using testing::Record;

// Case counts here, which the registry's doesn't.
class MapSettings final : public UserSettings {
 public:
  using View = std::u16string_view;

  std::optional<std::u16string> Read(View application, View section, View key) override {
    const auto found = values.find(NameOf(application, section, key));
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void Write(View application, View section, View key, View value) override {
    values[NameOf(application, section, key)] = value;
  }
  bool Delete(View application, View section, View key) override {
    return values.erase(NameOf(application, section, key)) > 0;
  }
  static std::u16string NameOf(View application, View section, View key) {
    return std::u16string(application).append(u"/").append(section).append(u"/").append(key);
  }

  std::map<std::u16string, std::u16string> values;
};

struct TestRun final : RunningSync {
  eDeviceType DeviceType() const override { return device_type; }
  std::shared_ptr<PDBFileSystem> FileSystem() const override { return files; }

  eDeviceType device_type = dtPC;
  std::shared_ptr<PDBFileSystem> files;
};

class AppSettings : public ::testing::Test {
 protected:
  void SetUp() override { StartFileSystem(); }

  void StartFileSystem() {
    run_->files = std::make_shared<PDBFileSystemPC>(u"C:\\pdb", folder_.Factory(), dftWindows,
                                                    AnsiCodePage::Windows1252(), clock_, nullptr);
  }
  AppforgeAppSettings For(eDeviceType device) {
    run_->device_type = device;
    return {run_, store_, AnsiCodePage::Windows1252()};
  }
  AppforgeAppSettings OnHandheld() { return For(dtHotSync); }

  // A table on the handheld and its records, saved and closed; without fields it is none.
  void CreateTable(const std::vector<int32_t>& fields, const std::vector<Bytes>& records) {
    std::shared_ptr<PDBDatabase> database;
    ASSERT_TRUE(run_->files->CreateDatabase(u"Memo-Settings", database));
    PDBAppforgeDefinition definition;
    for (const int32_t type : fields) definition.AddFieldName(u"field", type);
    if (!fields.empty()) database->WriteAppInfoBlock(definition.AppInfoBlock().BlockBytes());
    for (const Bytes& data : records) Put(*database, 0, {0, 5, eSecret | eDirty, data});
    StartFileSystem();
  }
  void CreateSettings() {
    CreateTable({eStringField, eStringField, eStringField},
                {Fields("", "nothing"), Fields("Font", "Tahoma"), Fields("font", "Arial"),
                 Fields("Font", "second"), Fields("Size", "")});
  }
  static Bytes Fields(std::string_view key, std::string_view value) {
    return Ascii(std::string(key) + '\0' + std::string(value) + std::string(2, '\0'));
  }
  // What another program finds in the file.
  std::vector<Record> Records() {
    MemoryDisk copy;
    copy.files = folder_.files;
    PDBFileSystemPC files(u"C:\\pdb", copy.Factory(), dftWindows, AnsiCodePage::Windows1252(),
                          clock_, nullptr);
    std::shared_ptr<PDBDatabase> database;
    EXPECT_TRUE(files.OpenDatabase(u"Memo-Settings", database));
    return ReadAll(*database);
  }

  MemoryDisk folder_;
  FixedClock clock_;
  std::shared_ptr<TestRun> run_ = std::make_shared<TestRun>();
  MapSettings store_;
};

TEST_F(AppSettings, OfThePcAreInTheUsersStore) {
  AppforgeAppSettings in_run = For(dtPC);
  run_->device_type = dtHotSync;  // from now on
  AppforgeAppSettings without_run(nullptr, store_, AnsiCodePage::Windows1252());
  for (AppforgeAppSettings* settings : {&in_run, &without_run}) {
    EXPECT_EQ(settings->GetSettings(u"Memo", u"Options", u"Font"), u"");
    EXPECT_EQ(settings->GetSettings(u"Memo", u"Options", u"Font", u"none"), u"none");
    EXPECT_EQ(ErrorOf([&] { settings->DeleteSettings(u"Memo", u"Options", u"Font"); }), 5);
    settings->SaveSettings(u"Memo", u"Options", u"Font", u"Tahoma");
    settings->SaveSettings(u"Memo", u"Options\\More", u"a\\", u"");
    EXPECT_EQ(settings->GetSettings(u"Memo", u"Options", u"Font", u"none"), u"Tahoma");
    EXPECT_EQ(settings->GetSettings(u"Memo", u"Options\\More", u"a\\", u"none"), u"");
    EXPECT_EQ(store_.values.size(), 2U);
    settings->DeleteSettings(u"Memo", u"Options", u"Font");
    settings->DeleteSettings(u"Memo", u"Options\\More", u"a\\");
    EXPECT_TRUE(store_.values.empty());
  }
}

TEST_F(AppSettings, OfThePcNeedNames) {
  const std::u16string nul(1, u'\0');
  const struct {
    std::u16string application, section, key;
  } cases[] = {{u"", u"s", u"k"},    {u"a", u"", u"k"},        {u"a", u"s", u""},
               {u"\\a", u"s", u"k"}, {u"a", u"s\\", u"k"},     {u"a", u"s\\\\t", u"k"},
               {nul, u"s", u"k"},    {u"a", u"s" + nul, u"k"}, {u"a", u"s", nul + u"k"}};
  AppforgeAppSettings settings = For(dtPC);
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    EXPECT_EQ(settings.GetSettings(c.application, c.section, c.key, u"none"), u"none");
    EXPECT_EQ(ErrorOf([&] { settings.SaveSettings(c.application, c.section, c.key, u"v"); }), 5);
    EXPECT_EQ(ErrorOf([&] { settings.DeleteSettings(c.application, c.section, c.key); }), 5);
  }
  EXPECT_EQ(ErrorOf([&] { settings.SaveSettings(u"a", u"s", u"k", nul); }), 5);
  EXPECT_TRUE(store_.values.empty());
}

TEST_F(AppSettings, OfActiveSyncAreNowhere) {
  CreateSettings();
  const auto before = folder_.files;
  folder_.calls.clear();
  AppforgeAppSettings settings = For(dtActiveSync);
  settings.SaveSettings(u"Memo", u"", u"Font", u"Arial");
  settings.SaveSettings(u"Other", u"", u"Font", u"Arial");
  settings.DeleteSettings(u"Memo", u"", u"Font");
  EXPECT_EQ(settings.GetSettings(u"Memo", u"", u"Font", u"none"), u"");
  EXPECT_EQ(folder_.calls.size(), 0U);
  EXPECT_TRUE(store_.values.empty());
}

TEST_F(AppSettings, OfTheHandheldAreFoundWithoutSection) {
  CreateSettings();
  const auto before = folder_.files;
  const struct {
    const char16_t *application, *section, *key, *value;
  } cases[] = {{u"Memo", u"", u"Font", u"Tahoma"}, {u"Memo", u"", u"font", u"Arial"},
               {u"Memo", u"", u"Size", u""},       {u"Memo", u"", u"FONT", u""},
               {u"Memo", u"", u"Tahoma", u""},     {u"Memo", u"Font", u"Font", u""},
               {u"Memo", u"Tahoma", u"Font", u""}, {u"Memo", u"", u"", u"nothing"},
               {u"Other", u"", u"Font", u""},      {u"", u"", u"Font", u""},
               {u"no:name", u"", u"Font", u""}};
  AppforgeAppSettings settings = OnHandheld();
  for (const auto& c : cases) {
    EXPECT_EQ(settings.GetSettings(c.application, c.section, c.key, u"none"), c.value)
        << &c - cases;
  }
  EXPECT_EQ(folder_.files, before);
  EXPECT_TRUE(folder_.open.empty());
}

// What the user has deleted leaves an empty record, which is no setting; others are, deleted or
// not.
TEST_F(AppSettings, OfTheHandheldAreFoundBehindDeletedRecords) {
  CreateTable({eStringField, eStringField, eStringField}, {});
  std::shared_ptr<PDBDatabase> database;
  ASSERT_TRUE(run_->files->OpenDatabase(u"Memo-Settings", database));
  Put(*database, 0, {0, 0, eDelete, {}});
  Put(*database, 0, {0, 0, eDelete | eArchive, Fields("Font", "Tahoma")});
  EXPECT_EQ(OnHandheld().GetSettings(u"Memo", u"", u"Font"), u"Tahoma");
}

TEST_F(AppSettings, OfTheHandheldAreChangedAndNotAdded) {
  CreateSettings();
  std::vector<Record> expected = Records();
  AppforgeAppSettings settings = OnHandheld();
  for (const char16_t* value : {u"Courier New", u"x", u"", u"Times"}) {
    settings.SaveSettings(u"Memo", u"", u"Font", value);
    expected[1].data = Fields("Font", ToUtf8(value));
    EXPECT_EQ(Records(), expected);
    EXPECT_EQ(settings.GetSettings(u"Memo", u"", u"Font"), value);
  }
  const auto before = folder_.files;
  const std::u16string kLost[] = {
      {u'a', 0, u'b'}, u"\u4F60", u"it\u2019s", u"a\u2013b", std::u16string(32'767, u'\u00E9')};
  for (const std::u16string& value : kLost) {
    EXPECT_EQ(ErrorOf([&] { settings.SaveSettings(u"Memo", u"", u"Font", value); }), 5);
  }
  settings.SaveSettings(u"Memo", u"", u"Color", u"red");
  settings.SaveSettings(u"Memo", u"Section", u"Font", u"red");
  settings.DeleteSettings(u"Memo", u"", u"Color");
  settings.DeleteSettings(u"Memo", u"Section", u"Font");
  EXPECT_EQ(folder_.files, before);

  settings.DeleteSettings(u"Memo", u"", u"Font");
  expected.erase(expected.begin() + 1);
  EXPECT_EQ(Records(), expected);
  EXPECT_EQ(settings.GetSettings(u"Memo", u"", u"Font"), u"second");
  EXPECT_TRUE(folder_.open.empty());
}

TEST_F(AppSettings, OfTheHandheldGetATableWhenSavedOrDeleted) {
  AppforgeAppSettings settings = OnHandheld();
  EXPECT_EQ(settings.GetSettings(u"Memo", u"", u"Font", u"none"), u"");
  EXPECT_TRUE(folder_.files.empty());
  for (const bool save : {true, false}) {
    folder_.files.clear();
    StartFileSystem();
    if (save) {
      settings.SaveSettings(u"Memo", u"", u"Font", u"Tahoma");
    } else {
      settings.DeleteSettings(u"Memo", u"", u"Font");
    }
    StartFileSystem();
    std::shared_ptr<PDBDatabase> database;
    ASSERT_TRUE(run_->files->OpenDatabase(u"Memo-Settings", database));
    EXPECT_EQ(database->RecordCount(), 0);
    PDBByteStream block;
    block.Fill(database->ReadAppInfoBlock());
    PDBAppforgeDefinition definition;
    ASSERT_TRUE(definition.IsAppforgeData(block));
    ASSERT_EQ(definition.FieldCount(), 3);
    for (int16_t i = 1; i <= 3; ++i) {
      EXPECT_EQ(definition.FieldName(i), u"f" + ToText(i - 1));
      EXPECT_EQ(definition.FieldType(i), eStringField);
    }
  }
}

TEST_F(AppSettings, OfTheHandheldAreNothingWithoutADatabase) {
  CreateSettings();
  const auto before = folder_.files;
  AppforgeAppSettings settings = OnHandheld();
  const auto expect_nothing = [&](std::u16string_view application) {
    settings.SaveSettings(application, u"", u"Font", u"Arial");
    settings.DeleteSettings(application, u"", u"Font");
    EXPECT_EQ(settings.GetSettings(application, u"", u"Font", u"none"), u"");
    EXPECT_EQ(folder_.files, before);
  };
  expect_nothing(u"no:name");
  expect_nothing(std::u16string(40, u'x'));
  run_->files->Close();
  expect_nothing(u"Memo");
  run_->files.reset();
  expect_nothing(u"Memo");
}

TEST_F(AppSettings, LeaveTheConduitsOwnDatabaseOpen) {
  CreateSettings();
  const auto before = folder_.files;
  AppforgeAppSettings settings = OnHandheld();
  std::shared_ptr<PDBDatabase> database;
  ASSERT_TRUE(run_->files->OpenDatabase(u"Memo-Settings", database));
  database->SetIterationIndex(4);
  EXPECT_EQ(settings.GetSettings(u"Memo", u"", u"Font"), u"Tahoma");
  EXPECT_EQ(settings.GetSettings(u"Memo", u"", u"none"), u"");
  settings.SaveSettings(u"Memo", u"", u"Size", u"12");
  EXPECT_EQ(database->IterationIndex(), 4);
  settings.DeleteSettings(u"Memo", u"", u"Font");
  EXPECT_EQ(database->IterationIndex(), 3);
  settings.DeleteSettings(u"Memo", u"", u"Font");  // the second, which the cursor stands on
  EXPECT_EQ(database->IterationIndex(), 3);
  EXPECT_EQ(database->RecordCount(), 3);
  EXPECT_EQ(folder_.files, before);
  database->CloseDatabase();
  EXPECT_EQ(Records().back().data, Fields("Size", "12"));
}

TEST_F(AppSettings, ErrorsReachTheCallerAndTheDatabaseIsClosed) {
  const struct {
    const char* name;
    std::vector<int32_t> fields;
    Bytes record;
    int32_t get_error;
    int32_t save_error;
  } cases[] = {{"no table", {}, Fields("Font", "Tahoma"), 9, 9},
               {"a table with a key only", {eStringField}, Fields("Font", "Tahoma"), 9, 9},
               {"a record that is cut",
                {eStringField, eStringField, eLongField},
                Fields("Font", "Tahoma"),
                9,
                9},
               {"a value that is a number",
                {eStringField, eLongField, eLongField},
                Fields("Font", "1234567"),
                0,
                13}};
  AppforgeAppSettings settings = OnHandheld();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    folder_.files.clear();
    StartFileSystem();
    CreateTable(c.fields, {c.record});
    const auto before = folder_.files;
    EXPECT_EQ(ErrorOf([&] { settings.GetSettings(u"Memo", u"", u"Font"); }), c.get_error);
    try {
      settings.SaveSettings(u"Memo", u"", u"Font", u"Arial");
      ADD_FAILURE() << "no error";
    } catch (const AutomationError& error) {
      EXPECT_EQ(error.number(), c.save_error);
      EXPECT_THAT(error.what(), HasSubstr("Record 1 of the database 'Memo-Settings'"));
    }
    EXPECT_EQ(folder_.files, before);
    EXPECT_TRUE(folder_.open.empty());
  }
}

TEST_F(AppSettings, WhatCantBeSavedNowIsSavedAtTheEnd) {
  CreateSettings();
  const auto before = folder_.files;
  AppforgeAppSettings settings = OnHandheld();
  folder_.FailNth("Replace", 1);
  EXPECT_EQ(ErrorOf([&] { settings.SaveSettings(u"Memo", u"", u"Font", u"Arial"); }), 57);
  EXPECT_EQ(folder_.files, before);
  run_->files->Close();
  EXPECT_EQ(Records()[1].data, Fields("Font", "Arial"));
}

}  // namespace
}  // namespace pylon

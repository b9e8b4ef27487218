#include "sync/SyncDriver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "pdb/PDBDatabase.h"
#include "sync/HandheldTarget.h"
#include "tests/support/Errors.h"
#include "tests/support/MemoryDisk.h"
#include "tests/support/MemoryHandheld.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using testing::ErrorOf;
using testing::FixedClock;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::MemoryDisk;
using testing::MemoryHandheld;
using Strings = std::vector<std::string>;

constexpr char kLost[] = "The link has gone.";

struct NoView final : StatusView {
  void ShowForm() override {}
  void SetHeading(const StatusHeading& shown) override { heading = shown; }
  void SetMainLabel(std::u16string_view) override {}
  void SetDetailLabel(std::u16string_view) override {}
  void SetBar(const ProgressBar&) override {}
  void EnableCancel(bool) override {}
  void ProcessEvents() override {}
  void ShowFilePanel(bool) override {}
  void SetFileProgress(std::u16string_view, const ProgressBar&) override {}

  StatusHeading heading;
};

struct LogLines final : RunLog {
  void SetFile(std::u16string_view app_id, std::u16string_view device) override {
    file = ToUtf8(app_id) + " of " + ToUtf8(device);
  }
  void SetShowLog(bool) override {}
  void Close() noexcept override { closed = true; }
  void UpdateLog(std::u16string_view line) noexcept override {
    if (!file.empty()) lines.push_back(ToUtf8(line));
  }

  std::string file;
  Strings lines;
  bool closed = false;
};

// The settings of a run, by file name, section and key.
struct MemoryStore final : StoreFile {
  using Values = std::map<std::u16string, std::u16string>;
  MemoryStore(Values& all, std::u16string_view file) : values(all), name(file) {}
  void SetFolder(std::u16string_view) override {}
  std::u16string Read(std::u16string_view section, std::u16string_view key,
                      std::u16string_view default_value) override {
    const auto found = values.find(KeyOf(section, key));
    return found == values.end() ? std::u16string(default_value) : found->second;
  }
  std::optional<std::u16string> Write(std::u16string_view section, std::u16string_view key,
                                      std::u16string_view value) override {
    values[KeyOf(section, key)] = value;
    return std::nullopt;
  }
  std::u16string KeyOf(std::u16string_view section, std::u16string_view key) const {
    return name + u"/" + std::u16string(section) + u"/" + std::u16string(key);
  }

  Values& values;
  std::u16string name;
};

// Makes components that do what the test says.
struct Factory final : ComponentFactory {
  struct Component final : ConduitComponent {
    explicit Component(Factory& made_by) : factory(made_by) {}
    ~Component() override { factory.release(); }
    std::u16string GetConduitInfo(eConduitType type) override {
      return type == ctCreatorID ? u"memo" : type == ctApplicationName ? u"Memos" : u"";
    }
    void BeginSynchronize(const std::shared_ptr<oSyncInfo>& info) override { factory.sync(*info); }
    void ConfigureConduit() override {}
    void SynchronizeClose() override { factory.close(); }
    Factory& factory;
  };

  Result Create(std::u16string_view) override {
    if (failure != Failure::kNone) return {nullptr, failure, {}};
    return {std::make_unique<Component>(*this), Failure::kNone, {}};
  }
  Failure failure = Failure::kNone;
  std::function<void(oSyncInfo&)> sync = [](oSyncInfo&) {};
  std::function<void()> close = [] {};
  std::function<void()> release = [] {};
};

// Databases of which these can't be saved.
struct FakeFiles final : PDBFileSystem {
  bool OpenDatabase(std::u16string_view, std::shared_ptr<PDBDatabase>&) override { return false; }
  bool CreateDatabase(std::u16string_view, std::shared_ptr<PDBDatabase>&) override { return false; }
  bool MoveDatabase(std::u16string_view, std::u16string_view) override { return false; }
  bool DeleteDatabase(std::u16string_view) override { return false; }
  int32_t DatabaseCount() const override { return 0; }
  std::shared_ptr<PDBDatabase> Database(int32_t) const override { return nullptr; }
  bool CloseDatabases(Failures& failures) noexcept override { return End(failures); }
  bool End(Failures& failures) noexcept override {
    failures.insert(failures.end(), unsaved.begin(), unsaved.end());
    return std::exchange(unsaved, {}).empty();
  }
  Failures unsaved;
};

struct TargetState {
  std::shared_ptr<FakeFiles> files = std::make_shared<FakeFiles>();  // null: refused
  bool lost = false;
  bool ended = false;
};

class FakeTarget final : public SyncTarget {
 public:
  explicit FakeTarget(TargetState& state) : state_(state) {}
  std::u16string TitleNote() const override { return u" (fake)"; }
  Device Connect(const Run&) override { return {dtActiveSync, u"Device", 45000.0}; }
  std::shared_ptr<PDBFileSystem> Open(const Run& run, const SyncIndexFactory&,
                                      Failures& failures) override {
    run.log->UpdateLog(u"Begin");
    if (!state_.files) failures.push_back({FailureKind::kRefused, u"no device"});
    return state_.files;
  }
  void End() noexcept override { state_.ended = true; }
  bool IsLost() const noexcept override { return state_.lost; }
  std::u16string_view LostText() const noexcept override { return u"The link has gone."; }

 private:
  TargetState& state_;
};

class SyncDriverTest : public ::testing::Test {
 protected:
  SyncOutcome Run(std::unique_ptr<SyncTarget> target) {
    const PcSide pc = {u"C:\\Pylon", AnsiCodePage::Windows1252(), clock_, disk_.Factory()};
    log_ = std::make_shared<LogLines>();
    SyncDriver driver({pc,
                       [this](std::u16string_view name) {
                         return std::make_unique<MemoryStore>(settings_, name);
                       },
                       components_, view_, log_, std::move(target), u"nothing to sync with",
                       attended_});
    SyncOutcome outcome = driver.Run(conduit_);
    EXPECT_TRUE(log_->closed);
    EXPECT_EQ(driver.SyncInfo()->FileSystem(), nullptr) << "the run let go of it";
    return outcome;
  }
  SyncOutcome Run() { return Run(std::make_unique<FakeTarget>(target_)); }
  bool KeptTheDate() const {
    return settings_.contains(u"AppStore.ini/Pylon/Sync") &&
           settings_.contains(u"DeviceStore.ini/Pylon/Sync");
  }

  FixedClock clock_;
  MemoryDisk disk_;
  MemoryStore::Values settings_;
  NoView view_;
  std::shared_ptr<LogLines> log_;  // of the last run
  Factory components_;
  TargetState target_;
  RunConduit conduit_ = {u"Memos", u"Test.Memos", {}, u"C:\\Pylon\\Memos", {}, {}, false, {}};
  bool attended_ = true;
};

TEST_F(SyncDriverTest, KeepsTheContractWithTheComponent) {
  Strings calls;
  components_.sync = [&](oSyncInfo& sync) {
    calls.emplace_back("BeginSynchronize");
    EXPECT_EQ(sync.FileSystem(), target_.files);
    EXPECT_EQ(sync.Device()->DeviceType(), dtActiveSync);
    EXPECT_EQ(sync.Device()->DeviceName(), u"Device");
    EXPECT_EQ(sync.Device()->DeviceDateTime(), 45000.0);
    EXPECT_EQ(sync.Device()->Folder(), u"C:\\Pylon\\Memos");
    EXPECT_EQ(sync.ConduitInfo()->AppId(), u"Memos");
    EXPECT_EQ(sync.ConduitInfo()->AppFolder(), u"C:\\Pylon\\Memos");
  };
  components_.close = [&] { calls.emplace_back("SynchronizeClose"); };
  components_.release = [&] {
    calls.emplace_back("release");
    EXPECT_FALSE(target_.ended) << "a component may call back while it is released";
  };
  EXPECT_EQ(Run().result(), SyncResult::kDone);
  EXPECT_THAT(calls, ElementsAre("BeginSynchronize", "SynchronizeClose", "release"));
  EXPECT_THAT(log_->lines, ElementsAre("Begin", "Sync Finished"));
  EXPECT_EQ(log_->file, "Memos of Device");
  EXPECT_EQ(view_.heading.title, u"Memos (fake)");
  EXPECT_EQ(view_.heading.application_name, u"Memos");
  EXPECT_TRUE(KeptTheDate());
  EXPECT_TRUE(target_.ended);
}

TEST_F(SyncDriverTest, OutcomesMergeWhatWentWrong) {
  const AutomationError disk_full(61, u"Memos", u"Database \"M\": disk full");
  const Failure unsaved = {FailureKind::kUnsaved, u"Database \"M\": disk full"};
  const Failure other = {FailureKind::kUnsaved, u"Database \"N\": disk full"};
  const Failure stopped = {FailureKind::kCancelled, u"Database \"M\": as the user wants"};
  const std::string conduit_error = "Conduit Error: 61 (Memos) Database \"M\": disk full";
  const struct {
    const char* name;
    bool raises, cancels, loses;
    Failures unsaved;
    SyncResult result;
    std::string text;
    const char* last_line;  // in the log
  } cases[] = {
      {"nothing", false, false, false, {}, SyncResult::kDone, "", "Sync Finished"},
      {"cancelled too late", false, true, false, {}, SyncResult::kDone, "", "Sync Finished"},
      {"cancelled", true, true, false, {}, SyncResult::kCancelled, conduit_error, nullptr},
      {"raised", true, false, false, {}, SyncResult::kFailed, conduit_error, nullptr},
      {"unsaved",
       false,
       false,
       false,
       {unsaved, other},
       SyncResult::kFailed,
       "Database \"M\": disk full\r\nDatabase \"N\": disk full",
       "Sync Failed: what was changed could not be saved."},
      {"raised and unsaved",
       true,
       false,
       false,
       {unsaved, other},
       SyncResult::kFailed,
       conduit_error + "\r\nDatabase \"N\": disk full",
       nullptr},
      {"cancelled and unsaved",
       true,
       true,
       false,
       {other},
       SyncResult::kFailed,
       conduit_error + "\r\nDatabase \"N\": disk full",
       nullptr},
      {"a copy stopped",
       false,
       false,
       false,
       {stopped},
       SyncResult::kCancelled,
       "",
       "Sync Failed: what was changed could not be saved."},
      {"a copy stopped, another unsaved",
       false,
       false,
       false,
       {stopped, other},
       SyncResult::kFailed,
       "Database \"N\": disk full",
       "Sync Failed: what was changed could not be saved."},
      {"lost unnoticed",
       false,
       false,
       true,
       {},
       SyncResult::kFailed,
       kLost,
       "Sync Failed: The link has gone."},
      {"raised and lost",
       true,
       false,
       true,
       {},
       SyncResult::kFailed,
       conduit_error + "\r\n" + kLost,
       kLost},
      {"cancelled and lost",
       true,
       true,
       true,
       {},
       SyncResult::kFailed,
       conduit_error + "\r\n" + kLost,
       kLost},
      {"unsaved because it was lost",
       false,
       false,
       true,
       {{FailureKind::kUnsaved, u"Database \"M\": The link has gone."}},
       SyncResult::kFailed,
       "Database \"M\": The link has gone.",
       "Sync Failed: what was changed could not be saved."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    settings_.clear();
    target_ = TargetState();
    target_.files->unsaved = c.unsaved;
    components_.sync = [&](oSyncInfo& sync) {
      sync.SetCancelSync(c.cancels);
      target_.lost = c.loses;
      if (c.raises) throw disk_full;
    };
    const SyncOutcome outcome = Run();
    EXPECT_EQ(outcome.result(), c.result);
    EXPECT_EQ(ToUtf8(TextOf(outcome)), c.text);
    EXPECT_EQ(log_->lines.back(), c.last_line ? c.last_line : "Sync Failed: " + conduit_error);
    EXPECT_EQ(KeptTheDate(), c.result == SyncResult::kDone);
    EXPECT_TRUE(target_.ended);
  }
}

TEST_F(SyncDriverTest, ACancelThatTheComponentClearsAsItGoesStillCounts) {
  components_.sync = [this](oSyncInfo& sync) {
    sync.SetCancelSync(true);
    components_.release = [&sync] { sync.UpdateStatusMain(u"Going"); };
    throw AutomationError(ErrorNumber::kInvalidArgument);
  };
  EXPECT_EQ(Run().result(), SyncResult::kCancelled);
}

TEST_F(SyncDriverTest, ALinkErrorOfTheComponentIsToldOnce) {
  components_.sync = [this](oSyncInfo&) {
    target_.lost = true;
    throw AutomationError(57, u"Memos", u"Reading: The link has gone. (1)");
  };
  const std::string text = "Conduit Error: 57 (Memos) Reading: The link has gone. (1)";
  EXPECT_EQ(ToUtf8(TextOf(Run())), text);
  EXPECT_THAT(log_->lines, ElementsAre("Begin", "Sync Failed: " + text));
}

TEST_F(SyncDriverTest, ARefusedRunSaysWhyWhereItIsRead) {
  const struct {
    const char* name;
    std::function<void()> refuse;
    const char* text;
    Strings log;         // of a run that somebody watches
    Strings unattended;  // of one that nobody does
  } cases[] = {
      {"not registered",
       [&] {
         conduit_.refusal = Failure{FailureKind::kRefused, u"unknown"};
       },
       "unknown",
       {},
       {"Sync Failed: unknown"}},
      {"no component",
       [&] { components_.failure = ComponentFactory::Failure::kNotCreated; },
       "Unable to load the Active DLL/EXE.  Make sure it is install and registered "
       "correctly.\r\nTest.Memos",
       {},
       {"Sync Failed: Unable to load the Active DLL/EXE.  Make sure it is install and registered "
        "correctly.\r\nTest.Memos"}},
      {"another class",
       [&] { components_.failure = ComponentFactory::Failure::kNoInterface; },
       "Active DLL/EXE missing ISyncNotify Implementation.\r\nTest.Memos",
       {},
       {"Sync Failed: Active DLL/EXE missing ISyncNotify Implementation.\r\nTest.Memos"}},
      {"no device",
       [&] { target_.files = nullptr; },
       "no device",
       {"Begin"},
       {"Begin", "Sync Failed: no device"}},
      {"raised",
       [&] { components_.sync = [](oSyncInfo&) { throw AutomationError(5, u"S", u"T"); }; },
       "Conduit Error: 5 (S) T",
       {"Begin", "Sync Failed: Conduit Error: 5 (S) T"},
       {"Begin", "Sync Failed: Conduit Error: 5 (S) T"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    conduit_.refusal.reset();
    components_.failure = ComponentFactory::Failure::kNone;
    components_.sync = [](oSyncInfo&) { ADD_FAILURE() << "called"; };
    target_ = TargetState();
    c.refuse();
    for (const bool attended : {true, false}) {
      attended_ = attended;
      const SyncOutcome outcome = Run();
      EXPECT_EQ(outcome.result(), SyncResult::kFailed);
      EXPECT_EQ(ToUtf8(TextOf(outcome)), c.text);
      EXPECT_EQ(log_->lines, attended ? c.log : c.unattended);
      EXPECT_TRUE(target_.ended);
    }
  }
  EXPECT_FALSE(KeptTheDate());
  EXPECT_EQ(ToUtf8(TextOf(Run(nullptr))), "nothing to sync with");
}

// The real class for handhelds, with one in memory.
class HandheldRun : public SyncDriverTest {
 protected:
  std::string RunWith(const std::shared_ptr<Handheld>& handheld) {
    const PcSide pc = {u"C:\\Pylon", AnsiCodePage::Windows1252(), clock_, disk_.Factory()};
    HandheldTarget::Link link = {u"HotSync", u"The link has gone."};
    return ToUtf8(TextOf(Run(std::make_unique<HandheldTarget>(pc, handheld, std::move(link)))));
  }
  std::shared_ptr<MemoryHandheld> handheld_ = std::make_shared<MemoryHandheld>();
};

TEST_F(HandheldRun, WorksOnTheHandheldAndLetsItGo) {
  components_.sync = [&](oSyncInfo& sync) {
    EXPECT_EQ(sync.Device()->DeviceType(), dtHotSync);
    EXPECT_EQ(sync.Device()->DeviceName(), u"Handheld");
    EXPECT_EQ(sync.Device()->DeviceDateTime(), 45001.25);
    std::shared_ptr<PDBDatabase> database;
    ASSERT_TRUE(sync.FileSystem()->CreateDatabase(u"MemoDB", database));
    EXPECT_EQ(database->DatabaseFor(), dftPalmHotSync);
    const int32_t id = testing::Put(*database, 0, {0, 0, 0, testing::Ascii("memo")});
    database->SyncIndex()->Add(u"key", id);
  };
  EXPECT_EQ(RunWith(handheld_), "");
  EXPECT_EQ(handheld_->databases[u"MemoDB"].creator, u"memo");
  EXPECT_EQ(handheld_->databases[u"MemoDB"].records.size(), 1U);
  EXPECT_TRUE(disk_.files.contains(u"C:\\Pylon\\Memos\\Handheld\\MemoDB.si"));
  EXPECT_EQ(handheld_.use_count(), 1);
  EXPECT_THAT(log_->lines, ElementsAre("Begin Sync using HotSync", "Sync Finished"));
}

TEST_F(HandheldRun, FailsWithALostLink) {
  const auto read = [](oSyncInfo& sync) {
    std::shared_ptr<PDBDatabase> database;
    sync.FileSystem()->OpenDatabase(u"MemoDB", database);
  };
  const std::string unknown =
      "The handheld does not tell its user, date and time: the link is gone";
  const std::string read_error = "Conduit Error: 57 (Handheld) the link is gone";
  const struct {
    const char* name;
    int calls;
    std::function<void(oSyncInfo&)> sync;
    std::string error;
    Strings log;
  } cases[] = {
      {"at once", 0, read, unknown + "\r\n" + kLost, {unknown, kLost}},
      {"in the component",
       2,
       read,
       read_error + "\r\n" + kLost,
       {"Begin Sync using HotSync", "Sync Failed: " + read_error, kLost}},
      {"unnoticed",
       2,
       [&](oSyncInfo& sync) { EXPECT_EQ(ErrorOf([&] { read(sync); }), 57); },
       kLost,
       {"Begin Sync using HotSync", std::string("Sync Failed: ") + kLost}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    handheld_ = std::make_shared<MemoryHandheld>();
    handheld_->calls_to_live = c.calls;
    components_.sync = c.sync;
    EXPECT_EQ(RunWith(handheld_), c.error);
    EXPECT_EQ(log_->lines, c.log);
    EXPECT_FALSE(KeptTheDate());
  }
}

TEST_F(HandheldRun, FailsWhenTheHandheldDoesNotSayWhoItIs) {
  handheld_->fault = "UserName";
  handheld_->fault_number = 51;
  EXPECT_EQ(RunWith(handheld_), "The handheld does not tell its user, date and time: on demand");
  handheld_->user.clear();
  handheld_->fault = "DateTime";  // which the PC can stand in for
  components_.sync = [&](oSyncInfo& sync) {
    EXPECT_EQ(sync.Device()->DeviceDateTime(), clock_.Now());
  };
  EXPECT_EQ(RunWith(handheld_), "");
  EXPECT_THAT(log_->lines, Contains(HasSubstr("the PC's are used: on demand")));
  EXPECT_EQ(log_->file, "Memos of Unknown");
}

TEST_F(HandheldRun, AnUnwatchedRunThatCannotNameItsLogWritesNone) {
  attended_ = false;
  components_.failure = ComponentFactory::Failure::kNotCreated;
  handheld_->calls_to_live = 0;
  RunWith(handheld_);
  EXPECT_THAT(log_->lines, IsEmpty());
}

}  // namespace
}  // namespace pylon

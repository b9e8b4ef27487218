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

using enum SyncResult;

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
  EXPECT_EQ(Run().result(), kDone);
  EXPECT_THAT(calls, ElementsAre("BeginSynchronize", "SynchronizeClose", "release"));
  EXPECT_THAT(log_->lines, ElementsAre("Begin", "Sync Finished"));
  EXPECT_EQ(log_->file, "Memos of Device");
  EXPECT_EQ(view_.heading.title, u"Memos (fake)");
  EXPECT_EQ(view_.heading.application_name, u"Memos");
  EXPECT_TRUE(KeptTheDate());
  EXPECT_TRUE(target_.ended);
}

TEST_F(SyncDriverTest, OutcomesMergeWhatWentWrong) {
  enum { kRaises = 1, kCancels = 2, kLoses = 4 };
  const AutomationError error(61, u"Memos", u"Database M: disk full");
  const Failure m = {FailureKind::kUnsaved, u"Database M: disk full"};
  const Failure n = {FailureKind::kUnsaved, u"Database N: disk full"};
  const Failure link = {FailureKind::kUnsaved, u"Database M: The link has gone."};
  const Failure stopped = {FailureKind::kCancelled, u"Database M: as the user wants"};
  const std::string raised = "Conduit Error: 61 (Memos) Database M: disk full";
  const std::string not_n = "\r\nDatabase N: disk full", lost = "\r\nThe link has gone.";
  const std::string unsaved = "Sync Failed: what was changed could not be saved.";
  const struct {
    const char* name;
    int events;
    Failures unsaved;
    SyncResult result;
    std::string text;
    std::string last_line;  // in the log
  } cases[] = {
      {"nothing", 0, {}, kDone, "", "Sync Finished"},
      {"cancelled too late", kCancels, {}, kDone, "", "Sync Finished"},
      {"cancelled", kRaises | kCancels, {}, kCancelled, raised, "Sync Failed: " + raised},
      {"raised", kRaises, {}, kFailed, raised, "Sync Failed: " + raised},
      {"unsaved", 0, {m, n}, kFailed, "Database M: disk full" + not_n, unsaved},
      {"raised, unsaved", kRaises, {m, n}, kFailed, raised + not_n, "Sync Failed: " + raised},
      {"cancelled, unsaved",
       kRaises | kCancels,
       {n},
       kFailed,
       raised + not_n,
       "Sync Failed: " + raised},
      {"a copy stopped", 0, {stopped}, kCancelled, "", unsaved},
      {"one stopped, one unsaved", 0, {stopped, n}, kFailed, not_n.substr(2), unsaved},
      {"lost unnoticed", kLoses, {}, kFailed, kLost, std::string("Sync Failed: ") + kLost},
      {"raised, lost", kRaises | kLoses, {}, kFailed, raised + lost, kLost},
      {"cancelled, lost", kRaises | kCancels | kLoses, {}, kFailed, raised + lost, kLost},
      {"unsaved as it was lost", kLoses, {link}, kFailed, ToUtf8(link.text), unsaved},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    settings_.clear();
    target_ = TargetState();
    target_.files->unsaved = c.unsaved;
    components_.sync = [&](oSyncInfo& sync) {
      sync.SetCancelSync(c.events & kCancels);
      target_.lost = c.events & kLoses;
      if (c.events & kRaises) throw error;
    };
    const SyncOutcome outcome = Run();
    EXPECT_EQ(outcome.result(), c.result);
    EXPECT_EQ(ToUtf8(TextOf(outcome)), c.text);
    EXPECT_EQ(log_->lines.back(), c.last_line);
    EXPECT_EQ(KeptTheDate(), c.result == kDone);
    EXPECT_TRUE(target_.ended);
  }
}

TEST_F(SyncDriverTest, ACancelThatTheComponentClearsAsItGoesStillCounts) {
  components_.sync = [this](oSyncInfo& sync) {
    sync.SetCancelSync(true);
    components_.release = [&sync] { sync.UpdateStatusMain(u"Going"); };
    throw AutomationError(ErrorNumber::kInvalidArgument);
  };
  EXPECT_EQ(Run().result(), kCancelled);
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
  using Creation = ComponentFactory::Failure;
  const std::string load =
      "Unable to load the Active DLL/EXE.  Make sure it is install and registered "
      "correctly.\r\nTest.Memos";
  const std::string no_interface =
      "Active DLL/EXE missing ISyncNotify Implementation.\r\nTest.Memos";
  const struct {
    std::string text;
    std::function<void()> refuse;
    Strings log;  // before a run that nobody watches writes the text there too
  } cases[] = {
      {"unknown",
       [&] {
         conduit_.refusal = Failure{FailureKind::kRefused, u"unknown"};
       },
       {}},
      {load, [&] { components_.failure = Creation::kNotCreated; }, {}},
      {no_interface, [&] { components_.failure = Creation::kNoInterface; }, {}},
      {"no device", [&] { target_.files = nullptr; }, {"Begin"}},
  };
  components_.sync = [](oSyncInfo&) { ADD_FAILURE() << "called"; };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    conduit_.refusal.reset();
    components_.failure = Creation::kNone;
    target_ = TargetState();
    c.refuse();
    for (const bool attended : {true, false}) {
      attended_ = attended;
      const SyncOutcome outcome = Run();
      EXPECT_EQ(outcome.result(), kFailed);
      EXPECT_EQ(ToUtf8(TextOf(outcome)), c.text);
      Strings log = c.log;
      if (!attended) log.push_back("Sync Failed: " + c.text);
      EXPECT_EQ(log_->lines, log);
      EXPECT_TRUE(target_.ended);
    }
  }
  EXPECT_EQ(ToUtf8(TextOf(Run(nullptr))), "nothing to sync with");
}

TEST_F(SyncDriverTest, AnUnwatchedRunLogsAnErrorOfTheComponentOnce) {
  attended_ = false;
  components_.sync = [](oSyncInfo&) { throw AutomationError(5, u"S", u"T"); };
  Run();
  EXPECT_THAT(log_->lines, ElementsAre("Begin", "Sync Failed: Conduit Error: 5 (S) T"));
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

#include "sync/SyncDriver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "base/Text.h"
#include "files/cFileIO.h"
#include "pdb/PDBDatabase.h"
#include "tests/files/TempFolder.h"
#include "tests/support/Errors.h"
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
using testing::MemoryHandheld;
using testing::TempFolder;

constexpr char kClosed[] = "Connection to HotSync has been closed.";
constexpr char kReadError[] = "Conduit Error: 57 (Handheld) the link is gone";

struct NoView final : StatusView {
  void ShowForm() override {}
  void SetHeading(const StatusHeading&) override {}
  void SetMainLabel(std::u16string_view) override {}
  void SetDetailLabel(std::u16string_view) override {}
  void SetBar(const ProgressBar&) override {}
  void EnableCancel(bool) override {}
  void ProcessEvents() override {}
  void ShowFilePanel(bool) override {}
  void SetFileProgress(std::u16string_view, const ProgressBar&) override {}
};

struct LogLines final : LogView {
  void ShowLog(bool) override {}
  void AddLine(const std::u16string& line) override {
    lines.push_back(ToUtf8(line.substr(line.find(u'\t') + 1)));
  }
  std::vector<std::string> lines;
};

// Makes the components of this test: their creator is "memo", and they sync as the test says.
struct Factory final : ComponentFactory {
  struct Component final : ConduitComponent {
    explicit Component(Factory& made_by) : factory(made_by) {}
    std::u16string GetConduitInfo(eConduitType type) override {
      return type == ctCreatorID ? u"memo" : u"";
    }
    void BeginSynchronize(const std::shared_ptr<oSyncInfo>& sync) override { factory.sync(*sync); }
    void ConfigureConduit() override {}
    void SynchronizeClose() override {}
    Factory& factory;
  };

  Result Create(std::u16string_view) override {
    return {std::make_unique<Component>(*this), Failure::kNone, {}};
  }
  std::function<void(oSyncInfo&)> sync = [](oSyncInfo&) {};
};

class HotSyncRun : public ::testing::Test {
 protected:
  HotSyncRun() { folder_.Write(u"Pylon.ini", "[Memos]\r\nClassID=Test.Memos\r\nShowLog=1\r\n"); }

  // Runs the sync to its end; what BeginSync, or else the end, says of a failure.
  std::string Run(std::shared_ptr<Handheld> handheld) {
    const AnsiCodePage& code_page = AnsiCodePage::Windows1252();
    log_lines_.lines.clear();
    SyncDriver driver({folder_.path(),
                       {},
                       code_page,
                       clock_,
                       [&] { return std::make_unique<cFileIO>(folder_.path(), code_page); },
                       components_,
                       view_,
                       std::make_shared<cConduitList>(folder_.path(), components_, code_page),
                       std::make_shared<CLog>(folder_.path(), code_page, clock_, &log_lines_),
                       std::make_shared<RapiConnection>(),
                       std::move(handheld)});
    std::u16string error;
    if (driver.BeginSync(u"Memos", dftPalmHotSync, error)) {
      driver.SyncFinish();
    } else {
      driver.SyncStop();
    }
    const std::u16string unsaved = driver.Unsaved();
    for (const std::u16string_view text : {std::u16string_view(unsaved), driver.LostLink()}) {
      if (error.find(text) == error.npos) error += text;
    }
    return ToUtf8(error);
  }
  bool KeptTheDate() const { return folder_.Exists(u"Memos\\AppStore.ini"); }

  TempFolder folder_;
  FixedClock clock_;
  NoView view_;
  LogLines log_lines_;
  Factory components_;
  std::shared_ptr<MemoryHandheld> handheld_ = std::make_shared<MemoryHandheld>();
};

TEST_F(HotSyncRun, NeedsASession) { EXPECT_EQ(Run(nullptr), "No HotSync session is running."); }

TEST_F(HotSyncRun, WorksOnTheHandheldAndLetsItGo) {
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
  EXPECT_EQ(Run(handheld_), "");
  EXPECT_EQ(handheld_->databases[u"MemoDB"].creator, u"memo");
  EXPECT_EQ(handheld_->databases[u"MemoDB"].records.size(), 1U);
  EXPECT_TRUE(folder_.Exists(u"Memos\\Handheld\\MemoDB.si"));
  EXPECT_TRUE(KeptTheDate());
  EXPECT_EQ(handheld_.use_count(), 1);
  EXPECT_THAT(log_lines_.lines, ElementsAre("Begin Sync using HotSync", "Sync Finished"));
}

TEST_F(HotSyncRun, FailsWithALostLink) {
  const auto read = [](oSyncInfo& sync) {
    std::shared_ptr<PDBDatabase> database;
    sync.FileSystem()->OpenDatabase(u"MemoDB", database);
  };
  const struct {
    const char* name;
    int calls;
    std::function<void(oSyncInfo&)> sync;
    std::string error;
    std::vector<std::string> log;
  } cases[] = {
      {"at once",
       0,
       read,
       std::string("The handheld does not tell its user, date and time: the link is gone\r\n") +
           kClosed,
       {"The handheld does not tell its user, date and time: the link is gone", kClosed}},
      {"in the component",
       2,
       read,
       std::string(kReadError) + "\r\n" + kClosed,
       {"Begin Sync using HotSync", std::string("Sync Failed: ") + kReadError, kClosed}},
      {"unnoticed",
       2,
       [&](oSyncInfo& sync) { EXPECT_EQ(ErrorOf([&] { read(sync); }), 57); },
       kClosed,
       {"Begin Sync using HotSync", std::string("Sync Failed: ") + kClosed}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto handheld = std::make_shared<MemoryHandheld>();
    handheld->calls_to_live = c.calls;
    components_.sync = c.sync;
    EXPECT_EQ(Run(handheld), c.error);
    EXPECT_EQ(log_lines_.lines, c.log);
    EXPECT_FALSE(KeptTheDate());
  }
}

TEST_F(HotSyncRun, FailsWhenTheHandheldDoesNotSayWhoItIs) {
  handheld_->fault = "UserName";
  handheld_->fault_number = 51;
  EXPECT_EQ(Run(handheld_), "The handheld does not tell its user, date and time: on demand");
  handheld_->user.clear();
  handheld_->fault = "DateTime";  // which the PC can stand in for
  components_.sync = [&](oSyncInfo& sync) {
    EXPECT_EQ(sync.Device()->DeviceDateTime(), clock_.Now());
  };
  EXPECT_EQ(Run(handheld_), "");
  EXPECT_THAT(log_lines_.lines, Contains(HasSubstr("the PC's are used: on demand")));
  EXPECT_TRUE(folder_.Exists(u"Memos\\Unknown"));
}

}  // namespace
}  // namespace pylon

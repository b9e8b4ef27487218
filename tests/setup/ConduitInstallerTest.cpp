#include "setup/ConduitInstaller.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/Text.h"
#include "conduits/cConduitList.h"
#include "files/ProgramFiles.h"
#include "setup/cActiveSync.h"
#include "setup/cHotSync.h"
#include "tests/files/TempFolder.h"
#include "tests/setup/ActiveSyncRegistry.h"
#include "tests/setup/CommandReport.h"
#include "tests/setup/SimulatedHotSync.h"
#include "tests/setup/StepText.h"

namespace pylon {
namespace {

using Registry = testing::ActiveSyncRegistry;

struct FakeComponent final : ConduitComponent {
  explicit FakeComponent(bool for_palm) : palm(for_palm) {}
  std::u16string GetConduitInfo(eConduitType type) override {
    if (type == ctCreatorID && palm) return u"PaLm";
    return type == ctApplicationName ? u"The application" : u"";
  }
  void BeginSynchronize(const std::shared_ptr<oSyncInfo>&) override {}
  void ConfigureConduit() override {}
  void SynchronizeClose() override {}
  bool palm;
};

struct FakeFactory final : ComponentFactory {
  Result Create(std::u16string_view class_id) override {
    Result result;
    if (class_id == u"Lib.Gone") {
      result.reason = u"The class is gone.";
      return result;
    }
    result.component = std::make_unique<FakeComponent>(class_id == u"Lib.Palm");
    return result;
  }
};

constexpr char kSettings[] =
    "[Plain]\r\nClassID=Lib.Plain\r\n[Palm]\r\nClassID=Lib.Palm\r\nPalmInstall=memos.prc\r\n"
    "[Double]\r\nClassID=Lib.Palm\r\n"
    "[Two words]\r\nClassID=Lib.Plain\r\nPPCInstall=a.cab\r\n[Two -words]\r\nClassID=Lib.Plain\r\n"
    "[Gone]\r\nClassID=Lib.Gone\r\n";

constexpr char kNoActiveSync[] = "ActiveSync is not Installed.";
constexpr SyncSystem kHot = SyncSystem::kHotSync;
constexpr SyncSystem kActive = SyncSystem::kActiveSync;
constexpr char kNoHotSync[] = "HotSync is not Installed.";

struct ConduitInstallerTest : ::testing::Test {
  using Operation = StepReport (ConduitInstaller::*)(std::u16string_view);

  void SetUp() override {
    SKIP_WITH_ACTIVESYNC(registry);
    SKIP_WITH_HOTSYNC(palm);
  }

  std::string Do(Operation operation, std::u16string_view app_id) {
    return testing::Said((installer.*operation)(app_id));
  }
  std::string Install(std::u16string_view app_id) {
    return Do(&ConduitInstaller::InstallConduit, app_id);
  }
  std::string Uninstall(std::u16string_view app_id) {
    return Do(&ConduitInstaller::UninstallConduit, app_id);
  }
  std::string InstallApplication(std::u16string_view app_id) {
    return Do(&ConduitInstaller::InstallApplication, app_id);
  }

  // What the window shows: the state, and why when there is a reason.
  std::string State(SyncSystem system, std::u16string_view app_id) {
    constexpr const char* kNames[] = {"no system", "not supported", "not installed",
                                      "installed", "taken",         "unknown"};
    const auto [state, why] = installer.State(system, app_id);
    const std::string name = kNames[static_cast<int>(state)];
    return why ? name + ": " + ToUtf8(TextOf(*why)) : name;
  }
  std::string HotSyncState(std::u16string_view app_id = u"Palm") {
    return State(SyncSystem::kHotSync, app_id);
  }

  Registry registry;
  testing::SimulatedHotSync palm;
  testing::TempFolder folder;
  const bool written = (folder.Write(u"Pylon.ini", kSettings), true);
  FakeFactory factory;
  cConduitList conduits{folder.path(), factory, AnsiCodePage::Windows1252()};
  cActiveSync active_sync{folder.File(u"Pylon.exe"), AnsiCodePage::Windows1252()};
  cHotSync hot_sync{folder.File(u"Pylon.exe"), AnsiCodePage::Windows1252()};
  ConduitInstaller installer{conduits, active_sync, hot_sync};
};

TEST_F(ConduitInstallerTest, WithoutAnySystemNothingIsRegistered) {
  EXPECT_EQ(Install(u"Plain"), std::string("failed: ") + kNoActiveSync);
  EXPECT_EQ(Install(u"Palm"), std::string("failed: ") + kNoHotSync + "\r\n\r\n" + kNoActiveSync);
  EXPECT_EQ(InstallApplication(u"Plain"), "done") << "it brings none";
  EXPECT_EQ(InstallApplication(u"Two words"), std::string("failed: ") + kNoActiveSync);
  EXPECT_EQ(Uninstall(u"Plain"), "done") << "it isn't there";
  EXPECT_EQ(Registry::Conduit(L"Plain"), Registry::kMissing);
  EXPECT_EQ(Uninstall(u"Nobody"), "failed: This Application 'Nobody' is not registered with Pyln.");
  EXPECT_TRUE(Uninstall(u"").starts_with("failed: No Application ID Supplied.\r\n"));
}

TEST_F(ConduitInstallerTest, WhatTheSettingsNoLongerNameCanBeRemoved) {
  registry.Set(Registry::kAutoStart, L"Pylon.Old", REG_SZ, u"command");
  EXPECT_EQ(Uninstall(u"Old"), "done");
  EXPECT_EQ(Registry::Conduit(L"Old"), Registry::kMissing);
}

TEST_F(ConduitInstallerTest, ARefusedConduitIsTold) {
  registry.Install(u"C:\\CEAPPMGR.EXE");
  EXPECT_TRUE(Install(u"Two -words").starts_with("failed: ActiveSync can't start this conduit by"));
  cActiveSync far_away(u"C:\\\u4e2d\u6587\\Pylon.exe", AnsiCodePage::Windows1252());
  const StepReport report = ConduitInstaller(conduits, far_away, hot_sync).InstallConduit(u"Plain");
  EXPECT_EQ(report.remarks(), (std::vector<Remark>{{Notice::kCannotStore, {}}}));
  EXPECT_EQ(Registry::Conduit(L"Plain"), Registry::kMissing);
  registry.RefuseConduits();
  EXPECT_EQ(Install(u"Plain"),
            "failed: Unable to Install Conduit for ActiveSync.  Verify you write permissions to "
            "the registery for HKEY_LOCAL_MACHINE");
}

TEST_F(ConduitInstallerTest, ApplicationsGoToTheManagerOfTheirDevice) {
  registry.Install(folder.File(u"gone.exe"));
  EXPECT_EQ(InstallApplication(u"Two words"), "failed: Unable to install Pocket PC Application");
  registry.Install(ProgramPath());
  const testing::CommandReport report(folder.File(u"report.txt"));
  EXPECT_EQ(InstallApplication(u"Two words"), "done");
  EXPECT_TRUE(report.Wait().ends_with("\\Two words\\CeInstall.ini\"")) << report.Wait();
  const std::string description = folder.Read(u"Two words\\CeInstall.ini");
  EXPECT_TRUE(
      description.ends_with("[Two words]\r\nDescription=The application\r\nCabFiles=a.cab\r\n"))
      << description;
}

TEST_F(ConduitInstallerTest, HotSyncAloneIsEnough) {
  palm.Install();
  palm.AddUser(L"Mary");
  ::CreateDirectoryW(Wide(folder.File(u"Palm")), nullptr);
  folder.Write(u"Palm\\memos.prc", "application");
  EXPECT_EQ(HotSyncState(), "not installed");
  EXPECT_EQ(State(SyncSystem::kActiveSync, u"Palm"), "no system");
  EXPECT_EQ(HotSyncState(u"Plain"), "not supported") << "it has no creator id";
  EXPECT_EQ(palm.Conduits(), "");

  EXPECT_EQ(Install(u"palm"), std::string("done: ") + kNoActiveSync) << "skipped";
  EXPECT_EQ(palm.Conduits(),
            "50614c6d|COMConduit.dll|Pylon.cPalmSync|The application|Palm|Palm.pdb|2\n");
  EXPECT_EQ(HotSyncState(), "installed");
  EXPECT_EQ(InstallApplication(u"Palm"), "done");
  EXPECT_TRUE(palm.folder().Exists(u"Mary\\Install\\memos.prc"));
  EXPECT_EQ(Install(u"Plain"), std::string("failed: ") + kNoActiveSync);
  EXPECT_EQ(HotSyncState(u"Double").substr(0, 5), "taken");
  EXPECT_TRUE(Install(u"Double").starts_with("failed: HotSync can't call this conduit: 'Palm'"));
  EXPECT_EQ(Uninstall(u"Double"), "done");
  EXPECT_NE(palm.Conduits(), "") << "it wasn't its own";
  EXPECT_EQ(Uninstall(u"Palm"), "done");
  EXPECT_EQ(palm.Conduits(), "");
}

TEST_F(ConduitInstallerTest, EachSystemCanBeChosen) {
  palm.Install();
  registry.Install(u"C:\\CEAPPMGR.EXE");
  const auto states = [this] { return HotSyncState() + ", " + State(kActive, u"Palm"); };
  EXPECT_TRUE(installer.InstallConduit(kHot, u"Palm").done());
  EXPECT_EQ(states(), "installed, not installed");
  EXPECT_TRUE(installer.InstallConduit(kActive, u"Palm").done());
  EXPECT_TRUE(installer.UninstallConduit(kHot, u"Palm").done());
  EXPECT_EQ(states(), "not installed, installed");
  EXPECT_TRUE(installer.UninstallConduit(kActive, u"Palm").done());
  EXPECT_EQ(testing::Said(installer.InstallConduit(kHot, u"Plain")),
            "failed: HotSync can't call this conduit: its component names no creator id.");
  EXPECT_EQ(installer.Users().size(), 0U);
}

TEST_F(ConduitInstallerTest, AFailureOfOneSystemIsToldAndTheOtherGoesOn) {
  palm.Install();
  registry.Install(u"C:\\CEAPPMGR.EXE");
  palm.AddConduit(0x50614c6d, u"The mail of others", u"mail.dll");
  EXPECT_TRUE(HotSyncState().starts_with("taken: ")) << HotSyncState();
  const std::string message = Install(u"Palm");
  EXPECT_TRUE(message.starts_with("failed: ")) << message;
  EXPECT_NE(message.find("'The mail of others'"), message.npos) << message;
  EXPECT_NE(Registry::Conduit(L"Palm"), Registry::kMissing);

  palm.Fail("CmGetConduitCount=-1006");
  EXPECT_TRUE(HotSyncState().starts_with("unknown: ")) << HotSyncState();
  EXPECT_TRUE(Uninstall(u"Palm").starts_with("failed: HotSync's conduits can't be listed"));
  EXPECT_EQ(Registry::Conduit(L"Palm"), Registry::kMissing);
  EXPECT_EQ(Uninstall(u"Plain"), "done") << "HotSync never had it";
}

// It may be for handhelds, so HotSync is not passed over in silence.
TEST_F(ConduitInstallerTest, AComponentThatCantBeAskedIsTold) {
  constexpr char kWhy[] =
      "HotSync can't call this conduit: its component can't be asked for its creator id: "
      "The class is gone.";
  registry.Install(u"C:\\CEAPPMGR.EXE");
  EXPECT_EQ(Install(u"Gone"), std::string("done: ") + kNoHotSync);
  palm.Install();
  EXPECT_EQ(HotSyncState(u"Gone"), std::string("not supported: ") + kWhy);
  EXPECT_EQ(Install(u"Gone"), std::string("failed: ") + kWhy);
  EXPECT_NE(Registry::Conduit(L"Gone"), Registry::kMissing) << "the other goes on";
  palm.Fail("CmGetConduitCount=-1006");
  EXPECT_TRUE(Uninstall(u"Gone").starts_with("failed: HotSync's conduits can't be listed"));
  EXPECT_EQ(Registry::Conduit(L"Gone"), Registry::kMissing);
  palm.Fail("");
  EXPECT_EQ(Uninstall(u"Gone"), "done");
}

TEST_F(ConduitInstallerTest, HotSyncsEntryOutlivesTheSettings) {
  palm.Install();
  EXPECT_TRUE(Install(u"Palm").starts_with("done"));
  folder.Write(u"Pylon.ini", "");
  conduits.Reload();
  EXPECT_EQ(HotSyncState(), "installed");
  EXPECT_EQ(Uninstall(u"Palm"), "done");
  EXPECT_EQ(palm.Conduits(), "");

  // HotSync calls what has the creator id, whatever its name was.
  folder.Write(u"Pylon.ini", kSettings);
  conduits.Reload();
  EXPECT_TRUE(Install(u"Palm").starts_with("done"));
  folder.Write(u"Pylon.ini", "[New]\r\nClassID=Lib.Palm\r\n[Later]\r\nClassID=Lib.Palm\r\n");
  conduits.Reload();
  EXPECT_EQ(Uninstall(u"Later"), "done");
  EXPECT_EQ(HotSyncState(u"New"), "installed") << "not Later's";
  EXPECT_EQ(Uninstall(u"New"), "done");
  EXPECT_EQ(palm.Conduits(), "");
}

}  // namespace
}  // namespace pylon

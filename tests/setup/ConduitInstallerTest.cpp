#include "setup/ConduitInstaller.h"

#include <gtest/gtest.h>

#include <string>

#include "base/Text.h"
#include "conduits/cConduitList.h"
#include "setup/cActiveSync.h"
#include "setup/cHotSync.h"
#include "tests/files/TempFolder.h"
#include "tests/setup/ActiveSyncRegistry.h"
#include "tests/setup/SetupDesk.h"
#include "tests/setup/SimulatedHotSync.h"
#include "tests/setup/StepText.h"

namespace pylon {
namespace {

using Registry = testing::ActiveSyncRegistry;
using testing::Said;

constexpr char kSettings[] =
    "[Plain]\r\nClassID=Lib.Plain\r\n[Palm]\r\nClassID=Lib.Memos\r\n"
    "[Double]\r\nClassID=Lib.Memos\r\n"
    "[Two words]\r\nClassID=Lib.Plain\r\nPPCInstall=a.cab\r\n[Two -words]\r\nClassID=Lib.Plain\r\n"
    "[Gone]\r\nClassID=No.Such\r\n";

constexpr char kNoActiveSync[] = "ActiveSync is not Installed.";
constexpr SyncSystem kHot = SyncSystem::kHotSync;
constexpr SyncSystem kActive = SyncSystem::kActiveSync;
constexpr char kNoHotSync[] = "HotSync is not Installed.";

struct ConduitInstallerTest : ::testing::Test {
  void SetUp() override {
    SKIP_WITH_ACTIVESYNC(registry);
    SKIP_WITH_HOTSYNC(palm);
  }
  std::string Install(std::u16string_view id) { return Said(installer.InstallConduit(id)); }
  std::string Uninstall(std::u16string_view id) { return Said(installer.UninstallConduit(id)); }
  void Settings(const char* text) {
    folder.Write(u"Pylon.ini", text);
    conduits.Reload();
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
  testing::FakeFactory factory;
  cConduitList conduits{folder.path(), factory, AnsiCodePage::Windows1252()};
  cActiveSync active_sync{folder.File(u"Pylon.exe"), AnsiCodePage::Windows1252()};
  cHotSync hot_sync{folder.File(u"Pylon.exe"), AnsiCodePage::Windows1252()};
  ConduitInstaller installer{conduits, active_sync, hot_sync};
};

TEST_F(ConduitInstallerTest, WhatASystemCantTakeIsTold) {
  EXPECT_EQ(Install(u"Plain"), std::string("failed: ") + kNoActiveSync);
  EXPECT_EQ(Said(installer.InstallApplication(u"Plain")), "done") << "it brings none";
  EXPECT_EQ(Said(installer.InstallApplication(u"Two words")),
            std::string("failed: ") + kNoActiveSync);
  EXPECT_EQ(Registry::Conduit(L"Plain"), Registry::kMissing);
  registry.Set(Registry::kAutoStart, L"Pylon.Old", REG_SZ, u"command");
  EXPECT_EQ(Uninstall(u"Old"), "done") << "the settings no longer name it";
  EXPECT_EQ(Registry::Conduit(L"Old"), Registry::kMissing);

  registry.Install(u"C:\\CEAPPMGR.EXE");
  EXPECT_TRUE(Install(u"Two -words").starts_with("failed: ActiveSync can't start this conduit by"));
  cActiveSync far_away(u"C:\\\u4e2d\u6587\\Pylon.exe", AnsiCodePage::Windows1252());
  const StepReport report = ConduitInstaller(conduits, far_away, hot_sync).InstallConduit(u"Plain");
  EXPECT_EQ(report.remarks(), (std::vector<Remark>{{Notice::kCannotStore, {}}}));
  EXPECT_EQ(Registry::Conduit(L"Plain"), Registry::kMissing);
}

TEST_F(ConduitInstallerTest, EachSystemCanBeChosen) {
  palm.Install();
  EXPECT_EQ(HotSyncState(u"Plain"), "not supported") << "it has no creator id";
  EXPECT_EQ(State(kActive, u"Palm"), "no system");
  registry.Install(u"C:\\CEAPPMGR.EXE");
  const auto states = [this] { return HotSyncState() + ", " + State(kActive, u"Palm"); };
  EXPECT_TRUE(installer.InstallConduit(kHot, u"palm").done());
  EXPECT_EQ(states(), "installed, not installed");
  EXPECT_EQ(palm.Conduits(),
            "6d656d6f|COMConduit.dll|Pylon.cPalmSync|The Lib.Memos|Palm|Palm.pdb|2\n");
  EXPECT_EQ(HotSyncState(u"Double").substr(0, 5), "taken");
  EXPECT_TRUE(Said(installer.InstallConduit(kHot, u"Double"))
                  .starts_with("failed: HotSync can't call this conduit: 'Palm'"));
  EXPECT_EQ(Uninstall(u"Double"), "done");
  EXPECT_EQ(states(), "installed, not installed") << "it wasn't its own";
  EXPECT_TRUE(installer.InstallConduit(kActive, u"Palm").done());
  EXPECT_TRUE(installer.UninstallConduit(kHot, u"Palm").done());
  EXPECT_EQ(states(), "not installed, installed");
  EXPECT_TRUE(installer.UninstallConduit(kActive, u"Palm").done());
  EXPECT_EQ(states(), "not installed, not installed");
  EXPECT_EQ(Said(installer.InstallConduit(kHot, u"Plain")),
            "failed: HotSync can't call this conduit: its component names no creator id.");
  EXPECT_EQ(installer.Users().size(), 0U);
}

TEST_F(ConduitInstallerTest, AFailureOfOneSystemIsToldAndTheOtherGoesOn) {
  palm.Install();
  registry.Install(u"C:\\CEAPPMGR.EXE");
  palm.AddConduit(0x6d656d6f, u"The mail of others", u"mail.dll");
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
      "no such class";
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
  EXPECT_EQ(Install(u"Palm"), std::string("done: ") + kNoActiveSync) << "skipped";
  Settings("");
  EXPECT_EQ(HotSyncState(), "installed");
  EXPECT_EQ(Uninstall(u"Palm"), "done");
  EXPECT_EQ(palm.Conduits(), "");

  // HotSync calls what has the creator id, whatever its name was.
  Settings(kSettings);
  Install(u"Palm");
  Settings("[New]\r\nClassID=Lib.Memos\r\n[Later]\r\nClassID=Lib.Memos\r\n");
  EXPECT_EQ(Uninstall(u"Later"), "done");
  EXPECT_EQ(HotSyncState(u"New"), "installed") << "not Later's";
  EXPECT_EQ(Uninstall(u"New"), "done");
  EXPECT_EQ(palm.Conduits(), "");
}

}  // namespace
}  // namespace pylon

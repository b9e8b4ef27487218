#include "setup/ConduitInstaller.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/Text.h"
#include "conduits/cConduitList.h"
#include "files/ProgramFiles.h"
#include "setup/cActiveSync.h"
#include "tests/files/TempFolder.h"
#include "tests/setup/ActiveSyncRegistry.h"
#include "tests/setup/CommandReport.h"

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
    result.component = std::make_unique<FakeComponent>(class_id == u"Lib.Palm");
    return result;
  }
};

constexpr char kSettings[] =
    "[Plain]\r\nClassID=Lib.Plain\r\n[Palm]\r\nClassID=Lib.Palm\r\nPalmInstall=memos.prc\r\n"
    "[Two words]\r\nClassID=Lib.Plain\r\nPPCInstall=a.cab\r\n[Two -words]\r\nClassID=Lib.Plain\r\n";

constexpr char kNoActiveSync[] = "ActiveSync is not Installed.";
constexpr char kNoHotSync[] = "This version of Pylon does not install conduits for HotSync yet.";

struct ConduitInstallerTest : ::testing::Test {
  using Operation = bool (ConduitInstaller::*)(std::u16string_view, std::u16string&);

  void SetUp() override { SKIP_WITH_ACTIVESYNC(registry); }

  // Whether it was done, and the message: "done", "failed: why".
  std::string Do(Operation operation, std::u16string_view app_id) {
    std::u16string message;
    const std::string outcome = (installer.*operation)(app_id, message) ? "done" : "failed";
    return message.empty() ? outcome : outcome + ": " + ToUtf8(message);
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

  Registry registry;
  testing::TempFolder folder;
  const bool written = (folder.Write(u"Pylon.ini", kSettings), true);
  FakeFactory factory;
  cConduitList conduits{folder.path(), factory, AnsiCodePage::Windows1252()};
  cActiveSync active_sync{folder.File(u"Pylon.exe"), AnsiCodePage::Windows1252()};
  ConduitInstaller installer{conduits, active_sync};
};

TEST_F(ConduitInstallerTest, OnlyConduitsOfTheSettingsFileAreInstalled) {
  const Operation operations[] = {&ConduitInstaller::InstallConduit,
                                  &ConduitInstaller::UninstallConduit,
                                  &ConduitInstaller::InstallApplication};
  registry.Install(u"C:\\CEAPPMGR.EXE");
  for (const Operation operation : operations) {
    EXPECT_EQ(Do(operation, u"Nobody"),
              "failed: This Application 'Nobody' is not registered with Pyln.");
    EXPECT_TRUE(Do(operation, u"").starts_with("failed: No Application ID Supplied.\r\n"));
  }
  EXPECT_EQ(Registry::Conduit(L"Nobody"), Registry::kMissing);
}

TEST_F(ConduitInstallerTest, WithoutActiveSyncNothingIsRegistered) {
  EXPECT_EQ(Install(u"Plain"), std::string("failed: ") + kNoActiveSync);
  EXPECT_EQ(Install(u"Palm"), std::string("failed: ") + kNoActiveSync + "\r\n\r\n" + kNoHotSync);
  EXPECT_EQ(InstallApplication(u"Plain"), "done") << "it brings none";
  EXPECT_EQ(InstallApplication(u"Two words"), std::string("failed: ") + kNoActiveSync);
  EXPECT_EQ(Uninstall(u"Plain"), "done") << "it isn't there";
  EXPECT_EQ(Registry::Conduit(L"Plain"), Registry::kMissing);
}

TEST_F(ConduitInstallerTest, AConduitIsRegisteredUnderItsNameInTheSettings) {
  registry.Install(u"C:\\CEAPPMGR.EXE");
  EXPECT_EQ(Install(u"pLAIN"), "done");
  EXPECT_TRUE(Registry::Conduit(L"Plain").ends_with(u"-Appid Plain -Database 5"));
  EXPECT_EQ(Install(u"Plain"), "done");
  EXPECT_EQ(Install(u"Palm"), std::string("done: ") + kNoHotSync);
  EXPECT_NE(Registry::Conduit(L"Palm"), Registry::kMissing);
  EXPECT_EQ(Uninstall(u"Plain"), "done");
  EXPECT_EQ(Registry::Conduit(L"Plain"), Registry::kMissing);
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
  std::u16string message;
  EXPECT_FALSE(ConduitInstaller(conduits, far_away).InstallConduit(u"Plain", message));
  EXPECT_NE(message.find(u"code page"), message.npos) << ToUtf8(message);
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
  EXPECT_TRUE(InstallApplication(u"Palm").ends_with("came with the handheld: memos.prc"));
}

}  // namespace
}  // namespace pylon

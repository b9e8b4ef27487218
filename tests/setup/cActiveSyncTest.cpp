#include "setup/cActiveSync.h"

#include <gtest/gtest.h>

#include "base/Text.h"
#include "files/ProgramFiles.h"
#include "tests/files/TempFolder.h"
#include "tests/setup/ActiveSyncRegistry.h"
#include "tests/setup/CommandReport.h"

namespace pylon {
namespace {

using Registry = testing::ActiveSyncRegistry;

struct ActiveSyncTest : ::testing::Test {
  void SetUp() override { SKIP_WITH_ACTIVESYNC(registry); }

  Registry registry;
  testing::TempFolder folder;
  cActiveSync active_sync{folder.File(u"Pylon.exe"), AnsiCodePage::Windows1252()};
};

DWORD GuestOnly() {
  DWORD number = 99;
  DWORD size = sizeof(number);
  ::RegGetValueW(HKEY_LOCAL_MACHINE, Registry::kServices, L"GuestOnly", RRF_RT_REG_DWORD, nullptr,
                 &number, &size);
  return number;
}

TEST_F(ActiveSyncTest, IsInstalledWhenItsManagerIsNamedAndStoresGuestModeTheOtherWayRound) {
  EXPECT_FALSE(active_sync.IsInstalled());
  registry.Install(u"");
  EXPECT_FALSE(active_sync.IsInstalled());
  registry.Install(u"C:\\CEAPPMGR.EXE");
  EXPECT_TRUE(active_sync.IsInstalled());
  EXPECT_FALSE(active_sync.GuestMode());
  for (const bool asked : {true, false}) {
    EXPECT_TRUE(active_sync.SetGuestMode(asked));
    EXPECT_EQ(GuestOnly(), asked ? 0U : 1U);
    EXPECT_EQ(active_sync.GuestMode(), !asked);
  }
}

TEST_F(ActiveSyncTest, AConduitIsStartedByTheProgramThatRegisteredIt) {
  const std::u16string program = u"\"" + folder.File(u"Pylon.exe") + u"\" ";
  EXPECT_FALSE(active_sync.IsConduitInstalled(u"Orders"));
  EXPECT_TRUE(active_sync.UninstallConduit(u"Orders")) << "it is not registered";
  EXPECT_TRUE(active_sync.InstallConduit(u"Orders"));
  EXPECT_TRUE(active_sync.InstallConduit(u"My Orders"));
  EXPECT_TRUE(active_sync.IsConduitInstalled(u"orders"));
  EXPECT_EQ(Registry::Conduit(L"Orders"), program + u"-Appid Orders -Database 5");
  EXPECT_EQ(Registry::Conduit(L"My Orders"), program + u"-Appid My Orders -Database 5");

  cActiveSync moved(u"C:\\New\\Pylon.exe", AnsiCodePage::Windows1252());
  EXPECT_TRUE(moved.InstallConduit(u"Orders"));
  EXPECT_EQ(Registry::Conduit(L"Orders"), program + u"-Appid Orders -Database 5");

  EXPECT_TRUE(active_sync.UninstallConduit(u"Orders"));
  EXPECT_EQ(Registry::Conduit(L"Orders"), Registry::kMissing);
  EXPECT_NE(Registry::Conduit(L"My Orders"), Registry::kMissing);
}

TEST_F(ActiveSyncTest, TheManagerGetsTheDescriptionOfTheApplication) {
  // Its path has blanks, and a program lies where a path that is cut there leads.
  folder.Write(u"Application.exe", "no program");
  const std::u16string manager = folder.File(u"Application Manager.exe");
  ASSERT_TRUE(::CopyFileW(Wide(ProgramPath()), Wide(manager), TRUE));
  const std::u16string file = folder.File(u"My Orders\\CeInstall.ini");
  constexpr char kDescription[] =
      "[CEAppManager]\r\nVersion=1.0\r\nComponent=My Orders\r\n"
      "[My Orders]\r\nDescription=Orders & more\r\nCabFiles=a.cab,b.cab\r\n";

  EXPECT_FALSE(active_sync.InstallApplication(u"My Orders", u"Orders & more", u"a.cab"));
  EXPECT_TRUE(folder.Exists(u"My Orders\\CeInstall.ini")) << "written before the manager is found";
  const std::u16string plain = folder.File(u"CEAPPMGR.EXE");
  ASSERT_TRUE(::CopyFileW(Wide(ProgramPath()), Wide(plain), TRUE));
  const std::u16string quoted = u"\"" + manager + u"\"";
  const std::pair<std::u16string, std::u16string> managers[] = {
      {manager, quoted}, {quoted, quoted}, {manager + u'\0' + u"rest", quoted}, {plain, plain}};
  for (const auto& [registered, started] : managers) {
    SCOPED_TRACE(ToUtf8(registered));
    registry.Install(registered);
    const testing::CommandReport report(folder.File(u"report.txt"));
    EXPECT_TRUE(active_sync.InstallApplication(u"My Orders", u"Orders & more", u"a.cab,b.cab"));
    EXPECT_EQ(report.Wait(), ToUtf8(started + u" \"" + file + u"\""));
    EXPECT_EQ(folder.Read(u"My Orders\\CeInstall.ini"), kDescription);
    ::DeleteFileW(Wide(folder.File(u"report.txt")));
  }
}

TEST_F(ActiveSyncTest, WhatCantBeWrittenOrHandedToTheManagerIsAFailure) {
  registry.RefuseConduits();
  EXPECT_FALSE(active_sync.InstallConduit(u"Orders"));
  EXPECT_FALSE(active_sync.IsConduitInstalled(u"Orders"));
  registry.Install(folder.File(u"gone.exe"));
  folder.Write(u"taken", "a file, no folder");
  EXPECT_FALSE(active_sync.InstallApplication(u"Orders", u"", u"")) << "no CAB files";
  EXPECT_FALSE(folder.Exists(u"Orders"));
  EXPECT_FALSE(active_sync.InstallApplication(u"taken", u"", u"a.cab"));
  EXPECT_FALSE(active_sync.InstallApplication(u"Orders", u"", u"a.cab")) << "no manager there";
}

}  // namespace
}  // namespace pylon

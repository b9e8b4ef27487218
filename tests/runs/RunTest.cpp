// Whole runs of Pylon.exe with a component of the tests, in folders of their own.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "base/Text.h"
#include "base/Win32.h"
#include "files/ProgramFiles.h"
#include "tests/runs/ProbeRun.h"
#include "tests/setup/ActiveSyncRegistry.h"
#include "tests/setup/CommandReport.h"
#include "tests/setup/SimulatedHotSync.h"
#include "tests/toolkit/Desktop.h"

namespace pylon {
namespace {

using testing::Process;
using testing::Quoted;
using testing::Strings;

std::u16string UserName() {
  wchar_t name[257] = {};
  DWORD size = 257;
  return ::GetUserNameW(name, &size) ? FromWide(name) : u"_unknown_";
}

class RunTest : public testing::ProbeRun {
 protected:
  void SetUp() override {
    ProbeRun::SetUp();
    WriteSettings(
        "[General]\r\n[Probe]\r\nClassID=PylonProbe.Conduit\r\n"
        "[Empty]\r\n[Gone]\r\nClassID=No.Such\r\n"
        "[Stranger]\r\nClassID=PylonProbe.Stranger\r\n");
  }
  Strings Log() const { return ProbeRun::Log(UserName()); }
};

TEST_F(RunTest, AGoodRunCallsTheComponentAndLogs) {
  EXPECT_EQ(Run(u"-AppId Probe -Database 4"), 0U);
  EXPECT_EQ(Notes(), (Strings{"BeginSynchronize", "SynchronizeClose"}));
  EXPECT_EQ(Log(), (Strings{"Begin Sync to create files on PC:4", "Sync Finished"}));
  EXPECT_EQ(Run(u"/APPID probe /database 2"), 0U);
  EXPECT_EQ(Log().size(), 4U) << "the log grows";
  EXPECT_EQ(Log()[2], "Begin Sync to create files on PC:2");
  EXPECT_EQ(Run(u"-AppId Probe -Database"), 0U);
  EXPECT_EQ(Log()[4], "Begin Sync to create files on PC:4");
}

TEST_F(RunTest, WhatCannotRunIsReportedInOneMessageBox) {
  const std::string ini = ToUtf8((home() / "Pylon.ini").u16string());
  const std::string usage =
      "No Application ID Supplied.\r\n"
      "Pylon -AppId {application id} -Database {Database type}\r\n\r\n"
      "AppId = The Application Id to find the settings in Pylon.ini\r\n"
      "Database = the type of database we create PDB files for.\r\n"
      "    0- Palm HotSync\r\n    1- Palm VFS\r\n    2- Pocket PC\r\n    3- Symbian\r\n"
      "    4- Windows PC (Default)\r\n    5- ActiveSync";
  const struct {
    const char16_t* arguments;
    std::string message;
  } cases[] = {
      {u"-Database 0", "No Application ID found for the CreatorID supplied by HotSync."},
      {u"-Database 2", usage},
      {u"-AppId Unknown -Database 4", "This Application 'Unknown' is not registered with Pyln."},
      {u"-AppId General -Database 9", "This Application 'General' is not registered with Pyln."},
      {u"-AppId Empty -Database 4",
       "Unable to find this ActiveX ClassID to create the conduit.\r\nApplicationId: Empty\r\n"
       "Ini File: " +
           ini},
      {u"-AppId Gone -Database 9",
       "Unable to load the Active DLL/EXE.  Make sure it is install and registered correctly."
       "\r\nNo.Such"},
      {u"-AppId Stranger -Database 4",
       "Active DLL/EXE missing ISyncNotify Implementation.\r\nPylonProbe.Stranger"},
      {u"-AppId Probe -Database 5",
       "ActiveSync Failed to Initialize.  Unable to connect to device."},
      {u"-AppId Probe -Database 0", "No HotSync session is running."},
      {u"-AppId Probe -Database 9",
       "There is no database type 9.\r\n" + usage.substr(usage.find("Database ="))},
      {u"-AppId Probe -Database four", "Run-time error '13':\r\n\r\nType mismatch"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RunIntoMessage(c.arguments), c.message) << ToUtf8(c.arguments);
  }
  EXPECT_EQ(Notes(), Strings{}) << "no component was called";
}

TEST_F(RunTest, AComponentsErrorIsTheUsersMessageAndTheLogs) {
  const struct {
    const char16_t* probe;
    const char* message;
  } cases[] = {
      {u"error", "Conduit Error: 5 (S) T"},
      {u"mismatch", "Conduit Error: 13 () Type mismatch"},
      {u"unknown-error", "Conduit Error: -2147216844 (Probe) odd"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RunIntoMessage(u"-AppId Probe -Database 4", c.probe), c.message);
    EXPECT_EQ(Log().back(), std::string("Sync Failed: ") + c.message);
  }
  for (const std::string& note : Notes()) EXPECT_EQ(note, "BeginSynchronize");
}

TEST_F(RunTest, TheProgramsOwnClassesAreDirectPointersInARun) {
  EXPECT_EQ(Run(u"-AppId Probe -Database 4", u"direct"), 0U);
  EXPECT_EQ(Notes()[1], "stream direct");
}

TEST_F(RunTest, DatabasesGoToTheSaveFolderElseToThePcFolder) {
  EXPECT_EQ(Run(u"-AppId Probe -Database 4", u"records"), 0U);
  EXPECT_EQ(Notes(),
            (Strings{"BeginSynchronize", "same database", "record id 1", "SynchronizeClose"}));
  const std::string first = testing::ReadFile(home() / "Probe" / "Probe.pdb");
  EXPECT_EQ(first.size(), 78U + 8U + 4U);
  EXPECT_EQ(first.substr(86), std::string("\x01\x02\x03\x04"));

  const auto save = home() / "elsewhere" / "deep";
  EXPECT_EQ(Run(u"-AppId Probe -Database 1 -save " + Quoted(save), u"records"), 0U);
  EXPECT_EQ(testing::ReadFile(save / "Probe.pdb").size(), 90U);
}

TEST_F(RunTest, SyncIndexesLieInThePcFolderWhereverTheDatabasesDo) {
  const std::u16string save = u" -save " + Quoted(home() / "elsewhere");
  EXPECT_EQ(Run(u"-AppId Probe -Database 4" + save, u"index"), 0U);
  EXPECT_EQ(Run(u"-AppId Probe -Database 1" + save, u"index"), 0U);
  EXPECT_EQ(Notes(), (Strings{"BeginSynchronize", "index 0", "index 0", "SynchronizeClose",
                              "BeginSynchronize", "index 1", "index 1", "SynchronizeClose"}));
  const std::filesystem::path user(UserName());
  for (const char* name : {"Probe.si", "Own.si"}) {
    EXPECT_TRUE(std::filesystem::exists(home() / "Probe" / user / name)) << name;
  }
}

TEST_F(RunTest, ADatabaseThatTheComponentLeavesOpenIsSaved) {
  EXPECT_EQ(Run(u"-AppId Probe -Database 4", u"unclosed"), 0U);
  EXPECT_EQ(testing::ReadFile(home() / "Probe" / "Probe.pdb").size(), 90U);
}

TEST_F(RunTest, SettingsAndDatesOfTheLastSyncAreKept) {
  EXPECT_EQ(Run(u"-AppId Probe -Database 4", u"settings"), 0U);
  EXPECT_EQ(Run(u"-AppId Probe -Database 4", u"settings"), 0U);
  EXPECT_EQ(Notes(), (Strings{"BeginSynchronize", "first sync", "setting none", "device type 2",
                              "SynchronizeClose", "BeginSynchronize", "synced before",
                              "setting \xD0\x96 kept", "device type 2", "SynchronizeClose"}));
}

TEST_F(RunTest, AComponentMayCallBackWhileItIsReleased) {
  EXPECT_EQ(Run(u"-AppId Probe -Database 4", u"late"), 0U);
  EXPECT_EQ(Notes().back(), "file system at release");
  EXPECT_EQ(Log().back(), "Probe is being released");
}

TEST_F(RunTest, CancelEndsARunWithoutAMessage) {
  const struct {
    const char* name;
    UINT message;
    WPARAM parameter;
  } cases[] = {
      {"the button or Esc", WM_COMMAND, IDCANCEL},
      {"closing the window", WM_CLOSE, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove(NotesFile());
    Process process = Start(u"-AppId Probe -Database 4", u"cancel");
    HWND window = nullptr;
    ASSERT_TRUE(testing::WaitUntil([&] {
      window = ::FindWindowW(nullptr, L"Probe & Co");
      return window != nullptr && ::IsWindowVisible(window);
    }));
    ::PostMessageW(window, c.message, c.parameter, 0);
    EXPECT_EQ(process.Wait().value_or(99), 2U);
    EXPECT_EQ(Notes(), (Strings{"BeginSynchronize", "cancelled", "file system at release"}));
  }
}

TEST_F(RunTest, AConduitWithAPcPathKeepsItsFilesThere) {
  const auto folder = home() / u"\u0416 files";
  const std::u16string ini =
      u"\uFEFF[Probe]\nClassID=PylonProbe.Conduit\nPCPath=" + folder.u16string() + u"\n";
  WriteSettings(std::string(reinterpret_cast<const char*>(ini.data()), ini.size() * 2));
  EXPECT_EQ(Run(u"-AppId Probe -Database 4", u"records"), 0U);
  EXPECT_EQ(testing::ReadFile(folder / "Probe.pdb").size(), 90U);
  EXPECT_FALSE(testing::ReadFile(folder / "AppStore.ini").empty());
}

TEST_F(RunTest, ARelativePcPathLiesBesideTheProgram) {
  WriteSettings("[Probe]\r\nClassID=PylonProbe.Conduit\r\nPCPath=data\\memos\\\r\n");
  EXPECT_EQ(Run(u"-AppId Probe -Database 4", u"records"), 0U);
  EXPECT_EQ(testing::ReadFile(home() / "data" / "memos" / "Probe.pdb").size(), 90U);
  EXPECT_FALSE(testing::ReadFile(home() / "data" / "memos" / "AppStore.ini").empty());
}

TEST_F(RunTest, ASettingThatCantBeKeptIsNamedInTheLog) {
  std::ofstream(home() / "taken") << "a file, no folder";
  WriteSettings("[Probe]\r\nClassID=PylonProbe.Conduit\r\nPCPath=taken\r\n");
  EXPECT_EQ(Run(u"-AppId Probe -Database 4", u"settings"), 0U) << "the sync goes on";
  EXPECT_TRUE(Log()[1].starts_with("The setting 'Key' of section 'Probe' could not be saved: "));
}

TEST_F(RunTest, WithoutADatabaseSwitchTheSetupWindowOpens) {
  SKIP_WITHOUT_DRAWING();
  for (const char16_t* arguments : {u"", u"-AppId Probe"}) {
    Process process = Start(arguments);
    HWND window = nullptr;
    ASSERT_TRUE(testing::WaitUntil([&] {
      window = testing::FindWindowOf(process.id(), L"Pylon.frmSetup");
      return window != nullptr;
    })) << ToUtf8(arguments);
    ::PostMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_EQ(process.Wait().value_or(99), 0U);
  }
  EXPECT_EQ(Notes(), Strings{});
}

class InstallTest : public RunTest {
 protected:
  void SetUp() override {
    SKIP_WITH_ACTIVESYNC(registry_);
    SKIP_WITH_HOTSYNC(palm_);
    RunTest::SetUp();
    WriteSettings("[My Probe]\r\nClassID=PylonProbe.Conduit\r\nPPCInstall=a.cab,b.cab\r\n");
  }
  static std::u16string Registered() { return Registry::Conduit(L"My Probe"); }

  using Registry = testing::ActiveSyncRegistry;
  const std::string no_hotsync_ = "HotSync is not Installed.";
  Registry registry_;
  testing::SimulatedHotSync palm_;
};

TEST_F(InstallTest, ActiveSyncStartsWhatWasInstalled) {
  registry_.Install(ProgramPath());
  const testing::CommandReport manager((home() / "report.txt").u16string());
  EXPECT_EQ(RunIntoMessage(u"-AppId \"My Probe\" -install", u"ok", 0), no_hotsync_);
  EXPECT_EQ(Registered(), Quoted(home() / "Pylon.exe") + u" -Appid My Probe -Database 5");
  const auto description = home() / "My Probe" / "CeInstall.ini";
  EXPECT_TRUE(manager.Wait().ends_with(ToUtf8(Quoted(description)))) << manager.Wait();
  EXPECT_EQ(testing::ReadFile(description),
            "[CEAppManager]\r\nVersion=1.0\r\nComponent=My Probe\r\n"
            "[My Probe]\r\nDescription=Probe & Co\r\nCabFiles=a.cab,b.cab\r\n");

  Process connected(Registered());
  EXPECT_EQ(MessageOf(connected, 1),
            "ActiveSync Failed to Initialize.  Unable to connect to device.");
  EXPECT_EQ(Run(u"-AppId My Probe -uninstall"), 0U);
  EXPECT_EQ(Registered(), Registry::kMissing);
  EXPECT_EQ(Run(u"-AppId My Probe -uninstall"), 0U);
}

TEST_F(InstallTest, HotSyncCallsWhatWasInstalled) {
  const std::string no_activesync = "ActiveSync is not Installed.";
  palm_.Install();
  WriteSettings("[My Probe]\r\nClassID=PylonProbe.Conduit\r\nPalmInstall=probe.prc\r\n");
  std::filesystem::create_directory(home() / "My Probe");
  std::ofstream(home() / "My Probe" / "probe.prc") << "application";
  EXPECT_TRUE(RunIntoMessage(u"-AppId \"My Probe\" -install")
                  .starts_with(no_activesync + "\r\n\r\nHotSync has no user yet"));
  palm_.AddUser(L"Mary");
  EXPECT_EQ(RunIntoMessage(u"-AppId \"My Probe\" -install", u"ok", 0), no_activesync);
  EXPECT_EQ(palm_.Conduits(),
            "50724265|COMConduit.dll|Pylon.cPalmSync|Probe & Co|My Probe|My Probe.pdb|2\n");
  EXPECT_TRUE(palm_.folder().Exists(u"Mary\\Install\\probe.prc"));

  palm_.Fail("CmRemoveConduitByCreatorID=-1006");
  EXPECT_TRUE(RunIntoMessage(u"-AppId \"My Probe\" -uninstall")
                  .starts_with("The conduit could not be removed from HotSync: the registry"));
  palm_.Fail("");
  EXPECT_EQ(Run(u"-AppId \"My Probe\" -uninstall"), 0U);
  EXPECT_EQ(palm_.Conduits(), "");

  palm_.AddConduit(0x50724265, u"The probe of others", u"probe.dll");
  EXPECT_NE(RunIntoMessage(u"-AppId \"My Probe\" -install").find("'The probe of others'"),
            std::string::npos);
}

TEST_F(InstallTest, WhatFailsIsReportedInOneMessageBox) {
  EXPECT_EQ(RunIntoMessage(u"-AppId \"My Probe\" -install"),
            no_hotsync_ + "\r\n\r\nActiveSync is not Installed.");
  registry_.RefuseConduits();
  registry_.Install(u"C:\\gone\\CEAPPMGR.EXE");
  EXPECT_EQ(RunIntoMessage(u"-AppId \"My Probe\" -install"),
            no_hotsync_ +
                "\r\n\r\nUnable to Install Conduit for ActiveSync.  Verify you write permissions "
                "to the registery for HKEY_LOCAL_MACHINE\r\n\r\n"
                "Unable to install Pocket PC Application");
  EXPECT_EQ(RunIntoMessage(u"-AppId Unknown -install"),
            "This Application 'Unknown' is not registered with Pyln.");
  EXPECT_TRUE(RunIntoMessage(u"-uninstall").starts_with("No Application ID Supplied."));
}

TEST_F(InstallTest, InstallWinsOverUninstallAndBothOverDatabase) {
  registry_.Install(ProgramPath());
  const testing::CommandReport manager((home() / "report.txt").u16string());
  RunIntoMessage(u"-AppId \"My Probe\" -Database 4 -uninstall -install", u"ok", 0);
  EXPECT_NE(Registered(), Registry::kMissing);
  EXPECT_EQ(Run(u"-AppId \"My Probe\" -uninstall -Database 4"), 0U);
  EXPECT_EQ(Registered(), Registry::kMissing);
  EXPECT_EQ(Notes(), Strings{}) << "no sync ran";
}

}  // namespace
}  // namespace pylon

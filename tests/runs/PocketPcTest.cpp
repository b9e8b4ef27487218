// Whole runs of Pylon.exe against the simulated Pocket PC: what is on the device afterwards, on the
// PC, in the log and in the message box, with a good link and with every bad one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "base/Text.h"
#include "base/Win32.h"
#include "tests/runs/ProbeRun.h"

namespace pylon {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::Lines;
using ::testing::Not;
using testing::Process;
using testing::Quoted;
using ::testing::StartsWith;
using testing::Strings;

constexpr char16_t kArguments[] = u"-AppId Probe -Database 5";
constexpr char kNotConnected[] = "ActiveSync Failed to Initialize.  Unable to connect to device.";
constexpr char kClosed[] = "Connection to ActiveSync has been closed.";

class PocketPcTest : public testing::ProbeRun {
 protected:
  void SetUp() override {
    ProbeRun::SetUp();
    std::filesystem::copy_file("simulators/pocketpc/rapi.dll", home() / "rapi.dll");
    std::filesystem::create_directories(temp());
    ::GetEnvironmentVariableW(L"TEMP", old_temp_, MAX_PATH);
    ::SetEnvironmentVariableW(L"TEMP", temp().c_str());
    Configure();
    SimulateWith("");
  }
  void TearDown() override { ::SetEnvironmentVariableW(L"TEMP", old_temp_); }

  std::filesystem::path temp() const { return home() / "temp"; }
  std::filesystem::path DeviceFile(const std::string& name) const {
    return home() / "device" / "My Documents" / "Probe" / name;
  }
  void Configure(const std::string& keys = "", const std::string& library = "rapi.dll") {
    WriteSettings("[Pylon]\r\nSimulatedPocketPC=" + library +
                  "\r\n[Probe]\r\nClassID=PylonProbe.Conduit\r\n" + keys);
  }
  void SimulateWith(const std::string& settings) {
    std::ofstream(home() / "rapi.ini", std::ios::binary) << settings;
    std::filesystem::remove(home() / "rapi.log");
    std::filesystem::remove(NotesFile());
    std::filesystem::remove_all(home() / "Probe");
  }
  Strings Log(const char* device = "Pocket_PC") const { return ProbeRun::Log(device); }
  // The names of the device calls of the last run, questions for errors left out.
  Strings Calls() const {
    Strings calls;
    for (const std::string& line : Lines(home() / "rapi.log")) {
      const std::string name = line.substr(0, line.find(' '));
      if (name.starts_with("Ce") && name != "CeRapiGetError" && name != "CeGetLastError") {
        calls.push_back(name);
      }
    }
    return calls;
  }
  // Working copies that are left on the PC, by what they hold.
  Strings Kept() const {
    Strings kept;
    for (const auto& entry : std::filesystem::directory_iterator(temp())) {
      kept.push_back(testing::ReadFile(entry.path()));
    }
    return kept;
  }

  DWORD Run(const std::u16string& probe) { return ProbeRun::Run(kArguments, probe); }
  std::string RunIntoMessage(const std::u16string& probe) {
    return ProbeRun::RunIntoMessage(kArguments, probe);
  }
  // Runs into a window of the program that is shown, and gives it a message.
  DWORD RunAndCancel(const std::u16string& probe, const std::function<bool(HWND)>& when) {
    Process process = Start(kArguments, probe);
    HWND window = nullptr;
    EXPECT_TRUE(testing::WaitUntil([&] {
      window = testing::FindWindowOf(process.id(), L"Pylon.frmStatus");
      return window != nullptr && when(window);
    }));
    ::PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
    return process.Wait().value_or(99);
  }

 private:
  wchar_t old_temp_[MAX_PATH] = {};
};

TEST_F(PocketPcTest, ARunWorksOnTheDevice) {
  EXPECT_EQ(Run(u"records"), 0U);
  EXPECT_THAT(Notes(),
              ElementsAre("BeginSynchronize", "same database", "record id 1", "SynchronizeClose"));
  EXPECT_EQ(testing::ReadFile(DeviceFile("Probe.pdb")).size(), 90U);
  EXPECT_THAT(Log(),
              ElementsAre(AllOf(StartsWith("The device is simulated by "), EndsWith("rapi.dll")),
                          "Begin Sync using ActiveSync", "Sync Finished"));
  EXPECT_THAT(Calls().back(), "CeRapiUninit");
  EXPECT_THAT(Kept(), IsEmpty());

  SimulateWith("[HKLM\\Ident]\r\nName=Lab: Pocket\r\n");
  EXPECT_EQ(Run(u"settings"), 0U);
  EXPECT_THAT(Notes(), Contains("device type 1"));
  EXPECT_THAT(Log("Lab_ Pocket"), Contains("Sync Finished"));
  EXPECT_TRUE(std::filesystem::exists(home() / "Probe" / "Lab_ Pocket" / "DeviceStore.ini"));
  EXPECT_EQ(Run(u"index"), 0U);
  EXPECT_TRUE(std::filesystem::exists(home() / "Probe" / "Lab_ Pocket" / "Probe.si"))
      << "on the PC";
}

TEST_F(PocketPcTest, TheConduitsPathOnTheDeviceIsMade) {
  for (const char* path : {"\\Data\\Deep", "Storage Card\\Memos\\", "\\\\Twice\\\\Deep"}) {
    Configure(std::string("CePath=") + path + "\r\n");
    EXPECT_EQ(Run(u"records"), 0U);
  }
  for (const char* path : {"Data/Deep", "Storage Card/Memos", "Twice/Deep"}) {
    EXPECT_TRUE(std::filesystem::exists(home() / "device" / path / "Probe.pdb")) << path;
  }
}

TEST_F(PocketPcTest, WithoutAConnectionNothingIsCalledAndTheLogSaysWhy) {
  const struct {
    const char* name;
    const char* settings;
    const char* library;
    const char* cause;
  } cases[] = {
      {"error", "[Faults]\r\nConnect=error\r\n", "rapi.dll", "refuses to start"},
      {"refused", "[Faults]\r\nConnect=refused\r\n", "rapi.dll", "refuses the connection"},
      {"no answer", "[Faults]\r\nConnect=no-answer\r\n", "rapi.dll", "does not answer"},
      {"no library", "", "missing.dll", "missing.dll\" can't be loaded"},
      {"no settings", "[Nonsense]\r\nx=y\r\n", "rapi.dll", "0x8007064a"},
      {"no ActiveSync", "", "", "system32\\rapi.dll"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    SimulateWith(c.settings);
    Configure("", c.library);
    EXPECT_EQ(RunIntoMessage(u"records"), kNotConnected);
    EXPECT_THAT(Notes(), IsEmpty());
    EXPECT_THAT(Log("Unknown"), Contains(HasSubstr(c.cause)));
  }
}

TEST_F(PocketPcTest, TheWindowSaysThatTheDeviceIsSimulatedAndCancelEndsTheWait) {
  SimulateWith("[Link]\r\nConnectDelay=9000\r\n");
  EXPECT_EQ(RunAndCancel(u"records",
                         [](HWND window) {
                           return testing::WindowText(window) == u"Probe & Co (simulated device)";
                         }),
            2U);
  EXPECT_THAT(Notes(), IsEmpty());
  EXPECT_THAT(Log("Unknown"), Contains(HasSubstr("cancelled")));
}

// A copy carries the whole database in a few calls, however many records that has.
TEST_F(PocketPcTest, TheRecordsCostNoCalls) {
  struct Counts {
    std::ptrdiff_t moving;
    std::ptrdiff_t others;
  };
  const auto run = [&](const std::u16string& probe) {
    SimulateWith("[Link]\r\nCallDelay=5\r\n");
    EXPECT_EQ(Run(probe), 0U);
    const Strings calls = Calls();
    const auto moving = std::ranges::count_if(calls, [](const std::string& name) {
      return name == "CeReadFile" || name == "CeWriteFile";
    });
    return Counts{moving, std::ssize(calls) - moving};
  };
  const struct {
    const char16_t* fill;
    int fill_chunks, read_chunks, change_chunks;
  } cases[] = {{u"fill 5", 1, 1, 2}, {u"fill 10000", 20, 20, 20 + 21}};
  ASSERT_EQ(Run(u"fill 1"), 0U);  // makes folder and file
  const Counts nothing = run(u"ok");
  std::ptrdiff_t others[3] = {};
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.fill));
    const Counts fill = run(c.fill);
    const Counts read = run(u"read");
    EXPECT_THAT(Calls(), Not(Contains("CeWriteFile"))) << "what is only read is not copied up";
    const Counts change = run(u"change");
    EXPECT_EQ(fill.moving, c.fill_chunks);
    EXPECT_EQ(read.moving, c.read_chunks);
    EXPECT_EQ(change.moving, c.change_chunks);
    const std::ptrdiff_t now[] = {fill.others, read.others, change.others};
    if (others[0] == 0) std::ranges::copy(now, others);
    EXPECT_THAT(now, ElementsAreArray(others));
  }
  EXPECT_LE(others[1] - nothing.others, 4) << "opening";
  EXPECT_LE(others[2] - others[1], 12) << "saving";
}

TEST_F(PocketPcTest, WhateverFailsTheOldDatabaseIsThereAndTheNewOneIsKept) {
  ASSERT_EQ(Run(u"fill 50"), 0U);
  const std::string old = testing::ReadFile(DeviceFile("Probe.pdb"));
  ASSERT_EQ(Run(u"change"), 0U);
  const std::string changed = testing::ReadFile(DeviceFile("Probe.pdb"));
  ASSERT_NE(changed, old);

  const struct {
    const char* name;
    std::string settings;
    const char* message;
    bool kept;
  } cases[] = {
      {"while opening", "LinkLostAt=CeCreateFile 2", kClosed, false},
      {"while copying down", "LinkLostAt=CeReadFile 2", kClosed, false},
      {"unreadable", "UnreadableFile=\\My Documents\\Probe\\Probe.pdb", "No database", false},
      {"in use", "LockedFile=\\My Documents\\Probe\\Probe.pdb", "No database", false},
      {"before saving", "LinkLostAt=CeCreateFile 3", kClosed, true},
      {"new file in use", "LockedFile=\\My Documents\\Probe\\Probe.pdb.new", "Unknown Error: 32",
       true},
      {"while copying up", "LinkLostAt=CeWriteFile 2", kClosed, true},
      {"in the middle of a block", "LinkLostAfterBytes=9000", kClosed, true},
      {"while closing", "LinkLostAt=CeCloseHandle 3", kClosed, true},
      {"before replacing", "LinkLostAt=CeMoveFile 3", kClosed, true},
      {"within replacing", "LinkLostAt=CeMoveFile 4", kClosed, true},
      {"full", "", "Disk Full", true},
      {"link reset", "LinkLostAt=CeWriteFile 2\r\nLinkLostError=0x80072746",
       "RAPI Error: -2147014842", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove_all(temp());
    std::filesystem::create_directories(temp());
    std::filesystem::remove_all(home() / "device");
    std::filesystem::create_directories(DeviceFile("").parent_path());
    std::ofstream(DeviceFile("Probe.pdb"), std::ios::binary) << old;
    SimulateWith(c.settings.empty()
                     ? "[Device]\r\nDiskSize=" + std::to_string(old.size() + 1'000) + "\r\n"
                     : "[Faults]\r\n" + c.settings + "\r\n");
    const std::string message = RunIntoMessage(u"change");
    EXPECT_THAT(message, HasSubstr(c.message));
    EXPECT_EQ(message.find("Database "), message.rfind("Database ")) << message;
    EXPECT_EQ(message.find(kClosed) != message.npos,
              c.settings.find("LinkLost") != c.settings.npos);
    EXPECT_THAT(Log(), Contains(StartsWith("Sync Failed: ")));
    EXPECT_THAT(Notes(), Not(Contains("SynchronizeClose")));
    EXPECT_EQ(Calls().back(), "CeRapiUninit");
    if (c.kept) {
      ASSERT_EQ(Kept().size(), 1U);
      EXPECT_EQ(Kept()[0].size(), changed.size());
      EXPECT_THAT(Log(), Contains(HasSubstr("is kept in " + temp().string())));
    } else {
      EXPECT_THAT(Kept(), IsEmpty());
    }
    const std::string reason = c.message == std::string("No database") ? "Error" : c.message;
    EXPECT_THAT(Log(), Contains(AllOf(HasSubstr("Probe.pdb"), HasSubstr(reason))));

    SimulateWith("");
    EXPECT_EQ(Run(u"read"), 0U);
    EXPECT_EQ(testing::ReadFile(DeviceFile("Probe.pdb")), old);
    EXPECT_EQ(Run(u"change"), 0U);
    EXPECT_EQ(testing::ReadFile(DeviceFile("Probe.pdb")).size(), changed.size());
    EXPECT_FALSE(std::filesystem::exists(DeviceFile("Probe.pdb.new")));
    EXPECT_FALSE(std::filesystem::exists(DeviceFile("Probe.pdb.replaced")));
  }
}

TEST_F(PocketPcTest, AComponentThatCreatesWhatItCouldNotOpenReplacesNothing) {
  ASSERT_EQ(Run(u"fill 50"), 0U);
  const std::string old = testing::ReadFile(DeviceFile("Probe.pdb"));
  for (const char* fault : {"UnreadableFile=\\My Documents\\Probe\\Probe.pdb",
                            "LockedFile=\\My Documents\\Probe\\Probe.pdb"}) {
    SCOPED_TRACE(fault);
    SimulateWith("[Faults]\r\n" + std::string(fault) + "\r\n");
    EXPECT_EQ(Run(u"open or create"), 0U);
    EXPECT_THAT(Notes(), AllOf(Contains("not opened"), Contains("not created")));
    EXPECT_THAT(Log(), Contains(HasSubstr("delete it first")));
    EXPECT_EQ(testing::ReadFile(DeviceFile("Probe.pdb")), old);
  }
  SimulateWith("");
  const std::string damaged = old.substr(0, 90);
  std::ofstream(DeviceFile("Probe.pdb"), std::ios::binary) << damaged;
  EXPECT_EQ(Run(u"open or create"), 0U);
  EXPECT_THAT(Notes(), AllOf(Contains("not opened"), Contains("not created")));
  EXPECT_THAT(Log(), Contains(HasSubstr("damaged")));
  EXPECT_EQ(testing::ReadFile(DeviceFile("Probe.pdb")), damaged);
}

TEST_F(PocketPcTest, AComponentThatMissesTheEndOfTheLinkDoesNotHideIt) {
  ASSERT_EQ(Run(u"fill 50"), 0U);
  SimulateWith("[Faults]\r\nLinkLostAt=CeReadFile 2\r\n");
  EXPECT_EQ(RunIntoMessage(u"read, not minding"), kClosed);
  EXPECT_THAT(Notes(), Contains("SynchronizeClose"));
  EXPECT_THAT(Log(), Not(Contains("Sync Finished")));
  EXPECT_FALSE(std::filesystem::exists(home() / "Probe" / "AppStore.ini")) << "no date of a sync";
  SimulateWith("[Faults]\r\nLinkLostAt=CeWriteFile\r\n");
  EXPECT_THAT(RunIntoMessage(u"unclosed"), HasSubstr(kClosed)) << "saved by the end, or not";
}

TEST_F(PocketPcTest, WhatTheEndOfTheRunCantSaveMakesItAFailure) {
  SimulateWith("[Device]\r\nDiskSize=10\r\n");
  EXPECT_THAT(RunIntoMessage(u"unclosed"), HasSubstr("Disk Full"));
  EXPECT_THAT(Notes(), Contains("SynchronizeClose"));
  EXPECT_THAT(Log(), Not(Contains("Sync Finished")));
  EXPECT_FALSE(std::filesystem::exists(home() / "Probe" / "AppStore.ini")) << "no date of a sync";
}

TEST_F(PocketPcTest, CancelEndsACopyAndTheRun) {
  ASSERT_EQ(Run(u"fill 10000"), 0U);
  const std::string old = testing::ReadFile(DeviceFile("Probe.pdb"));
  const struct {
    const char16_t* probe;
    const char* call;
    size_t kept;
  } cases[] = {{u"read", "CeReadFile", 0},
               {u"change", "CeWriteFile", 1},
               {u"change, unclosed", "CeWriteFile", 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.probe));
    std::filesystem::remove_all(temp());
    std::filesystem::create_directories(temp());
    SimulateWith("[Link]\r\nBandwidth=500000\r\n");
    const auto copying = [&](HWND window) {
      const HWND bar = ::FindWindowExW(window, nullptr, L"msctls_progress32", nullptr);
      const HWND file_bar = ::FindWindowExW(window, bar, L"msctls_progress32", nullptr);
      const Strings calls = Calls();
      return ::IsWindowVisible(file_bar) && std::ranges::count(calls, c.call) > 2;
    };
    EXPECT_EQ(RunAndCancel(c.probe, copying), 2U);
    const Strings calls = Calls();
    EXPECT_LT(std::ranges::count(calls, c.call), 20);
    EXPECT_EQ(calls.back(), "CeRapiUninit");
    EXPECT_EQ(testing::ReadFile(DeviceFile("Probe.pdb")), old);
    EXPECT_EQ(Kept().size(), c.kept);
    EXPECT_THAT(Log(), AllOf(Contains(HasSubstr("cancelled")), Not(Contains("Sync Finished"))));
  }
}

}  // namespace
}  // namespace pylon

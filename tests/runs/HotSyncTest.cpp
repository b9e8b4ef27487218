// Whole HotSync sessions: the simulator plays HotSync and the handheld, COM starts Pylon.exe, which
// runs the Memos sample or the tests' own component.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "base/Text.h"
#include "base/Win32.h"
#include "tests/automation/Processes.h"
#include "tests/runs/ProbeRun.h"
#include "tests/runs/SampleRun.h"
#include "tests/setup/SimulatedHotSync.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using testing::Lines;
using ::testing::Not;
using testing::Process;
using testing::Quoted;
using ::testing::StartsWith;
using testing::Strings;

constexpr char kMemos[] = "Memos";
constexpr char kClosed[] = "Connection to HotSync has been closed.";

fs::path Simulator() { return fs::absolute("simulators/palm/PalmSimulator.exe"); }

class HotSyncTest : public testing::SampleRun<kMemos> {
 protected:
  static void SetUpTestSuite() {
    SampleRun::SetUpTestSuite();
    testing::RegisterProbe();
    ASSERT_EQ(Process(Quoted(Simulator()) + u" /regserver").Wait(), 0U);
  }
  static void TearDownTestSuite() {
    EXPECT_EQ(Process(Quoted(Simulator()) + u" /unregserver").Wait(), 0U);
    SampleRun::TearDownTestSuite();
  }

  void SetUp() override {
    SKIP_WITH_HOTSYNC(hot_sync_);
    SampleRun::SetUp();
    fs::create_directories(texts());
    std::ofstream(home() / "Pylon.ini", std::ios::app)
        << "[Probe]\nClassID=PylonProbe.Conduit\nPCPath=kept\n";
    hot_sync_.Install();
    ASSERT_EQ(Process(Quoted(program()) + u" /regserver").Wait(), 0U);
    Settings("");
    ASSERT_EQ(Simulate(u"/create MemoDB memo DATA"), 0U);
  }
  void TearDown() override {
    if (IsSkipped()) return;
    ExpectServerEnds();
    EXPECT_EQ(Process(Quoted(program()) + u" /unregserver").Wait(), 0U);
  }

  fs::path program() const { return home() / "Pylon.exe"; }
  fs::path texts() const { return data() / "Memos"; }
  fs::path dates() const { return data() / "Palm User" / "DeviceStore.ini"; }
  void Write(const char* name, const char* text) const { std::ofstream(texts() / name) << text; }

  // The server goes by itself, soon after its last client.
  void ExpectServerEnds() const {
    EXPECT_TRUE(testing::WaitUntil([&] { return testing::ProcessesOf(program()).empty(); }));
  }

  void Settings(const std::string& settings) const {
    std::ofstream(home() / "handheld.ini") << settings;
  }
  // COM starts Pylon.exe with the environment of its client, as Wine does.
  DWORD Simulate(const std::u16string& arguments, const std::u16string& probe = u"ok") {
    const fs::path output = home() / "said.txt";
    Process process(
        Quoted(Simulator()) + u" " + arguments + u" /ini " + Quoted(home() / "handheld.ini"),
        {{u"PYLON_PROBE", probe}, {u"PYLON_PROBE_OUT", NotesFile().u16string()}}, output);
    const DWORD code = process.Wait().value_or(99);
    said_ = Lines(output);
    return code;
  }
  // A session with these settings; forgets what the last one logged. Begins when the last one's
  // server has gone: Wine's COM waits half a minute for one that it meets at its end.
  DWORD HotSync(const std::string& settings = {}, const std::u16string& probe = u"ok") {
    ExpectServerEnds();
    Settings(settings);
    for (const char* log : {"handheld.log", "hotsync.log", "notes.txt"}) fs::remove(home() / log);
    fs::remove_all(home() / "Memos");
    fs::remove_all(home() / "Probe");
    return Simulate(u"/sync", probe);
  }

  const Strings& Said() const { return said_; }
  Strings SessionLog() const { return Lines(home() / "hotsync.log"); }
  Strings Notes() const { return Lines(NotesFile()); }
  Strings PylonLog(const char* app_id = kMemos) const {
    return testing::LogTexts(home() / app_id / "Palm User" / (std::string(app_id) + ".log"));
  }
  Strings Calls() const { return Lines(home() / "handheld.log"); }
  // Those that would change the handheld.
  Strings Changes() const {
    Strings changes;
    for (const std::string& line : Calls()) {
      if (line.starts_with("Write") || line.starts_with("Remove")) changes.push_back(line);
    }
    return changes;
  }

  // The handheld's memos, which have one line each, with their ids. Deleted ones count for nothing.
  std::map<std::string, std::string> Memos() {
    EXPECT_EQ(Simulate(u"/show MemoDB"), 0U);
    std::map<std::string, std::string> memos;
    for (const std::string& line : said_) {
      if (!line.starts_with("id ") || line.find(", deleted") != line.npos) continue;
      memos[line.substr(line.find(": ") + 2)] = line.substr(3, line.find(',') - 3);
    }
    return memos;
  }
  std::u16string IdOf(const char* memo) { return FromUtf8(Memos()[memo]); }
  std::set<std::string> MemoTexts() {
    std::set<std::string> texts;
    for (const auto& [text, id] : Memos()) texts.insert(text);
    return texts;
  }
  std::set<std::string> FileTexts() const {
    std::set<std::string> texts;
    for (const auto& entry : fs::recursive_directory_iterator(this->texts())) {
      if (entry.is_regular_file()) texts.insert(testing::ReadFile(entry.path()));
    }
    return texts;
  }
  void ExpectOnBothSides(const std::set<std::string>& texts) {
    EXPECT_EQ(FileTexts(), texts);
    EXPECT_EQ(MemoTexts(), texts);
  }

  // Both sides in step, and then changes of every kind on both.
  const std::set<std::string> before_ = {"A", "B", "C", "D"};
  const std::set<std::string> after_ = {"A changed", "C changed", "E", "F"};
  void SyncFirst(const std::string& settings) {
    for (const char* text : {"B", "C", "D"}) Write((std::string(text) + ".txt").c_str(), text);
    ASSERT_EQ(Simulate(u"/add MemoDB A"), 0U);
    ASSERT_EQ(HotSync(settings), 0U) << Log();
    ExpectOnBothSides(before_);
  }
  void ChangeBothSides() {
    ASSERT_EQ(Simulate(u"/change MemoDB " + IdOf("A") + u" \"A changed\""), 0U);
    ASSERT_EQ(Simulate(u"/delete MemoDB " + IdOf("B")), 0U);
    ASSERT_EQ(Simulate(u"/add MemoDB E"), 0U);
    Write("C.txt", "C changed");
    fs::remove(texts() / "D.txt");
    Write("F.txt", "F");
  }

  void AddMemos() { ASSERT_EQ(Simulate(u"/addconduit memo Pylon.cPalmSync Memos Memos"), 0U); }

  testing::SimulatedHotSync hot_sync_;

 private:
  fs::path NotesFile() const { return home() / "notes.txt"; }
  Strings said_;
};

TEST_F(HotSyncTest, ChangesGoBothWaysWithBothOrdersOfTheLibrary) {
  AddMemos();
  for (const std::string library : {"second", "first"}) {
    SCOPED_TRACE(library);
    const std::string settings = "[Suite]\nLibrary=" + library + "\n";
    SyncFirst(settings);
    EXPECT_THAT(SessionLog(),
                IsSupersetOf({"Memos: Sync Finished", "OK Memos", "HotSync is complete"}));
    EXPECT_THAT(PylonLog(), Contains("Begin Sync using HotSync"));
    EXPECT_THAT(PylonLog(), Contains("Sync Finished"));
    EXPECT_TRUE(fs::exists(dates()));
    EXPECT_TRUE(fs::exists(data() / "AppStore.ini"));
    EXPECT_TRUE(fs::exists(data() / "Palm User" / "MemoDB.si"));

    ChangeBothSides();
    EXPECT_EQ(HotSync(settings), 0U);
    ExpectOnBothSides(after_);

    const Contents files = Snapshot();
    EXPECT_EQ(HotSync(settings), 0U);
    EXPECT_THAT(Written(files, Snapshot()), IsEmpty());
    EXPECT_THAT(Changes(), IsEmpty());

    fs::remove_all(data());
    fs::remove_all(home() / "handheld");
    fs::create_directories(texts());
    Settings("");
    ASSERT_EQ(Simulate(u"/create MemoDB memo DATA"), 0U);
  }
}

TEST_F(HotSyncTest, WhateverFailsTheNextSyncMakesUpForIt) {
  AddMemos();
  SyncFirst("");
  ChangeBothSides();
  const std::string busy = "RecordBusy=MemoDB " + Memos()["C"];
  const fs::path saved = home() / "saved";
  const auto copy = [](const fs::path& from, const fs::path& to) {
    fs::remove_all(to);
    fs::copy(from, to, fs::copy_options::recursive);
  };
  fs::create_directory(saved);
  for (const char* side : {"data", "handheld"}) copy(home() / side, saved / side);

  const struct {
    std::string fault;
    const char* log;
    bool finished = false;
    // Once a record was written that the sync index does not know of, Memos doubts what it knows of
    // deletions: a text comes back rather than go for good.
    bool deletion_doubted = false;
  } cases[] = {
      {"LinkLostAt=DateTime", kClosed},
      {"LinkLostAt=ReadByIndex 2", kClosed},
      {"LinkLostAt=Write 1", kClosed},
      {"LinkLostAt=Write 2", kClosed, false, true},
      {"LinkLostAt=Remove 1", kClosed},
      {"LinkLostAt=WriteAppInfoBlock", kClosed},
      {"LinkLostAt=ResetAllModifiedFlags", kClosed},
      {"LinkLostAt=AddLogEntry", "Sync Finished", true},
      {busy, "Conduit Error: 70 "},
      {"DatabaseReadOnly=MemoDB", "Conduit Error: 70 "},
      {"MemoryFullAfterBytes=5", "Conduit Error: 7 "},
      {"Connect=no-answer", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    for (const char* side : {"data", "handheld"}) copy(saved / side, home() / side);
    fs::remove(dates());
    EXPECT_EQ(HotSync("[Faults]\n" + c.fault + "\n"), 1U);
    if (c.log) {
      EXPECT_THAT(PylonLog(), Contains(HasSubstr(c.log)));
    }
    EXPECT_EQ(fs::exists(dates()), c.finished) << "a date of a sync";
    const bool lost = c.fault.starts_with("LinkLost");
    EXPECT_THAT(SessionLog(), Contains(HasSubstr(lost    ? "connection to the handheld was lost"
                                                 : c.log ? "Memos: Sync Failed: "
                                                         : "does not answer")));

    EXPECT_EQ(HotSync(), 0U) << Log();
    std::set<std::string> expected = after_;
    if (c.deletion_doubted) expected.insert("B");
    ExpectOnBothSides(expected);
  }
}

TEST_F(HotSyncTest, AConduitThatFailsLeavesALineAndTheOthersRun) {
  ASSERT_EQ(Simulate(u"/addconduit none Pylon.cPalmSync Nobody"), 0U);
  ASSERT_EQ(Simulate(u"/addconduit PrBe Pylon.cPalmSync Probe"), 0U);
  ASSERT_EQ(Simulate(u"/addconduit gone Pylon.cPalmSync Gone Gone"), 0U);
  std::ofstream(home() / "Pylon.ini", std::ios::app) << "[Gone]\nClassID=Nobody.Conduit\n";
  AddMemos();
  Write("New.txt", "New");
  EXPECT_EQ(HotSync("", u"error"), 1U);
  const std::string cannot_load =
      "Sync Failed: Unable to load the Active DLL/EXE.  Make sure it is install and registered "
      "correctly. Nobody.Conduit";
  EXPECT_THAT(SessionLog(),
              ElementsAre(StartsWith("HotSync of Palm User begins "),
                          "Pylon: No Application ID found for the CreatorID supplied by HotSync. "
                          "No conduit is registered for the creator id 'none'. 'Gone' can't be "
                          "asked for its own: Nobody.Conduit can't be created",
                          "Nobody: failed, it says so itself",
                          "Probe & Co: Sync Failed: Conduit Error: 5 (S) T",
                          "Probe: failed, it says so itself", "Gone: " + cannot_load,
                          "Gone: failed, it says so itself", "Memos: Sync Finished", "OK Memos",
                          "HotSync is complete, with failures"));
  EXPECT_THAT(PylonLog("Gone"),
              ElementsAre(StartsWith("Sync Failed: Unable to load the Active"), "Nobody.Conduit"));
  EXPECT_THAT(PylonLog("Probe"),
              ElementsAre("Begin Sync using HotSync", "Sync Failed: Conduit Error: 5 (S) T"));
  ExpectOnBothSides({"New"});
}

// Each in a server of its own, since a component reads its orders from the environment.
TEST_F(HotSyncTest, AComponentWorksOnTheHandheld) {
  ASSERT_EQ(Simulate(u"/addconduit PrBe Pylon.cPalmSync Probe"), 0U);
  const struct {
    const char16_t* probe;
    const char* settings;
    DWORD code;
    Strings notes;
    const char* session;
  } cases[] = {
      {u"records", "", 0, {"same database", "record id 1"}, "Probe & Co: Sync Finished"},
      {u"index", "", 0, {"index 0", "index 0"}, "Probe & Co: Sync Finished"},
      {u"index", "", 0, {"index 1", "index 1"}, "Probe & Co: Sync Finished"},
      {u"settings", "", 0, {"device type 0"}, "Probe & Co: Sync Finished"},
      {u"fill 20", "", 0, {}, "Probe & Co: Sync Finished"},
      {u"change, unclosed", "", 0, {"changed of 20"}, "Probe & Co: Sync Finished"},
      {u"read, not minding",
       "[Faults]\nLinkLostAt=ReadByIndex 5\n",
       1,
       {},
       "The connection to the handheld"},
      {u"read", "[Faults]\nRecordBusy=Probe 5\n", 1, {}, "Conduit Error: 70"},
      {u"read", "", 0, {"read of 20"}, "Probe & Co: Sync Finished"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.probe) + " " + c.settings);
    EXPECT_EQ(HotSync(c.settings, c.probe), c.code);
    EXPECT_THAT(Notes(), IsSupersetOf(c.notes));
    EXPECT_THAT(SessionLog(), Contains(HasSubstr(c.session)));
    EXPECT_THAT(PylonLog("Probe"),
                Contains(StartsWith(c.code == 0 ? "Sync Finished" : "Sync Failed: ")));
  }
  EXPECT_EQ(Simulate(u"/list"), 0U);
  EXPECT_THAT(Said(), Contains(AllOf(StartsWith("Probe: "), HasSubstr("creator PrBe, 20 rec"))));
}

// One call for each record, and as many others whatever their number.
TEST_F(HotSyncTest, CallsGrowWithTheRecordsAlone) {
  ASSERT_EQ(Simulate(u"/addconduit PrBe Pylon.cPalmSync Probe"), 0U);
  std::set<size_t> others;
  for (const size_t count : {1'000, 10'000}) {
    testing::FileImage database;
    database.name = "Probe";
    database.creator = "PrBe";
    for (uint32_t id = 1; id <= count; ++id) {
      database.records.push_back({0x40, id, testing::Ascii("text")});
    }
    const Bytes bytes = database.Build();
    std::ofstream(home() / "handheld" / "Probe.pdb", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
    EXPECT_EQ(HotSync("", u"read"), 0U);
    EXPECT_THAT(Notes(), Contains("read of " + std::to_string(count)));
    others.insert(Calls().size() - count);
  }
  EXPECT_EQ(others.size(), 1U);
  EXPECT_LT(*others.begin(), 20U);
}

TEST_F(HotSyncTest, CancelEndsTheConduitAndLeavesALine) {
  ASSERT_EQ(Simulate(u"/addconduit PrBe Pylon.cPalmSync Probe"), 0U);
  Process session(Quoted(Simulator()) + u" /sync " + Quoted(home() / "handheld.ini"),
                  {{u"PYLON_PROBE", u"cancel"}, {u"PYLON_PROBE_OUT", u"NUL"}}, home() / "said.txt");
  HWND window = nullptr;
  ASSERT_TRUE(testing::WaitUntil([&] {
    for (const DWORD process : testing::ProcessesOf(program())) {
      window = testing::FindWindowOf(process, L"Pylon.frmStatus");
    }
    return window != nullptr;
  }));
  ::PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
  EXPECT_EQ(session.Wait().value_or(99), 1U);
  EXPECT_THAT(SessionLog(), IsSupersetOf({"Probe & Co: Sync cancelled by the user.",
                                          "Probe: failed, it says so itself"}));
}

TEST_F(HotSyncTest, HotSyncAsksAndConfiguresAConduit) {
  AddMemos();
  ASSERT_EQ(Simulate(u"/addconduit none Pylon.cPalmSync Nobody"), 0U);
  for (const char* library : {"/second", ""}) {
    SCOPED_TRACE(library);
    ASSERT_EQ(Simulate(u"/regserver " + FromUtf8(library)), 0U);
    ExpectServerEnds();
    EXPECT_EQ(Simulate(u"/info memo"), 0U);
    EXPECT_THAT(Said(), ElementsAre("Name: Memos", "MFC version: 268435456", "Default action: 0",
                                    "Version: 1.0"));
    for (const char16_t* command : {u"/configure", u"/cfg"}) {
      SCOPED_TRACE(ToUtf8(command));
      ExpectServerEnds();
      EXPECT_EQ(Simulate(std::u16string(command) + u" none"), 2U);
      // Wine loses the words of an error on its way to another process.
      EXPECT_THAT(Said(), Contains(AnyOf(HasSubstr("No conduit is registered for the creator id"),
                                         HasSubstr("800A0005"))));
      ExpectServerEnds();
      Process asking(Quoted(Simulator()) + u" " + command + u" memo /ini " +
                     Quoted(home() / "handheld.ini"));
      DWORD server = 0;
      ASSERT_TRUE(testing::WaitUntil([&] {
        for (const DWORD process : testing::ProcessesOf(program())) {
          if (testing::FindWindowOf(process, L"#32770")) server = process;
        }
        return server != 0;
      }));
      EXPECT_TRUE(asking.running());
      testing::PressOk(server);
      EXPECT_EQ(asking.Wait().value_or(99), 0U);
    }
  }
}

TEST_F(HotSyncTest, WhatIsInstalledRunsUntilItIsUninstalled) {
  const testing::SimulatedHotSync& hot_sync = hot_sync_;
  hot_sync_.AddUser(L"Palm User");
  Write("New.txt", "New");
  Process install(Quoted(program()) + u" -AppId Memos -install");
  const auto box = testing::WaitForMessageBox(install.id());
  ASSERT_TRUE(box);
  EXPECT_EQ(ToUtf8(box->text), "ActiveSync is not Installed.");
  testing::PressOk(install.id());
  EXPECT_EQ(install.Wait().value_or(99), 0U);
  EXPECT_EQ(hot_sync.Calls("CmInstallCreator"), 1);

  EXPECT_EQ(HotSync(), 0U);
  EXPECT_THAT(SessionLog(), Contains("OK Memos"));
  ExpectOnBothSides({"New"});

  EXPECT_EQ(Process(Quoted(program()) + u" -AppId Memos -uninstall").Wait(), 0U);
  EXPECT_EQ(HotSync(), 0U);
  EXPECT_THAT(SessionLog(), Not(Contains("OK Memos")));
}

}  // namespace
}  // namespace pylon

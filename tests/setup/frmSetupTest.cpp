#include "setup/frmSetup.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "conduits/CConduitInfo.h"
#include "conduits/IniStoreFile.h"
#include "conduits/cConduitList.h"
#include "files/ProgramFiles.h"
#include "setup/ConduitInstaller.h"
#include "setup/SyncCommand.h"
#include "setup/WindowsSetupServices.h"
#include "setup/cActiveSync.h"
#include "setup/cHotSync.h"
#include "sync/frmStatus.h"
#include "tests/files/TempFolder.h"
#include "tests/setup/ActiveSyncRegistry.h"
#include "tests/setup/CommandReport.h"
#include "tests/setup/SetupDesk.h"

namespace pylon {
namespace {

using namespace testing;
using Registry = ActiveSyncRegistry;

constexpr wchar_t kLayoutKey[] = L"Software\\Pylon\\Setup";

constexpr wchar_t kSyncVariable[] = L"PYLON_TEST_SYNC";

// Started again as long as the variable is set, this program is a sync that goes on until it is
// cancelled in its own status window, and then ends with the variable's value.
const bool kIsNoSync = [] {
  wchar_t code[8] = L"";
  if (!::GetEnvironmentVariableW(kSyncVariable, code, 8)) return true;
  bool cancelled = false;
  frmStatus status;
  status.on_cancel = [&cancelled] { cancelled = true; };
  status.Create();
  status.ShowForm();
  for (int i = 0; i < 3000 && !cancelled; ++i) {
    status.ProcessEvents();
    ::Sleep(10);
  }
  std::_Exit(cancelled ? ::_wtoi(code) : 0);
}();

// This PC's own services, seen by a user who may be no administrator.
struct Services final : WindowsSetupServices {
  using WindowsSetupServices::WindowsSetupServices;
  bool NeedsElevation(SyncSystem system) const override {
    return plain_user && system == SyncSystem::kActiveSync;
  }
  StepReport Install(SyncSystem system, std::u16string_view app_id) override {
    if (broken) throw AutomationError(51, {}, u"the registry is gone");
    return WindowsSetupServices::Install(system, app_id);
  }

  bool plain_user = false;
  bool broken = false;
};

struct SetupWindow : ::testing::Test {
  static void SetUpTestSuite() { UseRealPixels(); }
  void SetUp() override {
    SKIP_WITHOUT_DRAWING();
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kLayoutKey);
  }
  void TearDown() override {
    window.reset();
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kLayoutKey);
  }

  // Writes the settings file; each one is a second younger than the one before.
  void Settings(const std::string& text) {
    folder.Write(u"Pylon.ini", text);
    time += std::chrono::seconds(1);
    std::filesystem::last_write_time(folder.File(u"Pylon.ini"), time);
  }
  void Open(const std::string& settings,
            cConduitList::Reading reading = cConduitList::Reading::kNow) {
    if (!settings.empty()) Settings(settings);
    window.reset();
    list = std::make_unique<cConduitList>(folder.path(), factory, code_page, reading);
    installer = std::make_unique<ConduitInstaller>(*list, active_sync, hot_sync);
    services = std::make_unique<Services>(active_sync, *installer);
    window = std::make_unique<frmSetup>(
        frmSetup::With{*list, factory, *services, code_page, ProgramPath(), folder.path()});
    window->on_close = [this] { ++closed; };
    window->Show();
  }
  HWND handle() const { return window->handle(); }
  HWND Control(int id) const { return ::GetDlgItem(handle(), id); }
  std::u16string Text(int id) const { return TextIn(handle(), id); }
  std::u16string Cell(int row, int column) const {
    return CellOf(Control(frmSetup::kList), row, column);
  }
  int Rows() const { return ListView_GetItemCount(Control(frmSetup::kList)); }
  int Selected() const { return ListView_GetNextItem(Control(frmSetup::kList), -1, LVNI_SELECTED); }
  void Select(int row) {
    ListView_SetItemState(Control(frmSetup::kList), row, LVIS_SELECTED, LVIS_SELECTED);
  }
  void PressF5() { Press(*window, Control(frmSetup::kList), VK_F5); }
  const TempFolder folder;
  std::filesystem::file_time_type time = std::filesystem::file_time_type::clock::now();
  const AnsiCodePage& code_page = AnsiCodePage::Windows1252();
  FakeFactory factory;
  std::unique_ptr<cConduitList> list;
  cActiveSync active_sync{u"C:\\Pylon.exe", AnsiCodePage::Windows1252()};
  cHotSync hot_sync{u"C:\\Pylon.exe", AnsiCodePage::Windows1252()};
  std::unique_ptr<ConduitInstaller> installer;
  std::unique_ptr<Services> services;
  std::unique_ptr<frmSetup> window;
  int closed = 0;
};

constexpr char kTwo[] = "[Memos]\r\nClassID=Lib.Memos\r\n[My App]\r\nClassID=Lib.App\r\n";

TEST_F(SetupWindow, IsThereBeforeItListsTheConduits) {
  Open(kTwo, cConduitList::Reading::kLater);
  EXPECT_EQ(factory.created, 0);
  EXPECT_TRUE(::IsWindowVisible(handle()));
  EXPECT_FALSE(::IsWindowVisible(Control(frmSetup::kHint))) << "there may be conduits";
  Pump(*window);
  ASSERT_EQ(Rows(), 2);
  const char16_t* const cells[] = {u"The Lib.App", u"1.2", u"Somebody", u"My App", u"", u"Ready"};
  for (int column = 0; column < 6; ++column) EXPECT_EQ(Cell(1, column), cells[column]) << column;
  EXPECT_FALSE(::IsWindowVisible(Control(frmSetup::kHint)));
  EXPECT_EQ(Text(frmSetup::kFile), u"Settings file: " + list->FileName());
  EXPECT_EQ(Text(frmSetup::kName), u"The Lib.Memos 1.2 by Somebody");
  CConduitInfo info(IniStoreFiles(code_page));
  info.SetAppFolder(list->PCFolder(2));
  ASSERT_TRUE(info.SetSyncDateTime(36'526.75));
  PressF5();
  EXPECT_EQ(Cell(1, 4), u"2000-01-01 18:00:00");
  EXPECT_EQ(Cell(0, 4), u"");
  Select(1);
  EXPECT_EQ(Text(frmSetup::kName), u"The Lib.App 1.2 by Somebody");

  // One that can't be loaded is greyed, with the reason.
  Open("[Gone]\r\nClassID=No.Such\r\n[Bare]\r\n");
  EXPECT_EQ(Cell(0, 0), u"No Longer Compatible");
  EXPECT_EQ(Cell(0, 5), u"Can't be loaded: no such class");
  EXPECT_EQ(Cell(1, 5), u"Has no ClassID in the settings file");
  EXPECT_EQ(Text(frmSetup::kName), u"Gone. Can't be loaded: no such class");
  EXPECT_FALSE(Enabled(handle(), frmSetup::kSync));
  EXPECT_TRUE(Enabled(handle(), frmSetup::kRemove));
  EXPECT_EQ(ColourOf(Control(frmSetup::kList), 0), ::GetSysColor(COLOR_GRAYTEXT));
}

TEST_F(SetupWindow, WithoutConduitsItTellsHowToRegisterOneOrThatTheFileCantBeRead) {
  Open("");
  EXPECT_FALSE(::IsWindowVisible(Control(frmSetup::kList)));
  EXPECT_TRUE(::IsWindowVisible(Control(frmSetup::kHint)));
  EXPECT_EQ(Text(frmSetup::kName), u"No conduit is selected.");
  for (const int id : {frmSetup::kSync, frmSetup::kRemove, frmSetup::kLog, frmSetup::kFolder}) {
    EXPECT_FALSE(Enabled(handle(), id)) << id;
  }
  for (const int id : {frmSetup::kSync, frmSetup::kLog, frmSetup::kRemove}) {  // by key
    ::SendMessageW(handle(), WM_COMMAND, static_cast<WPARAM>(id), 0);
  }
  Settings(kTwo);
  PressF5();
  EXPECT_TRUE(::IsWindowVisible(Control(frmSetup::kList)));
  EXPECT_FALSE(::IsWindowVisible(Control(frmSetup::kHint)));
  EXPECT_TRUE(Enabled(handle(), frmSetup::kSync));

  {
    const Holder holder(list->FileName());
    PressF5();
  }
  EXPECT_TRUE(::IsWindowVisible(Control(frmSetup::kHint)));
  const std::u16string hint = Text(frmSetup::kHint);
  EXPECT_NE(hint.find(list->LoadError()), std::u16string::npos);
  EXPECT_EQ(hint.find(u"No conduits"), std::u16string::npos);
  const BoxAnswer answer;
  Click(handle(), frmSetup::kAdd);
  EXPECT_TRUE(answer.Has(list->LoadError())) << ToUtf8(answer.text());
  EXPECT_EQ(window->add_window(), nullptr);
  PressF5();
  EXPECT_EQ(Rows(), 2);
}

TEST_F(SetupWindow, ReadsAChangedFileWhenTheUserComesBack) {
  Open(kTwo);
  Select(1);
  const int before = factory.created;
  const auto come_back = [this] {
    ::SendMessageW(handle(), WM_ACTIVATE, WA_ACTIVE, 0);
    Pump(*window);
  };
  come_back();
  EXPECT_EQ(factory.created, before);
  Settings("[New]\r\nClassID=Lib.New\r\n[Memos]\r\n[My App]\r\nClassID=Lib.App\r\n");
  come_back();
  ASSERT_EQ(Rows(), 3);
  EXPECT_EQ(Cell(0, 3), u"New");
  EXPECT_EQ(Selected(), 2);  // still My App
  come_back();
  EXPECT_EQ(factory.created, before + 2);

  // While the list was being read.
  ::SetActiveWindow(handle());
  const int first = factory.created + 1;
  factory.on_create = [this, first] {
    if (factory.created != first) return;
    Settings(kTwo);
    ::SendMessageW(handle(), WM_ACTIVATE, WA_ACTIVE, 0);
  };
  PressF5();
  EXPECT_EQ(Rows(), 2);
}

TEST_F(SetupWindow, StaysInOneStateWhileComponentsPumpMessages) {
  Open(kTwo);
  const int before = factory.created;
  factory.on_create = [this] {
    Click(handle(), frmSetup::kAdd);
    PressF5();
  };
  PressF5();
  EXPECT_EQ(factory.created, before + 2);
  EXPECT_EQ(window->add_window(), nullptr);
  EXPECT_EQ(Rows(), 2);

  // Cancel ends the reading of a long list.
  const int before_cancel = factory.created;
  factory.on_create = [this] {
    EXPECT_EQ(::GetFocus(), Control(frmSetup::kCancel));
    ::PostMessageW(::GetFocus(), WM_KEYDOWN, VK_ESCAPE, 1);
  };
  ::SetFocus(Control(frmSetup::kList));
  PressF5();
  EXPECT_EQ(::GetFocus(), Control(frmSetup::kList));
  EXPECT_EQ(factory.created, before_cancel + 1);
  EXPECT_EQ(Cell(0, 5), u"Ready");
  EXPECT_EQ(Cell(1, 5), u"Can't be loaded: not asked, because the reading was cancelled");
  EXPECT_EQ(Text(frmSetup::kStatus), u"Reading was cancelled. F5 reads the rest.");
  factory.on_create = [] {};
  PressF5();
  EXPECT_EQ(Cell(1, 5), u"Ready");

  // Too late to spare a conduit the question, but no wish to close the window.
  const int last = factory.created + 2;
  factory.on_create = [this, last] {
    if (factory.created == last) ::PostMessageW(::GetFocus(), WM_KEYDOWN, VK_ESCAPE, 1);
  };
  PressF5();
  EXPECT_EQ(Text(frmSetup::kStatus), u"Ready");
  EXPECT_EQ(closed, 0);

  // The end of work takes the focus from no other window.
  Click(handle(), frmSetup::kLog);
  const HWND log = window->log_window()->handle();
  ::SetFocus(Control(frmSetup::kReload));
  factory.on_create = [log] { ::SetActiveWindow(log); };
  PressF5();
  EXPECT_EQ(::GetActiveWindow(), log);
  ::SetActiveWindow(handle());
  EXPECT_EQ(::GetFocus(), Control(frmSetup::kReload));

  factory.on_create = [this] { ::SendMessageW(handle(), WM_CLOSE, 0, 0); };
  PressF5();
  factory.on_create = [] {};
  Pump(*window);
  EXPECT_EQ(closed, 1) << "once the conduits have been asked";
}

TEST_F(SetupWindow, ClosesByButtonEscAndFrame) {
  const struct {
    const char* name;
    int control;  // 0: the window
    UINT message;
    WPARAM wparam;
  } ways[] = {{"the button", frmSetup::kClose, BM_CLICK, 0},
              {"Esc", frmSetup::kList, WM_KEYDOWN, VK_ESCAPE},
              {"the frame", 0, WM_CLOSE, 0}};
  for (const auto& way : ways) {
    SCOPED_TRACE(way.name);
    closed = 0;
    Open(kTwo);
    ::PostMessageW(way.control ? Control(way.control) : handle(), way.message, way.wparam, 0);
    Pump(*window);
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(handle(), nullptr);
  }
}

TEST_F(SetupWindow, SyncStartsThisProgramAndTellsHowItEnded) {
  const std::string simulated =
      "[Pylon]\r\nSimulatedPocketPC=rapi.dll\r\nSimulatedPalm=" + ToUtf8(ProgramPath()) + "\r\n" +
      kTwo;
  Open(simulated);
  ASSERT_TRUE(Enabled(handle(), frmSetup::kSyncWith));
  const struct {
    WPARAM with;
    const char* command;
  } cases[] = {{2, "/sync /only \"memo\""},
               {1, "-AppId \"Memos\" -Database 5"},
               {0, "-AppId \"Memos\" -Database 4"}};
  for (const auto& c : cases) {
    ::SendMessageW(Control(frmSetup::kSyncWith), CB_SETCURSEL, c.with, 0);
    const CommandReport report(folder.File(u"report " + ToText(static_cast<int>(c.with))));
    PressF5();
    Click(handle(), frmSetup::kSync);
    const std::string command = report.Wait();
    EXPECT_TRUE(command.ends_with(std::string("\" ") + c.command)) << command;
  }
  Settings(kTwo);
  PressF5();
  EXPECT_FALSE(Enabled(handle(), frmSetup::kSyncWith)) << "no simulated device is set up";
  Select(1);
  const CommandReport report(folder.File(u"report.txt"));
  Press(*window, Control(frmSetup::kList), VK_RETURN);
  const std::string command = report.Wait();
  EXPECT_TRUE(command.ends_with("\" -AppId \"My App\" -Database 4")) << command;
  EXPECT_EQ(Text(frmSetup::kStatus), u"The Lib.App: sync finished.");
  EXPECT_TRUE(Enabled(handle(), frmSetup::kSync));
  EXPECT_FALSE(Enabled(handle(), frmSetup::kCancel));

  Settings("[-x]\r\nClassID=Lib.X\r\n");
  PressF5();
  const BoxAnswer answer;
  Click(handle(), frmSetup::kSync);
  EXPECT_TRUE(answer.Has(u"begins with '-'")) << ToUtf8(answer.text());
}

bool busy_as_expected = false;
void CALLBACK CheckBusyAndPressEscape(HWND, UINT, UINT_PTR, DWORD) {
  const HWND setup = ::FindWindowW(L"Pylon.frmSetup", nullptr);
  busy_as_expected = Enabled(setup, frmSetup::kCancel) && !Enabled(setup, frmSetup::kSync) &&
                     !Enabled(setup, frmSetup::kClose) && !Enabled(setup, frmSetup::kAdd) &&
                     ::IsWindowVisible(::GetDlgItem(setup, frmSetup::kProgress));
  ::PostMessageW(::GetDlgItem(setup, frmSetup::kCancel), WM_KEYDOWN, VK_ESCAPE, 1);
}

TEST_F(SetupWindow, CancelEndsASyncByTheSyncsOwnCancel) {
  Open("[Pylon]\r\nSimulatedPalm=" + ToUtf8(ProgramPath()) + "\r\n" + kTwo);
  frmStatus other;  // some other sync's, which is none of ours
  bool other_cancelled = false;
  other.on_cancel = [&other_cancelled] { other_cancelled = true; };
  other.Create();
  const struct {
    const wchar_t* code;
    WPARAM with;  // 0 the PC's files, 1 the simulated handheld
    const char16_t* status;
  } cases[] = {{L"2", 0, u"The Lib.Memos: sync cancelled."},
               {L"1", 1, u"The Lib.Memos: sync cancelled."},
               {L"2", 1, u"It could not be done."}};
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(FromWide(c.code)));
    ::SendMessageW(Control(frmSetup::kSyncWith), CB_SETCURSEL, c.with, 0);
    busy_as_expected = false;
    const UINT_PTR timer = ::SetTimer(nullptr, 0, 1500, CheckBusyAndPressEscape);
    ::SetEnvironmentVariableW(kSyncVariable, c.code);
    const BoxAnswer answer;
    Click(handle(), frmSetup::kSync);
    ::SetEnvironmentVariableW(kSyncVariable, nullptr);
    ::KillTimer(nullptr, timer);
    EXPECT_TRUE(busy_as_expected);
    EXPECT_EQ(Text(frmSetup::kStatus), c.status);
    EXPECT_FALSE(::IsWindowVisible(Control(frmSetup::kProgress)));
    EXPECT_EQ(closed, 0) << "Esc meant the sync";
    EXPECT_FALSE(other_cancelled);
  }
}

TEST_F(SetupWindow, InstallsAndRemovesForActiveSyncAndTurnsGuestModeOnAndOff) {
  Registry registry;
  SKIP_WITH_ACTIVESYNC(registry);
  Open(kTwo);
  EXPECT_EQ(Text(frmSetup::kPcActiveSync), u"ActiveSync is not on this PC.");
  EXPECT_FALSE(Enabled(handle(), frmSetup::kGuestMode));
  registry.Install(u"C:\\CEAPPMGR.EXE");
  PressF5();
  for (const bool installed : {false, true, false}) {
    EXPECT_EQ(Text(frmSetup::kActiveSyncState), installed ? u"Installed" : u"Not installed");
    EXPECT_EQ(Registry::Conduit(L"Memos") != Registry::kMissing, installed);
    EXPECT_NE(Enabled(handle(), frmSetup::kInstallActiveSync), installed);
    EXPECT_EQ(Enabled(handle(), frmSetup::kRemoveActiveSync), installed);
    Click(handle(), installed ? frmSetup::kRemoveActiveSync : frmSetup::kInstallActiveSync);
  }
  Click(handle(), frmSetup::kRemoveActiveSync);
  EXPECT_EQ(Text(frmSetup::kGuestMode), u"Turn &guest mode on");
  Click(handle(), frmSetup::kGuestMode);
  EXPECT_TRUE(active_sync.GuestMode());
  EXPECT_EQ(Text(frmSetup::kGuestMode), u"Turn &guest mode off");
  Click(handle(), frmSetup::kGuestMode);
  EXPECT_FALSE(active_sync.GuestMode());
  EXPECT_EQ(Text(frmSetup::kPcActiveSync), u"ActiveSync is on this PC. Guest mode is off.");

  services->broken = true;
  {
    const BoxAnswer answer;
    Click(handle(), frmSetup::kInstallActiveSync);
    EXPECT_TRUE(answer.Has(u"the registry is gone")) << ToUtf8(answer.text());
  }

  // What needs an administrator runs as a step of its own.
  services->plain_user = true;
  PressF5();
  const std::pair<int, const char*> steps[] = {
      {frmSetup::kInstallActiveSync, "-AppId \"Memos\" -install -system ActiveSync"},
      {frmSetup::kGuestMode, "-guestmode on"}};
  for (const auto& [button, arguments] : steps) {
    const CommandReport report(folder.File(u"report " + ToText(button)));
    Click(handle(), button);
    const std::string command = report.Wait();
    EXPECT_TRUE(command.ends_with(std::string("\" ") + arguments)) << command;
    EXPECT_EQ(Text(frmSetup::kStatus), u"Done.");
  }
  EXPECT_EQ(Registry::Conduit(L"Memos"), Registry::kMissing) << "not by this process";
  EXPECT_FALSE(active_sync.GuestMode());
}

// By Pylon.exe itself, which answers with its exit code.
TEST_F(SetupWindow, SuchAStepIsDoneByTheProgram) {
  Registry registry;
  SKIP_WITH_ACTIVESYNC(registry);
  registry.Install(u"C:\\CEAPPMGR.EXE");
  Settings(kTwo);
  const std::u16string program = folder.File(u"Pylon.exe");
  std::filesystem::copy_file("Pylon.exe", program);
  const BoxAnswer answer;
  const auto run = [&](const std::u16string& arguments) {
    const WaitResult result =
        ProgramAndWait(program, u"\"" + program + u"\" " + arguments, DispatchWaiting);
    return result.end == WaitEnd::kEnded ? result.code : 99;
  };
  EXPECT_EQ(run(u"-AppId \"My App\" -install -system activesync"), 0U);
  EXPECT_NE(Registry::Conduit(L"My App"), Registry::kMissing);
  EXPECT_EQ(run(u"-AppId \"My App\" -uninstall -system ActiveSync"), 0U);
  EXPECT_EQ(Registry::Conduit(L"My App"), Registry::kMissing);
  for (const bool on : {true, false}) {
    EXPECT_EQ(run(GuestModeArguments(on)), 0U);
    EXPECT_EQ(active_sync.GuestMode(), on);
  }
  EXPECT_EQ(answer.text(), u"") << "nothing to say";
  EXPECT_EQ(run(u"-AppId Nobody -install -system ActiveSync"), 1U);
  EXPECT_TRUE(answer.Has(u"'Nobody' is not registered with Pyln.")) << ToUtf8(answer.text());
}

TEST_F(SetupWindow, ConfiguresByTheComponentAndTellsOfAFolderThatIsNotThereYet) {
  Open("[A]\r\nClassID=Lib.A\r\n[B]\r\nClassID=Lib.Broken\r\n");
  for (const int id : {frmSetup::kFolder, frmSetup::kDatabases}) {
    const BoxAnswer answer;
    Click(handle(), id);
    EXPECT_TRUE(answer.Has(u"\\A")) << ToUtf8(answer.text());
  }
  const int before = FakeComponent::configured;
  Click(handle(), frmSetup::kConfigure);
  EXPECT_EQ(FakeComponent::configured, before + 1);
  Select(1);
  const BoxAnswer answer;
  Click(handle(), frmSetup::kConfigure);
  EXPECT_TRUE(answer.Has(u"no settings today")) << ToUtf8(answer.text());
}

TEST_F(SetupWindow, AddsAConduitAndSelectsIt) {
  Open("; mine\r\n[Memos]\r\nClassID=Lib.Memos\r\n");
  Press(*window, Control(frmSetup::kList), 'N', VK_CONTROL);
  ASSERT_TRUE(window->add_window());
  const HWND add = window->add_window()->handle();
  EXPECT_FALSE(::IsWindowEnabled(handle()));
  Type(add, frmAddConduit::kClass, u"Lib.New");
  Press(*window, ::GetDlgItem(add, frmAddConduit::kAppId), VK_RETURN);
  EXPECT_FALSE(::IsWindow(add));
  EXPECT_TRUE(::IsWindowEnabled(handle()));
  EXPECT_EQ(folder.Read(u"Pylon.ini"),
            "; mine\r\n[Memos]\r\nClassID=Lib.Memos\r\n\r\n[The LibNew]\r\nClassID=Lib.New\r\n");
  ASSERT_EQ(Rows(), 2);
  EXPECT_EQ(Selected(), 1);
  EXPECT_EQ(Cell(1, 3), u"The LibNew");
}

TEST_F(SetupWindow, RemovesTheSectionAndNothingElseAndTheSelectionStaysInItsPlace) {
  Open(std::string("; mine\r\n") + kTwo);
  std::filesystem::create_directory(folder.File(u"Memos"));
  {
    const BoxAnswer answer(IDNO);
    Press(*window, Control(frmSetup::kList), VK_DELETE);
    EXPECT_TRUE(answer.Has(u"Its data stays")) << ToUtf8(answer.text());
    EXPECT_EQ(Rows(), 2);
  }
  const BoxAnswer answer(IDYES);
  Click(handle(), frmSetup::kRemove);
  EXPECT_EQ(folder.Read(u"Pylon.ini"), "; mine\r\n[My App]\r\nClassID=Lib.App\r\n");
  ASSERT_EQ(Rows(), 1);
  EXPECT_EQ(Cell(0, 3), u"My App");
  EXPECT_TRUE(folder.Exists(u"Memos"));

  Settings("[A]\r\nClassID=L.A\r\n[B]\r\nClassID=L.B\r\n[]\r\n[A]\r\n[C]\r\nClassID=L.C\r\n");
  PressF5();
  for (const int row : {3, 2, 1}) {
    Select(row);
    PressF5();
    EXPECT_EQ(Selected(), row);
  }
  Click(handle(), frmSetup::kRemove);
  EXPECT_EQ(Rows(), 4);
  EXPECT_EQ(Selected(), 1) << "the one behind it";
}

TEST_F(SetupWindow, ShowsTheLogAndAbout) {
  Open(kTwo);
  Press(*window, Control(frmSetup::kList), 'L', VK_CONTROL);
  ASSERT_TRUE(window->log_window());
  EXPECT_EQ(TextOf(window->log_window()->handle()), u"Log of The Lib.Memos");
  EXPECT_TRUE(::IsWindowEnabled(handle())) << "both are used side by side";
  // Enter is the focused button's, however it came by the focus.
  ::SetFocus(Control(frmSetup::kAbout));
  Press(*window, Control(frmSetup::kAbout), VK_RETURN);
  const HWND about = ::FindWindowW(L"Pylon.frmAbout", nullptr);
  ASSERT_TRUE(about);
  EXPECT_FALSE(::IsWindowEnabled(handle()));
  Press(*window, ::GetDlgItem(about, frmAbout::kOk), VK_ESCAPE);
  EXPECT_FALSE(::IsWindow(about));
  EXPECT_TRUE(::IsWindowEnabled(handle()));
}

TEST_F(SetupWindow, ColumnsAndSizeAreKeptAndFitOnTheScreen) {
  Open(kTwo);
  ListView_SetColumnWidth(Control(frmSetup::kList), 1, 123);
  ::SetWindowPos(handle(), nullptr, 0, 0, 900, 700, SWP_NOMOVE | SWP_NOZORDER);
  RECT before = {};
  ::GetClientRect(handle(), &before);
  Open("");
  RECT after = {};
  ::GetClientRect(handle(), &after);
  EXPECT_EQ(ListView_GetColumnWidth(Control(frmSetup::kList), 1), 123);
  EXPECT_EQ(after.right, before.right);
  EXPECT_EQ(after.bottom, before.bottom);

  // Over the whole screen columns are the user's as well, and the size is the one to restore.
  ::ShowWindow(handle(), SW_MAXIMIZE);
  ListView_SetColumnWidth(Control(frmSetup::kList), 1, 99);
  HDITEMW wide = {};
  wide.mask = HDI_WIDTH;
  wide.cxy = 2000;
  NMHEADERW drag = {{ListView_GetHeader(Control(frmSetup::kList)), 0, HDN_ENDTRACKW}, 5, 0, &wide};
  ::SendMessageW(handle(), WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&drag));
  Open("");
  ::GetClientRect(handle(), &after);
  EXPECT_EQ(ListView_GetColumnWidth(Control(frmSetup::kList), 1), 99);
  EXPECT_EQ(ListView_GetColumnWidth(Control(frmSetup::kList), 5), 2000);
  EXPECT_EQ(after.right, before.right);
  EXPECT_EQ(after.bottom, before.bottom);
  ChangeDpi(handle(), 192);
  EXPECT_EQ(ListView_GetColumnWidth(Control(frmSetup::kList), 1), 198);

  // What was kept on a larger screen, or by nobody.
  for (const wchar_t* kept : {L"3900 3900 99 99 99 99 99 0", L"junk"}) {
    const auto size = static_cast<DWORD>((std::wcslen(kept) + 1) * sizeof(wchar_t));
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kLayoutKey, L"Layout", REG_SZ, kept, size);
    Open(kTwo);
    RECT outer = {};
    RECT area = {};
    ::GetWindowRect(handle(), &outer);
    ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    EXPECT_LE(outer.right, area.right);
    EXPECT_LE(outer.bottom, area.bottom);
  }
}

TEST_F(SetupWindow, TheTabKeyGoesFromTopToBottomAndALabelsKeyToWhatItNames) {
  Open(std::string("[Pylon]\r\nSimulatedPocketPC=rapi.dll\r\n") + kTwo);
  ::SetFocus(Control(frmSetup::kList));
  ::PostMessageW(Control(frmSetup::kList), WM_SYSCHAR, L'w', 1 << 29);
  Pump(*window);
  EXPECT_EQ(::GetDlgCtrlID(::GetFocus()), frmSetup::kSyncWith);
  Settings(kTwo);
  PressF5();
  using S = frmSetup;
  EXPECT_EQ(TabOrder(handle()), (std::vector<int>{S::kList, S::kAdd, S::kRemove, S::kEdit,
                                                  S::kReload, S::kAbout, S::kSync, S::kConfigure,
                                                  S::kFolder, S::kLog, S::kDatabases, S::kClose}));
}

TEST_F(SetupWindow, IsTidyAtEveryDpiWithNoneOneAndManyConduits) {
  std::string many;
  for (int i = 0; i < 200; ++i) {
    many += "[App " + std::to_string(i) + "]\r\nClassID=Lib.A" + std::to_string(i) + "\r\n";
  }
  for (const std::string& settings : {std::string(), std::string("[A]\r\nClassID=L.A\r\n"), many}) {
    Open(settings);
    SCOPED_TRACE(std::to_string(Rows()) + " conduits");
    for (const SIZE size : {SIZE{800, 600}, {740, 560}, {1200, 800}}) {
      ExpectTidyAtEveryDpi(handle(), size);
    }
  }
  Press(*window, Control(frmSetup::kList), VK_END);
  EXPECT_EQ(Selected(), 199);
}

}  // namespace
}  // namespace pylon

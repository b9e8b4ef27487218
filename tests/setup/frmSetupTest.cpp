#include "setup/frmSetup.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/Text.h"
#include "conduits/cConduitList.h"
#include "setup/cActiveSync.h"
#include "setup/cHotSync.h"
#include "tests/setup/CommandReport.h"
#include "tests/sync/Desktop.h"

namespace pylon {
namespace {

using namespace testing_windows;

struct FakeComponent final : ConduitComponent {
  explicit FakeComponent(std::u16string class_id) : name(std::move(class_id)) {}
  std::u16string GetConduitInfo(eConduitType type) override {
    if (type == ctApplicationName) return u"The " + name;
    if (type == ctVersion) return u"1.2";
    return type == ctAuthor ? u"Somebody" : u"";
  }
  void BeginSynchronize(const std::shared_ptr<oSyncInfo>&) override {}
  void ConfigureConduit() override {}
  void SynchronizeClose() override {}
  std::u16string name;
};

struct FakeFactory final : ComponentFactory {
  Result Create(std::u16string_view class_id) override {
    ++created;
    on_create();
    Result result;
    result.component = std::make_unique<FakeComponent>(std::u16string(class_id));
    return result;
  }
  int created = 0;
  std::function<void()> on_create = [] {};
};

// What a message box says; the text of the next one, which is then answered.
std::u16string g_box_text;
void CALLBACK AnswerBox(HWND, UINT, UINT_PTR timer, DWORD) {
  const HWND box = ::FindWindowW(L"#32770", nullptr);
  if (!box) return;
  for (HWND part = ::GetWindow(box, GW_CHILD); part; part = ::GetWindow(part, GW_HWNDNEXT)) {
    g_box_text += TextOf(part) + u"|";
  }
  ::KillTimer(nullptr, timer);
  ::PostMessageW(box, WM_COMMAND, IDOK, 0);
}

struct SetupWindow : ::testing::Test {
  static void SetUpTestSuite() { UseRealPixels(); }
  void SetUp() override { std::filesystem::create_directories(folder); }
  void TearDown() override {
    window.reset();
    std::filesystem::remove_all(folder);
  }

  // Writes the settings file; each one is a second younger than the one before.
  void Settings(const char* text) {
    std::ofstream(folder / "Pylon.ini", std::ios::binary) << text;
    time += std::chrono::seconds(1);
    std::filesystem::last_write_time(folder / "Pylon.ini", time);
  }
  void Open(const char* settings) {
    if (settings) Settings(settings);
    list = std::make_unique<cConduitList>(FromWide(folder.wstring()), factory,
                                          AnsiCodePage::Windows1252());
    installer = std::make_unique<ConduitInstaller>(*list, active_sync, hot_sync);
    window = std::make_unique<frmSetup>(*list, *installer);
    window->on_close = [this] { ++closed; };
    window->Show();
  }
  HWND Control(int id) const { return ::GetDlgItem(window->handle(), id); }
  std::u16string Cell(int row, int column) const {
    wchar_t text[256] = L"";
    ListView_GetItemText(Control(frmSetup::kList), row, column, text, 256);
    return FromWide(text);
  }
  int Rows() const { return ListView_GetItemCount(Control(frmSetup::kList)); }
  int Selected() const { return ListView_GetNextItem(Control(frmSetup::kList), -1, LVNI_SELECTED); }
  void Select(int row) {
    ListView_SetItemState(Control(frmSetup::kList), row, LVIS_SELECTED, LVIS_SELECTED);
  }
  void Pump() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (window->TranslateDialogMessage(message)) continue;
      ::TranslateMessage(&message);
      ::DispatchMessageW(&message);
    }
  }
  void PressF5() {
    ::PostMessageW(Control(frmSetup::kList), WM_KEYDOWN, VK_F5, 0);
    Pump();
  }

  const std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                       (L"pylon setup " + std::to_wstring(::GetCurrentProcessId()));
  std::filesystem::file_time_type time = std::filesystem::file_time_type::clock::now();
  FakeFactory factory;
  std::unique_ptr<cConduitList> list;
  cActiveSync active_sync{u"C:\\Pylon.exe", AnsiCodePage::Windows1252()};
  cHotSync hot_sync{u"C:\\Pylon.exe", AnsiCodePage::Windows1252()};
  std::unique_ptr<ConduitInstaller> installer;
  std::unique_ptr<frmSetup> window;
  int closed = 0;
};

constexpr char kTwo[] = "[Memos]\r\nClassID=Lib.Memos\r\n[My App]\r\nClassID=Lib.App\r\n";

TEST_F(SetupWindow, ListsTheConduits) {
  Open(kTwo);
  EXPECT_TRUE(::IsWindowVisible(window->handle()));
  ASSERT_EQ(Rows(), 2);
  const char16_t* const cells[] = {u"The Lib.App", u"My App", u"1.2", u"Somebody", u"Lib.App"};
  for (int column = 0; column < 5; ++column) EXPECT_EQ(Cell(1, column), cells[column]) << column;
  EXPECT_FALSE(::IsWindowVisible(Control(frmSetup::kHint)));
  EXPECT_TRUE(::IsWindowEnabled(Control(frmSetup::kSync)));
  EXPECT_EQ(TextOf(Control(frmSetup::kFile)), u"Settings file: " + list->FileName());
}

TEST_F(SetupWindow, WithoutConduitsItTellsHowToRegisterOne) {
  Open(nullptr);
  EXPECT_FALSE(::IsWindowVisible(Control(frmSetup::kList)));
  EXPECT_TRUE(::IsWindowVisible(Control(frmSetup::kHint)));
  EXPECT_FALSE(::IsWindowEnabled(Control(frmSetup::kSync)));
  ::PostMessageW(window->handle(), WM_COMMAND, frmSetup::kSync, 0);  // Enter: nothing to start
  Pump();
  Settings(kTwo);
  PressF5();
  EXPECT_TRUE(::IsWindowVisible(Control(frmSetup::kList)));
  EXPECT_FALSE(::IsWindowVisible(Control(frmSetup::kHint)));
  EXPECT_TRUE(::IsWindowEnabled(Control(frmSetup::kSync)));
}

TEST_F(SetupWindow, SaysThatTheSettingsFileCantBeRead) {
  Open(kTwo);
  {
    const FileHandle held(::CreateFileW(Wide(list->FileName()), GENERIC_READ, 0, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(held);
    PressF5();
  }
  EXPECT_TRUE(::IsWindowVisible(Control(frmSetup::kHint)));
  const std::u16string hint = TextOf(Control(frmSetup::kHint));
  EXPECT_NE(hint.find(list->LoadError()), std::u16string::npos);
  EXPECT_EQ(hint.find(u"No conduits"), std::u16string::npos);
  PressF5();
  EXPECT_EQ(Rows(), 2);
}

TEST_F(SetupWindow, ReadsAChangedFileWhenTheUserComesBack) {
  Open(kTwo);
  Select(1);
  const int before = factory.created;
  const auto come_back = [this] {
    ::SendMessageW(window->handle(), WM_ACTIVATE, WA_ACTIVE, 0);
    Pump();
  };
  come_back();
  EXPECT_EQ(factory.created, before);
  Settings("[New]\r\nClassID=Lib.New\r\n[Memos]\r\n[My App]\r\nClassID=Lib.App\r\n");
  come_back();
  ASSERT_EQ(Rows(), 3);
  EXPECT_EQ(Cell(0, 1), u"New");
  EXPECT_EQ(Selected(), 2);  // still My App
  come_back();
  EXPECT_EQ(factory.created, before + 2);
}

TEST_F(SetupWindow, StaysInOneStateWhileComponentsPumpMessages) {
  Open(kTwo);
  const int before = factory.created;
  factory.on_create = [this] {
    ::SendMessageW(window->handle(), WM_CLOSE, 0, 0);
    PressF5();
  };
  PressF5();
  EXPECT_EQ(factory.created, before + 2);
  EXPECT_EQ(closed, 0);
  EXPECT_EQ(Rows(), 2);
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
    ::PostMessageW(way.control ? Control(way.control) : window->handle(), way.message, way.wparam,
                   0);
    Pump();
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(window->handle(), nullptr);
  }
}

TEST_F(SetupWindow, SyncStartsThisProgramForTheSelectedConduit) {
  Open(kTwo);
  Select(1);
  const testing::CommandReport report((folder / "report.txt").u16string());
  ::SendMessageW(Control(frmSetup::kSync), BM_CLICK, 0, 0);
  const std::string command = report.Wait();
  EXPECT_TRUE(command.ends_with("\" -AppId \"My App\" -Database 4")) << command;
}

TEST_F(SetupWindow, AConduitThatNoCommandLineCanNameIsToldOf) {
  Open("[-x]\r\nClassID=Lib.X\r\n");
  g_box_text.clear();
  ::SetTimer(nullptr, 0, 20, AnswerBox);
  ::SendMessageW(Control(frmSetup::kSync), BM_CLICK, 0, 0);
  EXPECT_NE(g_box_text.find(u"begins with '-'"), std::u16string::npos) << ToUtf8(g_box_text);
}

TEST_F(SetupWindow, IsTidyAtEveryDpi) {
  SKIP_WITHOUT_DRAWING();
  for (const char* settings : {kTwo, ""}) {
    Open(settings);
    for (const int dpi : {96, 144, 192, 96}) {
      SCOPED_TRACE(std::to_string(dpi) + " DPI" + (*settings ? "" : ", no conduits"));
      RECT rect = {0, 0, ::MulDiv(660, dpi, 96), ::MulDiv(380, dpi, 96)};
      ::SendMessageW(window->handle(), WM_DPICHANGED, static_cast<WPARAM>(MAKELONG(dpi, dpi)),
                     reinterpret_cast<LPARAM>(&rect));
      ExpectTidy(window->handle());
      for (const int id : {frmSetup::kSync, frmSetup::kEdit, frmSetup::kClose}) {
        EXPECT_TRUE(TextFits(Control(id))) << id;
      }
    }
  }
}

}  // namespace
}  // namespace pylon

#include "sync/frmStatus.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <string>

#include "base/LogSink.h"
#include "sync/oSyncInfo.h"
#include "tests/toolkit/Desktop.h"

namespace pylon {
namespace {

using namespace testing_windows;

struct StatusWindow : testing::Test {
  static void SetUpTestSuite() { UseRealPixels(); }
  void SetUp() override {
    window.Create();
    window.on_cancel = [this] {
      ++cancels;
      sync.SetCancelSync(true);
    };
  }
  HWND Control(int id) const { return ::GetDlgItem(window.handle(), id); }
  LRESULT Ask(int id, UINT message) const { return ::SendMessageW(Control(id), message, 0, 0); }
  SIZE ClientSize() const {
    RECT client = {};
    ::GetClientRect(window.handle(), &client);
    return {client.right, client.bottom};
  }

  frmStatus window;
  NullLog log;
  oSyncInfo sync{window, log};
  int cancels = 0;
};

TEST_F(StatusWindow, AppearsWithTheFirstMainLabelAndSaysWhichConduitRuns) {
  EXPECT_FALSE(::IsWindowVisible(window.handle()));
  sync.UpdateStatusDetail(u"not yet");
  EXPECT_FALSE(::IsWindowVisible(window.handle()));
  sync.UpdateStatusMain(u"Working & waiting");
  EXPECT_TRUE(::IsWindowVisible(window.handle()));
  EXPECT_EQ(TextOf(Control(frmStatus::kMainLabel)), u"Working & waiting");
  EXPECT_EQ(TextOf(Control(frmStatus::kDetailLabel)), u"");
  sync.UpdateStatusMain(u"one\r\ntwo\nthree\r");
  EXPECT_EQ(TextOf(Control(frmStatus::kMainLabel)), u"one two three ");
  window.SetHeading({u"A\nB", u"A\nB", u"A. Nyone", u"1.2", u"C:\\no such\\icon.ico"});
  EXPECT_EQ(TextOf(window.handle()), u"A B");
  EXPECT_EQ(TextOf(Control(frmStatus::kApplicationName)), u"A B");
  EXPECT_EQ(TextOf(Control(frmStatus::kAuthor)), u"Author: A. Nyone");
  EXPECT_EQ(TextOf(Control(frmStatus::kVersion)), u"Ver. 1.2");
  SKIP_WITHOUT_DRAWING();
  EXPECT_NE(::SendMessageW(window.handle(), WM_GETICON, ICON_BIG, 0), 0);
}

TEST_F(StatusWindow, EveryWayToCancelCountsOnceUntilTheNextPhase) {
  const struct {
    const char* name;
    int control;  // 0: the window
    UINT message;
    WPARAM wparam;
  } ways[] = {
      {"the button", frmStatus::kCancel, BM_CLICK, 0},
      {"Esc in the button", frmStatus::kCancel, WM_KEYDOWN, VK_ESCAPE},
      {"Esc in the window", 0, WM_KEYDOWN, VK_ESCAPE},
      {"closing", 0, WM_CLOSE, 0},
      {"the system menu", 0, WM_SYSCOMMAND, SC_CLOSE},
  };
  for (const auto& way : ways) {
    SCOPED_TRACE(way.name);
    cancels = 0;
    sync.UpdateStatusMain(u"A phase");
    EXPECT_TRUE(::IsWindowEnabled(Control(frmStatus::kCancel)));
    const HWND target = way.control ? Control(way.control) : window.handle();
    for (int i = 0; i < 3; ++i) ::PostMessageW(target, way.message, way.wparam, 0);
    EXPECT_FALSE(sync.CancelSync());
    sync.UpdateStatusDetail(u"A record");
    EXPECT_TRUE(sync.CancelSync());
    EXPECT_EQ(cancels, 1);
    EXPECT_FALSE(::IsWindowEnabled(Control(frmStatus::kCancel)));
    EXPECT_TRUE(::IsWindowVisible(window.handle()));
  }
  sync.UpdateStatusMain(u"Enter is no way");
  ::PostMessageW(Control(frmStatus::kCancel), WM_KEYDOWN, VK_RETURN, 0);
  sync.UpdateStatusDetail(u"");
  EXPECT_FALSE(sync.CancelSync());

  // The program's end is one, and stays in the queue.
  ::PostQuitMessage(7);
  sync.UpdateStatusDetail(u"");
  EXPECT_TRUE(sync.CancelSync());
  MSG message = {};
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) && message.message != WM_QUIT) {
  }
  EXPECT_EQ(message.message, static_cast<UINT>(WM_QUIT));
  EXPECT_EQ(message.wParam, 7u);
}

TEST_F(StatusWindow, LabelsAndBarsAreOnTheScreenWithoutMessages) {
  constexpr int kParts[] = {frmStatus::kMainLabel, frmStatus::kDetailLabel, frmStatus::kBar,
                            frmStatus::kFileLabel, frmStatus::kFileBar};
  sync.UpdateStatusMain(u"A phase");
  window.ShowFilePanel(true);
  window.ProcessEvents();
  // Some controls draw a new text by themselves, so each has a repaint to catch up with.
  for (const int id : kParts) ::InvalidateRect(Control(id), nullptr, TRUE);
  window.SetMainLabel(u"Another phase");
  window.SetDetailLabel(u"A record");
  window.SetBar(ProgressBar());
  window.SetFileProgress(u"MemoDB.pdb", ProgressBar());
  for (const int id : kParts) {
    EXPECT_FALSE(::GetUpdateRect(Control(id), nullptr, FALSE)) << id << " waits to be painted";
  }
}

TEST_F(StatusWindow, TheBarShowsWhatTheComponentSays) {
  sync.UpdateStatusMaxBar(70000);
  sync.UpdateStatusBarValue(65535);
  sync.UpdateStatusIncrementBar(1);
  EXPECT_EQ(Ask(frmStatus::kBar, PBM_GETPOS), 65536);
  EXPECT_EQ(::SendMessageW(Control(frmStatus::kBar), PBM_GETRANGE, FALSE, 0), 70000);
  sync.UpdateStatusMaxBar(0);
  EXPECT_EQ(Ask(frmStatus::kBar, PBM_GETPOS), 0);
  EXPECT_EQ(::SendMessageW(Control(frmStatus::kBar), PBM_GETRANGE, FALSE, 0), 1);
}

TEST_F(StatusWindow, IsTidyAtEveryDpiAndAfterMinimising) {
  SKIP_WITHOUT_DRAWING();
  window.SetHeading({u"Memos", u"Memos", u"Somebody", u"1.0", u""});
  sync.UpdateStatusMain(u"Sending records");
  SIZE at_96 = {};
  for (const int dpi : {96, 120, 144, 192, 96}) {
    for (const bool panel : {false, true}) {
      SCOPED_TRACE(std::to_string(dpi) + " DPI" + (panel ? ", with the panel" : ""));
      window.ShowFilePanel(panel);
      ChangeDpi(window.handle(), dpi);
      EXPECT_EQ(window.dpi(), dpi);
      ExpectTidy(window.handle());
      EXPECT_TRUE(TextFits(Control(frmStatus::kCancel)));
      EXPECT_TRUE(TextFits(Control(frmStatus::kApplicationName)));
      EXPECT_TRUE(TextFits(Control(frmStatus::kMainLabel)));
      EXPECT_EQ(!!::IsWindowVisible(Control(frmStatus::kFileBar)), panel);
      const SIZE size = ClientSize();
      if (dpi == 96 && !panel) at_96 = size;
      if (!panel) {
        EXPECT_EQ(size.cx, ::MulDiv(at_96.cx, dpi, 96));
        // Line heights grow as the font has them, not in step with the DPI.
        EXPECT_NEAR(size.cy, ::MulDiv(at_96.cy, dpi, 96), dpi / 6);
      }
    }
  }

  // A minimised window stays so and takes its size when it is restored.
  window.ShowFilePanel(false);
  const SIZE before = ClientSize();
  ::ShowWindow(window.handle(), SW_MINIMIZE);
  window.ShowFilePanel(true);
  sync.UpdateStatusMain(u"Another phase");
  EXPECT_TRUE(::IsIconic(window.handle()));
  ::ShowWindow(window.handle(), SW_RESTORE);
  EXPECT_GT(ClientSize().cy, before.cy);
  ExpectTidy(window.handle());
}

TEST(StatusWindowLife, WithoutAWindowNothingHappens) {
  frmStatus window;
  window.ShowForm();
  window.SetHeading({});
  window.SetMainLabel(u"m");
  window.SetBar(ProgressBar());
  window.EnableCancel(false);
  window.ShowFilePanel(true);
  window.SetFileProgress(u"f", ProgressBar());
  window.ProcessEvents();
  EXPECT_EQ(window.handle(), nullptr);
  window.Create();  // and takes over what it was told
  EXPECT_FALSE(::IsWindowEnabled(::GetDlgItem(window.handle(), frmStatus::kCancel)));
  EXPECT_TRUE(::GetWindowLongPtrW(::GetDlgItem(window.handle(), frmStatus::kFileBar), GWL_STYLE) &
              WS_VISIBLE);
}

}  // namespace
}  // namespace pylon

#include "setup/frmLogView.h"

#include <gtest/gtest.h>

#include <chrono>

#include "base/Text.h"
#include "sync/CLog.h"
#include "tests/files/TempFolder.h"
#include "tests/setup/SetupDesk.h"

namespace pylon {
namespace {

using namespace testing;

struct LogWindow : ::testing::Test {
  void SetUp() override { SKIP_WITHOUT_DRAWING(); }
  static void SetUpTestSuite() { UseRealPixels(); }

  void Log(const std::u16string& device, std::initializer_list<const char16_t*> lines) {
    CLog log(folder.path(), code_page, clock, nullptr);
    log.SetDeviceName(device);
    log.SetAppId(u"My App");
    for (const char16_t* line : lines) log.UpdateLog(line);
  }
  HWND handle() const { return window.handle(); }
  HWND List() const { return ::GetDlgItem(handle(), frmLogView::kList); }
  int Rows() const { return ListView_GetItemCount(List()); }
  std::u16string Cell(int row, int column) const { return CellOf(List(), row, column); }
  std::u16string Clipboard() const {
    std::u16string text;
    if (!::OpenClipboard(nullptr)) return u"no clipboard";
    if (const HANDLE data = ::GetClipboardData(CF_UNICODETEXT)) {
      text = FromWide(static_cast<const wchar_t*>(::GlobalLock(data)));
      ::GlobalUnlock(data);
    }
    ::CloseClipboard();
    return text;
  }
  void Filter(const std::u16string& text) {
    const std::u16string before = TextIn(handle(), frmLogView::kInfo);
    Type(handle(), frmLogView::kFilter, text);
    PumpUntil(window, [&] { return TextIn(handle(), frmLogView::kInfo) != before; });
  }

  const TempFolder folder;
  const AnsiCodePage& code_page = AnsiCodePage::Windows1252();
  SystemClock clock;
  frmLogView window{folder.path(), code_page};
};

TEST_F(LogWindow, ShowsFiltersAndCopiesTheLinesNewestLast) {
  Log(u"Mary", {u"Begin Sync", u"Conduit Error: 5 (X) bad", u"Sync Finished"});
  window.Show(u"My App", u"The App");
  EXPECT_EQ(TextOf(handle()), u"Log of The App");
  ASSERT_EQ(Rows(), 3);
  EXPECT_EQ(Cell(2, 1), u"Sync Finished");
  EXPECT_GT(Cell(0, 0).size(), 7U) << "a time";
  EXPECT_EQ(TextIn(handle(), frmLogView::kInfo), u"3 lines, 1 with errors");
  EXPECT_EQ(ColourOf(List(), 0), RGB(0, 0, 0));
  EXPECT_NE(ColourOf(List(), 1), RGB(0, 0, 0)) << "an error";

  Filter(u"SYNC");
  ASSERT_EQ(Rows(), 2);
  EXPECT_EQ(Cell(1, 1), u"Sync Finished");
  EXPECT_EQ(TextIn(handle(), frmLogView::kInfo), u"2 lines shown");
  Filter(u"");
  EXPECT_EQ(Rows(), 3);
  ListView_SetItemState(List(), 2, LVIS_SELECTED, LVIS_SELECTED);
  Press(window, List(), 'C', VK_CONTROL);
  EXPECT_EQ(Clipboard(), Cell(2, 0) + u"\tSync Finished\r\n");
  Press(window, List(), 'A', VK_CONTROL);
  Click(handle(), frmLogView::kCopy);
  EXPECT_TRUE(Clipboard().ends_with(u"\tSync Finished\r\n"));
  EXPECT_TRUE(Clipboard().find(u"\tBegin Sync\r\n") < 40);

  Log(u"Mary", {u"Begin Sync"});
  ::SetFocus(List());
  Press(window, List(), VK_F5);
  EXPECT_EQ(Rows(), 4);
  EXPECT_EQ(::GetFocus(), List());
  Press(window, List(), 'F', VK_CONTROL);
  EXPECT_EQ(::GetFocus(), ::GetDlgItem(handle(), frmLogView::kFilter));
  EXPECT_EQ(TabOrder(handle()),
            (std::vector<int>{frmLogView::kFilter, frmLogView::kList, frmLogView::kCopy,
                              frmLogView::kReload, frmLogView::kOpenFile, frmLogView::kClose}));

  // A long line can be scrolled to its end.
  RECT list = {};
  ::GetClientRect(List(), &list);
  const auto scrolls = [&] {
    return ListView_GetColumnWidth(List(), 0) + ListView_GetColumnWidth(List(), 1) > list.right;
  };
  EXPECT_FALSE(scrolls());
  Log(u"Mary", {std::u16string(250, u'w').c_str()});
  Press(window, List(), VK_F5);
  EXPECT_TRUE(scrolls());
  Press(window, List(), VK_ESCAPE);
  EXPECT_EQ(handle(), nullptr);
}

TEST_F(LogWindow, EachDeviceHasItsOwn) {
  window.Show(u"My App", u"");
  EXPECT_EQ(Rows(), 0);
  EXPECT_EQ(TextIn(handle(), frmLogView::kInfo),
            u"This conduit has no log yet: it has not been synced.");
  EXPECT_FALSE(Enabled(handle(), frmLogView::kCopy));
  Log(u"Mary", {u"of Mary"});
  Log(u"Palm", {u"of a Palm", u"second"});
  Click(handle(), frmLogView::kReload);
  const HWND combo = ::GetDlgItem(handle(), frmLogView::kDevice);
  ASSERT_EQ(::SendMessageW(combo, CB_GETCOUNT, 0, 0), 2);
  for (const char16_t* device : {u"Mary", u"Palm"}) {
    ::SendMessageW(combo, CB_SELECTSTRING, static_cast<WPARAM>(-1),
                   reinterpret_cast<LPARAM>(device));
    ::SendMessageW(handle(), WM_COMMAND, MAKELONG(frmLogView::kDevice, CBN_SELCHANGE),
                   reinterpret_cast<LPARAM>(combo));
    EXPECT_NE(Cell(0, 1).find(device), std::u16string::npos);
  }
  ExpectTidyAtEveryDpi(handle(), {560, 320});
}

TEST_F(LogWindow, ALargeLogShowsItsEndAtOnce) {
  Log(u"Mary", {u"the very first"});
  std::string text = folder.Read(u"My App\\Mary\\My App.log");
  while (text.size() < (100U << 20)) text += "1.1.2026 10:00\ta line of a long log\r\n";
  folder.Write(u"My App\\Mary\\My App.log", text + "1.1.2026 10:01\tthe last\r\n");
  window.Show(u"My App", u"");
  EXPECT_GT(Rows(), 100'000);
  EXPECT_EQ(Cell(Rows() - 1, 1), u"the last");
  EXPECT_EQ(Cell(0, 1), u"a line of a long log") << "no half line";
  EXPECT_NE(TextIn(handle(), frmLogView::kInfo).find(u"are not shown"), std::u16string::npos);
  Filter(u"the last");
  EXPECT_EQ(Rows(), 1);
}

}  // namespace
}  // namespace pylon

#include "sync/frmLog.h"

#include <gtest/gtest.h>

#include <string>

#include "base/Text.h"
#include "tests/toolkit/Desktop.h"

namespace pylon {
namespace {

using namespace testing_windows;

struct LogWindow : testing::Test {
  static void SetUpTestSuite() { UseRealPixels(); }
  HWND List() const { return ::GetDlgItem(window.handle(), frmLog::kList); }
  LRESULT Ask(UINT message, WPARAM wparam = 0) const {
    return ::SendMessageW(List(), message, wparam, 0);
  }
  std::u16string Line(int index) const {
    const auto i = static_cast<WPARAM>(index);
    std::wstring text(static_cast<size_t>(Ask(LB_GETTEXTLEN, i)), L'\0');
    ::SendMessageW(List(), LB_GETTEXT, i, reinterpret_cast<LPARAM>(text.data()));
    return FromWide(text);
  }

  frmLog window;
};

TEST_F(LogWindow, ListsTheNewestNinetyNineLines) {
  window.ShowLog(true);
  EXPECT_TRUE(::IsWindowVisible(window.handle()));
  for (int i = 1; i <= 150; ++i) {
    window.AddLine(u"now\tline " + ToText(i));
    EXPECT_EQ(Ask(LB_GETCURSEL), Ask(LB_GETCOUNT) - 1);
  }
  EXPECT_EQ(Ask(LB_GETCOUNT), 99);
  EXPECT_EQ(Line(0), u"now\tline 52");
  EXPECT_EQ(Line(98), u"now\tline 150");
  EXPECT_FALSE(::GetUpdateRect(List(), nullptr, FALSE));
}

TEST_F(LogWindow, ALineIsOneEntryAndTheListFillsTheWindowAtEveryDpi) {
  SKIP_WITHOUT_DRAWING();
  window.ShowLog(true);
  window.AddLine(u"one\r\ntwo");
  EXPECT_EQ(Line(0), u"one two");
  const LRESULT narrow = Ask(LB_GETHORIZONTALEXTENT);
  window.AddLine(u"now\t" + std::u16string(20000, u'W'));
  EXPECT_GT(Ask(LB_GETHORIZONTALEXTENT), 100000);
  for (int i = 0; i < 99; ++i) window.AddLine(u"one two");
  EXPECT_EQ(Ask(LB_GETHORIZONTALEXTENT), narrow);
  LRESULT height = 0;
  for (const int dpi : {96, 144, 192}) {
    ChangeDpi(window.handle(), dpi);
    ExpectTidy(window.handle());
    EXPECT_GT(Ask(LB_GETITEMHEIGHT), height) << dpi;
    height = Ask(LB_GETITEMHEIGHT);
  }
}

TEST_F(LogWindow, ClosingHidesItAndUnloadingEmptiesIt) {
  window.AddLine(u"before the window");
  EXPECT_EQ(window.handle(), nullptr);
  window.ShowLog(true);
  window.AddLine(u"one");
  ::SendMessageW(window.handle(), WM_CLOSE, 0, 0);
  EXPECT_FALSE(::IsWindowVisible(window.handle()));
  window.AddLine(u"two");
  window.ShowLog(true);
  EXPECT_TRUE(::IsWindowVisible(window.handle()));
  EXPECT_EQ(Ask(LB_GETCOUNT), 2);
  window.ShowLog(false);
  EXPECT_EQ(window.handle(), nullptr);
  window.AddLine(u"three");
  window.ShowLog(true);
  EXPECT_EQ(Ask(LB_GETCOUNT), 0);
}

}  // namespace
}  // namespace pylon

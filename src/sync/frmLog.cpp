#include "sync/frmLog.h"

#include <algorithm>

#include "toolkit/Fonts.h"

namespace pylon {
namespace {

constexpr wchar_t kTitle[] = L"Pylon Log";

constexpr int kWidth = 560;  // units
constexpr int kHeight = 320;
constexpr int kLeastWidth = 240;
constexpr int kLeastHeight = 120;
constexpr int kTab = 140;       // where the text after date and time begins
constexpr int kTextMargin = 8;  // behind the widest line

}  // namespace

frmLog::~frmLog() { Destroy(); }

void frmLog::ShowLog(bool show) {
  if (!show) {
    Destroy();
    return;
  }
  Create({L"Pylon.frmLog", WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, WS_EX_APPWINDOW, COLOR_WINDOW},
         kTitle);
  ::ShowWindow(handle(), SW_SHOWNOACTIVATE);
}

void frmLog::AddLine(const std::u16string& line) {
  if (!handle()) return;
  std::u16string text = OneLine(line);
  const int width = Measure(text);
  const HWND list = List();
  // One repaint for what is up to four changes.
  ::SendMessageW(list, WM_SETREDRAW, FALSE, 0);
  ::SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(Wide(text)));
  if (lines_.Add(std::move(text), width)) ::SendMessageW(list, LB_DELETESTRING, 0, 0);
  SetExtent();
  ::SendMessageW(list, LB_SETCURSEL, lines_.size() - 1, 0);
  ::SendMessageW(list, WM_SETREDRAW, TRUE, 0);
  ::RedrawWindow(list, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_FRAME);
}

LRESULT frmLog::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_DESTROY:
      lines_.Clear();
      return 0;
    case WM_GETMINMAXINFO:
      reinterpret_cast<MINMAXINFO*>(lparam)->ptMinTrackSize = {Scaled(kLeastWidth),
                                                               Scaled(kLeastHeight)};
      return 0;
    case WM_SETFOCUS:
      ::SetFocus(List());
      return 0;
    case WM_CLOSE:
      ::ShowWindow(handle(), SW_HIDE);
      return 0;
    default:
      return Form::OnMessage(message, wparam, lparam);
  }
}

void frmLog::AddControls() {
  AddControl(L"LISTBOX", L"",
             WS_VSCROLL | WS_HSCROLL | LBS_NOINTEGRALHEIGHT | LBS_USETABSTOPS | LBS_HASSTRINGS,
             kList);
}

void frmLog::OnReady() { SetOuterSize({Scaled(kWidth), Scaled(kHeight)}); }

Layout frmLog::Arrangement() const { return Layout::Control(kList, Layout::kRest, Layout::kRest); }

void frmLog::OnDpi() {
  const HWND list = List();
  ::SendMessageW(list, LB_SETITEMHEIGHT, 0, Line() + Scaled(2));
  // List boxes take tab stops in quarters of an average character of their own font.
  const int average = AverageCharacterWidth(font());
  const int tab = ::MulDiv(Scaled(kTab), 4, std::max(average, 1));
  ::SendMessageW(list, LB_SETTABSTOPS, 1, reinterpret_cast<LPARAM>(&tab));
  lines_.Measure([this](const std::u16string& line) { return Measure(line); });
  SetExtent();
}

int frmLog::Measure(const std::u16string& line) const {
  return TextWidth(line) + Scaled(kTab);  // a tab takes at most that much
}

void frmLog::SetExtent() const {
  const int extent = lines_.Widest() + Scaled(kTextMargin);
  ::SendMessageW(List(), LB_SETHORIZONTALEXTENT, static_cast<WPARAM>(extent), 0);
}

}  // namespace pylon

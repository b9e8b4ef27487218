#include "sync/frmStatus.h"

#include <commctrl.h>

#include "toolkit/ConduitIcon.h"

namespace pylon {
namespace {

// The window's own texts; all others come from the conduit.
constexpr wchar_t kTitle[] = L"Pylon";
constexpr wchar_t kCancelText[] = L"Cancel";
constexpr char16_t kAuthorPrefix[] = u"Author: ";
constexpr char16_t kVersionPrefix[] = u"Ver. ";

constexpr int kTitlePercent = 125;  // of the message font
constexpr DWORD kLabelStyle = SS_LEFT | SS_NOPREFIX | SS_ENDELLIPSIS;

RECT ToRect(const Box& box) noexcept { return {box.x, box.y, box.right(), box.bottom()}; }

}  // namespace

frmStatus::~frmStatus() { Destroy(); }

void frmStatus::Create() {
  const INITCOMMONCONTROLSEX controls = {sizeof(controls),
                                         ICC_PROGRESS_CLASS | ICC_STANDARD_CLASSES};
  ::InitCommonControlsEx(&controls);
  Window::Create(
      {kClassName, WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX | WS_CLIPCHILDREN,
       WS_EX_APPWINDOW | WS_EX_CONTROLPARENT, COLOR_WINDOW},
      kTitle);
}

void frmStatus::OnCreate() {
  for (const ControlId label :
       {kApplicationName, kAuthor, kVersion, kMainLabel, kDetailLabel, kFileLabel}) {
    AddControl(L"STATIC", L"", kLabelStyle, label);
  }
  AddControl(PROGRESS_CLASSW, L"", PBS_SMOOTH, kBar);
  AddControl(PROGRESS_CLASSW, L"", PBS_SMOOTH, kFileBar);
  // No default button: Enter, pressed for some other window, must not cancel a sync.
  AddControl(L"BUTTON", kCancelText, BS_PUSHBUTTON | WS_TABSTOP, kCancel);
  ShowBar(kBar, ProgressBar());
  ShowBar(kFileBar, ProgressBar());
  EnableCancel(cancel_enabled_);
  TakeFonts();
  TakeIcons();
  Arrange();
  CentreOnWorkArea();
}

void frmStatus::ShowForm() {
  if (!handle() || ::IsWindowVisible(handle())) return;
  ::ShowWindow(handle(), SW_SHOWNORMAL);
  ::RedrawWindow(handle(), nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
}

void frmStatus::SetHeading(const StatusHeading& heading) {
  if (!handle()) return;
  ::SetWindowTextW(handle(), Wide(OneLine(heading.title)));
  SetLabel(kApplicationName, heading.application_name);
  SetLabel(kAuthor, kAuthorPrefix + heading.author);
  SetLabel(kVersion, kVersionPrefix + heading.version);
  icon_text_ = heading.icon;
  TakeIcons();
  ::UpdateWindow(handle());
}

void frmStatus::SetMainLabel(std::u16string_view text) { SetLabel(kMainLabel, text); }

void frmStatus::SetDetailLabel(std::u16string_view text) { SetLabel(kDetailLabel, text); }

void frmStatus::SetBar(const ProgressBar& bar) { ShowBar(kBar, bar); }

void frmStatus::EnableCancel(bool enable) {
  cancel_enabled_ = enable;
  if (!handle()) return;
  const HWND button = Control(kCancel);
  // A disabled control that has the focus would swallow every key.
  if (!enable && ::GetFocus() == button) ::SetFocus(handle());
  ::EnableWindow(button, enable);
  ::EnableMenuItem(::GetSystemMenu(handle(), FALSE), SC_CLOSE,
                   MF_BYCOMMAND | (enable ? MF_ENABLED : MF_GRAYED));
  if (enable && ::GetFocus() == handle()) ::SetFocus(button);
}

void frmStatus::ProcessEvents() {
  const bool go_on = PumpMessages(
      [this](MSG& message) { return handle() && ::IsDialogMessageW(handle(), &message); });
  if (!go_on) OnCancel();
}

void frmStatus::ShowFilePanel(bool show) {
  if (file_panel_ == show) return;
  file_panel_ = show;
  if (handle()) Arrange();
}

void frmStatus::SetFileProgress(std::u16string_view label, const ProgressBar& bar) {
  SetLabel(kFileLabel, label);
  ShowBar(kFileBar, bar);
}

LRESULT frmStatus::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_CREATE:
      OnCreate();
      return 0;
    case WM_PAINT:
      OnPaint();
      return 0;
    case WM_SIZE:
      if (wparam == SIZE_RESTORED) FitToLayout();
      return 0;
    case WM_SETFOCUS:
      if (cancel_enabled_) ::SetFocus(Control(kCancel));
      return 0;
    case WM_COMMAND:
      if (LOWORD(wparam) == kCancel) OnCancel();
      return 0;
    case WM_CLOSE:
      OnCancel();
      return 0;
    case WM_DPICHANGED:
      OnDpiChanged(HIWORD(wparam), *reinterpret_cast<const RECT*>(lparam));
      return 0;
    case WM_SETTINGCHANGE:  // the message font may be another one
      TakeFonts();
      Arrange();
      return 0;
    case WM_CTLCOLORSTATIC: {
      const HDC dc = reinterpret_cast<HDC>(wparam);
      ::SetTextColor(dc, ::GetSysColor(COLOR_WINDOWTEXT));
      ::SetBkColor(dc, ::GetSysColor(COLOR_WINDOW));
      return reinterpret_cast<LRESULT>(::GetSysColorBrush(COLOR_WINDOW));
    }
    case WM_CTLCOLORBTN:
      return reinterpret_cast<LRESULT>(::GetSysColorBrush(COLOR_BTNFACE));
    default:
      return ::DefWindowProcW(handle(), message, wparam, lparam);
  }
}

void frmStatus::OnPaint() {
  PAINTSTRUCT paint;
  const HDC dc = ::BeginPaint(handle(), &paint);
  const RECT footer = ToRect(layout_.footer);
  ::FillRect(dc, &footer, ::GetSysColorBrush(COLOR_BTNFACE));
  RECT line = ToRect(layout_.separator);
  ::FillRect(dc, &line, ::GetSysColorBrush(COLOR_3DLIGHT));
  ::OffsetRect(&line, 0, footer.top - line.top);
  ::FillRect(dc, &line, ::GetSysColorBrush(COLOR_3DLIGHT));
  const Box& icon = layout_.icon;
  ::DrawIconEx(dc, icon.x, icon.y, large_icon(), icon.width, icon.height, 0, nullptr, DI_NORMAL);
  ::EndPaint(handle(), &paint);
}

void frmStatus::OnDpiChanged(int dpi, const RECT& suggested) {
  MoveToDpi(dpi, suggested);
  TakeFonts();
  TakeIcons();
  Arrange();
}

void frmStatus::OnCancel() {
  if (!cancel_enabled_) return;
  EnableCancel(false);
  if (on_cancel) on_cancel();
}

void frmStatus::SetLabel(ControlId id, std::u16string_view text) {
  if (!handle()) return;
  const HWND label = Control(id);
  ::SetWindowTextW(label, Wide(OneLine(text)));
  ::UpdateWindow(label);
}

void frmStatus::ShowBar(ControlId id, const ProgressBar& bar) {
  if (!handle()) return;
  const HWND control = Control(id);
  ::SendMessageW(control, PBM_SETRANGE32, 0, bar.maximum());
  ::SendMessageW(control, PBM_SETPOS, static_cast<WPARAM>(bar.value()), 0);
  ::UpdateWindow(control);
}

void frmStatus::TakeFonts() {
  Font font = MessageFont(dpi());
  Font title_font = MessageFont(dpi(), kTitlePercent, true);
  for (const ControlId id : {kAuthor, kVersion, kMainLabel, kDetailLabel, kFileLabel, kCancel}) {
    ::SendMessageW(Control(id), WM_SETFONT, reinterpret_cast<WPARAM>(font.get()), TRUE);
  }
  ::SendMessageW(Control(kApplicationName), WM_SETFONT, reinterpret_cast<WPARAM>(title_font.get()),
                 TRUE);
  // Only now that no control draws with them do the old ones go.
  font_ = std::move(font);
  title_font_ = std::move(title_font);
}

void frmStatus::TakeIcons() {
  SetIcons(ConduitIcon(icon_text_, Scaled(32)), ConduitIcon(icon_text_, Scaled(16)));
  const RECT place = ToRect(layout_.icon);
  ::InvalidateRect(handle(), &place, TRUE);
}

void frmStatus::Arrange() {
  layout_ =
      StatusLayout(dpi(), LineHeight(font_.get()), LineHeight(title_font_.get()), file_panel_);
  Place(kApplicationName, layout_.application_name);
  Place(kAuthor, layout_.author);
  Place(kVersion, layout_.version);
  Place(kMainLabel, layout_.main_label);
  Place(kDetailLabel, layout_.detail_label);
  Place(kBar, layout_.bar);
  Place(kFileLabel, layout_.file_label);
  Place(kFileBar, layout_.file_bar);
  Place(kCancel, layout_.cancel);
  for (const ControlId id : {kFileLabel, kFileBar}) {
    ::ShowWindow(Control(id), file_panel_ ? SW_SHOWNA : SW_HIDE);
  }
  FitToLayout();
  ::RedrawWindow(handle(), nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
}

void frmStatus::FitToLayout() {
  // A minimised window takes its size when it is restored.
  if (::IsIconic(handle())) return;
  RECT client = {};
  ::GetClientRect(handle(), &client);
  if (client.right == layout_.client.width && client.bottom == layout_.client.height) return;
  SetOuterSize(OuterSize({layout_.client.width, layout_.client.height}));
}

void frmStatus::Place(ControlId id, const Box& box) {
  ::SetWindowPos(Control(id), nullptr, box.x, box.y, box.width, box.height,
                 SWP_NOZORDER | SWP_NOACTIVATE);
}

}  // namespace pylon

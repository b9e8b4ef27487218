#include "sync/frmStatus.h"

#include <commctrl.h>

#include <algorithm>

#include "toolkit/ConduitIcon.h"
#include "toolkit/Fonts.h"

namespace pylon {
namespace {

// The window's own texts; all others come from the conduit.
constexpr wchar_t kTitle[] = L"Pylon";
constexpr wchar_t kCancelText[] = L"Cancel";
constexpr char16_t kAuthorPrefix[] = u"Author: ";
constexpr char16_t kVersionPrefix[] = u"Ver. ";

constexpr int kTitlePercent = 125;  // of the message font

// Units of 1/96 inch.
constexpr int kWidth = 420;
constexpr int kMargin = 16;
constexpr int kIconSize = 32;
constexpr int kIconGap = 12;
constexpr int kLineGap = 2;
constexpr int kGap = 8;
constexpr int kBarHeight = 16;
constexpr int kFileBarHeight = 10;
constexpr int kFooterMargin = 10;
constexpr int kButtonWidth = 88;
constexpr int kButtonHeight = 26;
constexpr int kButtonPadding = 6;  // above and below the button's text, for large fonts

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

void frmStatus::AddControls() {
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
}

void frmStatus::OnDpi() {
  Font font = MessageFont(dpi(), kTitlePercent, true);
  SetFont(kApplicationName, font.get());
  title_font_ = std::move(font);
}

void frmStatus::OnReady() {
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
  SetIcons();
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
  const bool running = PumpMessages(
      [this](MSG& message) { return handle() && ::IsDialogMessageW(handle(), &message); });
  if (!running) OnCancel();
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
    case WM_CTLCOLORSTATIC: {
      const HDC dc = reinterpret_cast<HDC>(wparam);
      ::SetTextColor(dc, ::GetSysColor(COLOR_WINDOWTEXT));
      ::SetBkColor(dc, ::GetSysColor(COLOR_WINDOW));
      return reinterpret_cast<LRESULT>(::GetSysColorBrush(COLOR_WINDOW));
    }
    case WM_CTLCOLORBTN:
      return reinterpret_cast<LRESULT>(::GetSysColorBrush(COLOR_BTNFACE));
    default:
      return Form::OnMessage(message, wparam, lparam);
  }
}

void frmStatus::OnPaint() {
  PAINTSTRUCT paint;
  const HDC dc = ::BeginPaint(handle(), &paint);
  const RECT footer = ToRect(footer_);
  ::FillRect(dc, &footer, ::GetSysColorBrush(COLOR_BTNFACE));
  RECT line = ToRect(separator_);
  ::FillRect(dc, &line, ::GetSysColorBrush(COLOR_3DLIGHT));
  ::OffsetRect(&line, 0, footer.top - line.top);
  ::FillRect(dc, &line, ::GetSysColorBrush(COLOR_3DLIGHT));
  ::DrawIconEx(dc, icon_.x, icon_.y, large_icon(), icon_.width, icon_.height, 0, nullptr,
               DI_NORMAL);
  ::EndPaint(handle(), &paint);
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

void frmStatus::SetIcons() {
  Window::SetIcons(ConduitIcon(icon_text_, Scaled(32)), ConduitIcon(icon_text_, Scaled(16)));
  const RECT place = ToRect(icon_);
  ::InvalidateRect(handle(), &place, TRUE);
}

// A header with the icon and three lines, below it the labels and bars, and the band of the button.
Layout frmStatus::Arrangement() const {
  using L = Layout;
  const int margin = Scaled(kMargin);
  const int line = Line();
  const int line_gap = Scaled(kLineGap);
  const auto label = [](ControlId id, int height) { return L::Control(id, L::kRest, height); };
  const L header = L::Row(
      Scaled(kIconGap),
      {L::Column(0, {L::Space(line_gap), L::Control(kIcon, Scaled(kIconSize), Scaled(kIconSize))}),
       L::Column(0, {label(kApplicationName, LineHeight(title_font_.get())), L::Space(line_gap),
                     label(kAuthor, line), label(kVersion, line)})});
  std::vector<L> body = {label(kMainLabel, line), L::Space(line_gap), label(kDetailLabel, line),
                         L::Space(Scaled(kGap)), label(kBar, Scaled(kBarHeight))};
  if (file_panel_) {
    body.insert(body.end(), {L::Space(margin), label(kFileLabel, line), L::Space(2 * line_gap),
                             label(kFileBar, Scaled(kFileBarHeight))});
  }
  const int button_height = std::max(Scaled(kButtonHeight), line + 2 * Scaled(kButtonPadding));
  const int footer = Scaled(kFooterMargin);
  const L button =
      L::Row(0, {L::Space(L::kRest), L::Control(kCancel, Scaled(kButtonWidth), button_height)});
  return L::Column(
      0, {header.Within(margin), L::Control(kSeparator, Scaled(kWidth), std::max(1, Scaled(1))),
          L::Column(0, std::move(body)).Within(margin),
          button.Within(kFooter, {margin, footer, margin, footer})});
}

void frmStatus::Arrange() {
  const Layout layout = Arrangement();
  client_ = {Scaled(kWidth), layout.size().height};
  const Box box = {0, 0, client_.cx, client_.cy};
  PlaceControls(layout, box);
  layout.Place(box, [this](int id, const Box& place) {
    if (id == kIcon) icon_ = place;
    if (id == kSeparator) separator_ = place;
    if (id == kFooter) footer_ = place;
  });
  for (const ControlId id : {kFileLabel, kFileBar}) {
    ::ShowWindow(Control(id), file_panel_ ? SW_SHOWNA : SW_HIDE);
  }
  FitToLayout();
  Redraw();
}

void frmStatus::FitToLayout() {
  // A minimised window takes its size when it is restored.
  if (::IsIconic(handle())) return;
  const SIZE client = Client();
  if (client.cx == client_.cx && client.cy == client_.cy) return;
  SetOuterSize(OuterSize(client_));
}

}  // namespace pylon

#include "setup/SetupForm.h"

#include <algorithm>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "setup/Strings.h"
#include "setup/Texts.h"

namespace pylon {
namespace {

// Units.
constexpr int kButtonWidth = 84;
constexpr int kButtonHeight = 26;
constexpr int kButtonPadding = 12;  // each side of the text

bool IsPushButton(HWND control) noexcept {
  return (::SendMessageW(control, WM_GETDLGCODE, 0, 0) &
          (DLGC_DEFPUSHBUTTON | DLGC_UNDEFPUSHBUTTON)) != 0;
}

}  // namespace

SetupForm::~SetupForm() {
  if (owner_) ::EnableWindow(owner_, TRUE);
}

void SetupForm::Open(const Shape& shape, const std::u16string& title, HWND owner) {
  if (handle()) return;
  const INITCOMMONCONTROLSEX controls = {
      sizeof(controls), ICC_LISTVIEW_CLASSES | ICC_STANDARD_CLASSES | ICC_PROGRESS_CLASS};
  ::InitCommonControlsEx(&controls);
  shape_ = shape;
  focus_ = nullptr;
  keys_ = shape.accelerators ? ::LoadAcceleratorsW(::GetModuleHandleW(nullptr),
                                                   MAKEINTRESOURCEW(shape.accelerators))
                             : nullptr;
  const DWORD frame =
      shape.least.cx ? WS_OVERLAPPEDWINDOW : WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU;
  // Not WS_CLIPCHILDREN: a group box leaves its ground to the window behind it.
  Window::Create({shape.class_name, frame,
                  static_cast<DWORD>(WS_EX_CONTROLPARENT) |
                      (owner ? static_cast<DWORD>(WS_EX_DLGMODALFRAME) : WS_EX_APPWINDOW),
                  COLOR_BTNFACE},
                 Wide(title), owner);
  owner_ = owner;
  if (owner_) ::EnableWindow(owner_, FALSE);
}

void SetupForm::ShowOnTop() {
  ::ShowWindow(handle(), ::IsIconic(handle()) ? SW_RESTORE : SW_SHOWNORMAL);
  ::SetForegroundWindow(handle());
}

void SetupForm::Close() {
  // Before the window goes, or the system activates some other program's.
  if (owner_) ::EnableWindow(owner_, TRUE);
  owner_ = nullptr;
  Destroy();
  if (const auto closed = on_close) closed();
}

bool SetupForm::TranslateDialogMessage(MSG& message) {
  if (!handle()) return false;
  const bool ours = message.hwnd == handle() || ::IsChild(handle(), message.hwnd);
  if (!ours) return false;
  if (keys_ && ::TranslateAcceleratorW(handle(), keys_, &message)) return true;
  // Enter is the button's that has the focus, which the system grants only one that it gave the
  // focus itself.
  if (message.message == WM_KEYDOWN && message.wParam == VK_RETURN && IsPushButton(message.hwnd)) {
    ::SendMessageW(handle(), WM_COMMAND, MAKEWPARAM(::GetDlgCtrlID(message.hwnd), BN_CLICKED),
                   reinterpret_cast<LPARAM>(message.hwnd));
    return true;
  }
  return ::IsDialogMessageW(handle(), &message) != FALSE;
}

LRESULT SetupForm::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_GETMINMAXINFO:
      if (shape_.least.cx) {
        const SIZE least = OnWorkArea({Scaled(shape_.least.cx), Scaled(shape_.least.cy)});
        reinterpret_cast<MINMAXINFO*>(lparam)->ptMinTrackSize = {least.cx, least.cy};
      }
      return 0;
    case WM_ACTIVATE:
      if (LOWORD(wparam) == WA_INACTIVE && ::IsChild(handle(), ::GetFocus())) {
        focus_ = ::GetFocus();
      }
      break;
    case WM_SETFOCUS: {
      const bool back = focus_ && ::IsChild(handle(), focus_) && ::IsWindowEnabled(focus_) &&
                        ::IsWindowVisible(focus_);
      ::SetFocus(back ? focus_ : ::GetNextDlgTabItem(handle(), nullptr, FALSE));
      return 0;
    }
    case WM_NEXTDLGCTL:  // a dialog's; the access key of a label asks for it
      ::SetFocus(LOWORD(lparam) ? reinterpret_cast<HWND>(wparam)
                                : ::GetNextDlgTabItem(handle(), ::GetFocus(), wparam != 0));
      return 0;
    case DM_GETDEFID:
      return MAKELRESULT(shape_.default_button, DC_HASDEFID);
    case WM_COMMAND:
      Command(LOWORD(wparam), HIWORD(wparam));
      return 0;
    case WM_NOTIFY:
      return OnNotify(*reinterpret_cast<NMHDR*>(lparam));
    case WM_CLOSE:
      Command(IDCANCEL, 0);
      return 0;
    default:
      break;
  }
  return Form::OnMessage(message, wparam, lparam);
}

void SetupForm::OnReady() {
  SetClientSize(shape_.size);
  CentreOnWorkArea();
}

// Whatever fails at the user's command is reported to the user.
void SetupForm::Command(int id, int code) {
  try {
    OnCommand(id, code);
  } catch (...) {
    ShowError(CurrentError().description());
  }
}

HWND SetupForm::Add(const wchar_t* class_name, int text, DWORD style, int id, DWORD ex_style) {
  const std::u16string words = text ? LoadText(text) : std::u16string();
  return AddControl(class_name, Wide(words), style, id, ex_style);
}

HWND SetupForm::AddLabel(int id, int text) {
  return Add(L"STATIC", text, SS_LEFT | SS_ENDELLIPSIS | (text ? 0 : SS_NOPREFIX), id);
}

HWND SetupForm::AddButton(int id, int text, bool is_default) {
  return Add(L"BUTTON", text, WS_TABSTOP | (is_default ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON), id);
}

HWND SetupForm::AddGroup(int id, int text) { return Add(L"BUTTON", text, BS_GROUPBOX, id); }

void SetupForm::Enable(int id, bool enable) {
  const HWND control = Control(id);
  if ((::IsWindowEnabled(control) != FALSE) == enable) return;
  if (!enable && ::GetFocus() == control) {
    ::SetFocus(::GetNextDlgTabItem(handle(), control, FALSE));
  }
  if (!enable && focus_ == control) focus_ = nullptr;
  ::EnableWindow(control, enable);
}

void SetupForm::Focus(HWND control) {
  if (::GetActiveWindow() == handle()) {
    ::SetFocus(control);
  } else {
    focus_ = control;
  }
}

int SetupForm::ButtonHeight() const noexcept {
  return std::max(Scaled(kButtonHeight), Line() + Scaled(10));
}

int SetupForm::ButtonWidth(std::initializer_list<int> ids) const {
  int width = Scaled(kButtonWidth);
  for (const int id : ids) {
    width = std::max(width, TextWidth(TextOf(id)) + 2 * Scaled(kButtonPadding));
  }
  return width;
}

int SetupForm::Ask(const std::u16string& text, UINT style) const {
  return ::MessageBoxW(handle(), Wide(text), Wide(LoadText(IDS_PROGRAM)), style);
}

void SetupForm::SetClientSize(SIZE units) {
  const SIZE client = {Scaled(units.cx), Scaled(units.cy)};
  SetOuterSize(shape_.least.cx ? OnWorkArea(client) : OuterSize(client));
}

SIZE SetupForm::OnWorkArea(SIZE client) const noexcept {
  SIZE outer = OuterSize(client);
  MONITORINFO monitor = {};
  monitor.cbSize = sizeof(monitor);
  if (::GetMonitorInfoW(::MonitorFromWindow(handle(), MONITOR_DEFAULTTOPRIMARY), &monitor)) {
    const RECT& area = monitor.rcWork;
    outer = {std::min(outer.cx, area.right - area.left),
             std::min(outer.cy, area.bottom - area.top)};
  }
  return outer;
}

}  // namespace pylon

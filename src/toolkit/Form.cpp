#include "toolkit/Form.h"

#include <utility>

#include "toolkit/ConduitIcon.h"
#include "toolkit/Fonts.h"

namespace pylon {

LRESULT Form::OnMessage(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_CREATE:
      AddControls();
      TakeFont();
      SetIcons();
      OnDpi();
      OnReady();
      Arrange();
      return 0;
    case WM_SIZE:
      if (wparam != SIZE_MINIMIZED) {
        Arrange();
        Redraw();
      }
      return 0;
    case WM_DPICHANGED:
      MoveToDpi(HIWORD(wparam), *reinterpret_cast<const RECT*>(lparam));
      Refresh();
      return 0;
    case WM_SETTINGCHANGE:  // perhaps of the message font
      Refresh();
      return 0;
    default:
      return ::DefWindowProcW(handle(), message, wparam, lparam);
  }
}

void Form::Refresh() {
  TakeFont();
  SetIcons();
  OnDpi();
  Arrange();
  Redraw();
}

void Form::TakeFont() {
  Font font = MessageFont(dpi());
  for (HWND child = ::GetWindow(handle(), GW_CHILD); child;
       child = ::GetWindow(child, GW_HWNDNEXT)) {
    ::SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(font.get()), TRUE);
  }
  font_ = std::move(font);  // no control draws with the old one any more
}

void Form::SetIcons() { Window::SetIcons(ProgramIcon(Scaled(32)), ProgramIcon(Scaled(16))); }

void Form::Arrange() {
  const SIZE client = Client();
  PlaceControls(Arrangement(), {0, 0, client.cx, client.cy});
}

void Form::PlaceControls(const Layout& layout, const Box& box) {
  layout.Place(box, [this](int id, const Box& place) {
    if (const HWND control = Control(id)) {
      ::SetWindowPos(control, nullptr, place.x, place.y, place.width, place.height,
                     SWP_NOZORDER | SWP_NOACTIVATE);
    }
  });
}

void Form::Redraw() const noexcept {
  ::RedrawWindow(handle(), nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
}

void Form::SetText(int id, const std::u16string& text) {
  if (TextOf(id) != text) ::SetWindowTextW(Control(id), Wide(text));
}

std::u16string Form::TextOf(int id) const {
  const HWND control = Control(id);
  std::wstring text(static_cast<size_t>(::GetWindowTextLengthW(control)), L'\0');
  ::GetWindowTextW(control, text.data(), static_cast<int>(text.size()) + 1);
  return FromWide(text);
}

void Form::SetFont(int id, HFONT font) const noexcept {
  ::SendMessageW(Control(id), WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
}

int Form::Line() const noexcept { return LineHeight(font_.get()); }

int Form::TextWidth(std::u16string_view text) const noexcept {
  return pylon::TextWidth(font_.get(), text);
}

SIZE Form::Client() const noexcept {
  RECT client = {};
  ::GetClientRect(handle(), &client);
  return {client.right, client.bottom};
}

}  // namespace pylon

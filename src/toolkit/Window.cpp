#include "toolkit/Window.h"

#include <exception>
#include <iterator>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "toolkit/Dpi.h"

namespace pylon {
namespace {

AutomationError SystemFailure(const std::u16string& what) {
  return AutomationError(ErrorNumber::kInternal,
                         what + u" failed: " + SystemReason(::GetLastError()));
}

void RegisterOnce(const wchar_t* class_name, int background, WNDPROC proc) {
  const HINSTANCE module = ::GetModuleHandleW(nullptr);
  WNDCLASSEXW window_class = {};
  window_class.cbSize = sizeof(window_class);
  window_class.lpfnWndProc = proc;
  window_class.hInstance = module;
  window_class.hCursor = ::LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // the arrow
  window_class.hbrBackground = ::GetSysColorBrush(background);
  window_class.lpszClassName = class_name;
  if (!::RegisterClassExW(&window_class) && ::GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
    throw SystemFailure(u"Registering a window class");
  }
}

void ReportToDebugger(const char* what) noexcept {
  ::OutputDebugStringA("Pylon: an error ended a window message: ");
  ::OutputDebugStringA(what);
  ::OutputDebugStringA("\n");
}

}  // namespace

Window::~Window() {
  // The object that answers messages is gone by now.
  if (handle_) ::SetWindowLongPtrW(handle_, GWLP_USERDATA, 0);
  Destroy();
}

void Window::Create(const Style& style, const wchar_t* title, HWND owner) {
  if (handle_) return;
  RegisterOnce(style.class_name, style.background, Proc);
  if (!::CreateWindowExW(style.ex_style, style.class_name, title, style.style, CW_USEDEFAULT,
                         CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, owner, nullptr,
                         ::GetModuleHandleW(nullptr), this)) {
    throw SystemFailure(u"Creating a window");
  }
}

void Window::Destroy() noexcept {
  if (handle_) ::DestroyWindow(handle_);
}

HWND Window::AddControl(const wchar_t* class_name, const wchar_t* text, DWORD style, int id,
                        DWORD ex_style) {
  const HWND control = ::CreateWindowExW(
      ex_style, class_name, text, WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, handle_,
      reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), ::GetModuleHandleW(nullptr), nullptr);
  if (!control) throw SystemFailure(u"Creating a control");
  return control;
}

void Window::SetIcons(Icon large, Icon small) noexcept {
  ::SendMessageW(handle_, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(large.get()));
  ::SendMessageW(handle_, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(small.get()));
  large_icon_ = std::move(large);
  small_icon_ = std::move(small);
}

void Window::MoveToDpi(int dpi, const RECT& suggested) noexcept {
  dpi_ = dpi;
  ::SetWindowPos(handle_, nullptr, suggested.left, suggested.top, suggested.right - suggested.left,
                 suggested.bottom - suggested.top, SWP_NOZORDER | SWP_NOACTIVATE);
}

SIZE Window::OuterSize(SIZE client) const noexcept {
  return OuterSizeOf(client, static_cast<DWORD>(::GetWindowLongPtrW(handle_, GWL_STYLE)),
                     static_cast<DWORD>(::GetWindowLongPtrW(handle_, GWL_EXSTYLE)), dpi_);
}

void Window::SetOuterSize(SIZE outer) noexcept {
  ::SetWindowPos(handle_, nullptr, 0, 0, outer.cx, outer.cy,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void Window::CentreOnWorkArea() noexcept {
  MONITORINFO monitor = {};
  monitor.cbSize = sizeof(monitor);
  RECT window = {};
  if (!::GetMonitorInfoW(::MonitorFromWindow(handle_, MONITOR_DEFAULTTOPRIMARY), &monitor) ||
      !::GetWindowRect(handle_, &window)) {
    return;
  }
  const RECT& area = monitor.rcWork;
  const auto centred = [](LONG from, LONG to, LONG size) {
    return to - from > size ? from + (to - from - size) / 2 : from;
  };
  ::SetWindowPos(handle_, nullptr, centred(area.left, area.right, window.right - window.left),
                 centred(area.top, area.bottom, window.bottom - window.top), 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

LRESULT CALLBACK Window::Proc(HWND handle, UINT message, WPARAM wparam, LPARAM lparam) noexcept {
  if (message == WM_NCCREATE) {
    auto* created = static_cast<Window*>(reinterpret_cast<CREATESTRUCTW*>(lparam)->lpCreateParams);
    created->handle_ = handle;
    created->dpi_ = DpiOf(handle);
    ::SetWindowLongPtrW(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(created));
  }
  auto* self = reinterpret_cast<Window*>(::GetWindowLongPtrW(handle, GWLP_USERDATA));
  if (!self) return ::DefWindowProcW(handle, message, wparam, lparam);
  if (message == WM_NCDESTROY) {
    ::SetWindowLongPtrW(handle, GWLP_USERDATA, 0);
    self->handle_ = nullptr;
    return ::DefWindowProcW(handle, message, wparam, lparam);
  }
  try {
    return self->OnMessage(message, wparam, lparam);
  } catch (...) {
    ReportToDebugger(CurrentError().what());
  }
  return message == WM_CREATE ? -1 : 0;
}

bool PumpMessages(const std::function<bool(MSG&)>& take) {
  MSG message;
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      ::PostQuitMessage(static_cast<int>(message.wParam));
      return false;
    }
    if (take && take(message)) continue;
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
  return true;
}

std::u16string OneLine(std::u16string_view text) {
  std::u16string line;
  line.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n') continue;
    line += text[i] == u'\r' || text[i] == u'\n' ? u' ' : text[i];
  }
  return line;
}

}  // namespace pylon

#include "setup/LongWork.h"

#include <exception>

namespace pylon {

bool LongWork::Run(const std::function<void()>& work) {
  const HWND window = with_.form.handle();
  if (running_ || !window) return window != nullptr;
  running_ = true;
  cancels_ = 0;
  const HWND focus = ::GetFocus();
  with_.show(true);
  // A control that is disabled keeps the focus or loses it, as the system likes, and without one no
  // key reaches Cancel.
  const HWND left = ::GetFocus();
  if (focus && (!left || (left == focus && !::IsWindowEnabled(focus)))) {
    ::SetFocus(::GetDlgItem(window, with_.cancel));
  }
  ::UpdateWindow(window);
  std::exception_ptr raised;
  try {
    work();
  } catch (...) {
    raised = std::current_exception();
  }
  // A key that waited while the work took no messages was meant for it: Esc would close the window.
  Yield();
  running_ = false;
  const bool open = with_.form.handle() != nullptr;
  if (open) {
    with_.show(false);
    if (focus && ::IsWindowEnabled(focus) && ::IsChild(window, focus)) with_.form.Focus(focus);
  }
  if (raised) std::rethrow_exception(raised);
  return open;
}

void LongWork::Cancel() noexcept {
  if (running_) ++cancels_;
}

bool LongWork::Yield() { return YieldUnlessClosed() && cancels_ == 0; }

bool LongWork::YieldUnlessClosed() { return PumpMessages(with_.translate) && with_.form.handle(); }

WaitResult LongWork::RunElevated(const std::u16string& file, const std::u16string& arguments) {
  return ShellVerbAndWait(with_.form.handle(), file, arguments, u"runas", 0,
                          [this] { return Yield(); });
}

}  // namespace pylon

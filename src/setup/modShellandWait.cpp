#include "setup/modShellandWait.h"

#include <shellapi.h>

#include <cwchar>

#include "base/Text.h"
#include "setup/DayDeadline.h"
#include "setup/StartProcess.h"
#include "toolkit/Window.h"

namespace pylon {
namespace {

constexpr DWORD kStepMs = 200;

int SecondsOfDay() noexcept {
  SYSTEMTIME now = {};
  ::GetLocalTime(&now);
  return (now.wHour * 60 + now.wMinute) * 60 + now.wSecond;
}

// By the handle, not by the exit code "still active" alone, which a program may end with as well.
WaitResult Wait(const KernelHandle& process, int timeout_seconds, const WaitYield& yield) {
  DayDeadline deadline(SecondsOfDay(), timeout_seconds);
  const HANDLE handle = process.get();
  for (;;) {
    const DWORD woken =
        ::MsgWaitForMultipleObjectsEx(1, &handle, kStepMs, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    if (woken == WAIT_FAILED) return {WaitEnd::kNoProcess, ::GetLastError()};
    if (woken == WAIT_OBJECT_0) {
      DWORD code = 0;
      ::GetExitCodeProcess(handle, &code);
      return {WaitEnd::kEnded, code};
    }
    if (!yield()) return {WaitEnd::kStopped, 0};
    if (deadline.Passed(SecondsOfDay())) return {WaitEnd::kTimedOut, 0};
  }
}

}  // namespace

bool DispatchWaiting() { return PumpMessages(); }

WaitResult ShellandWait(std::u16string command_line, int timeout_seconds,
                        const std::u16string& verb, const WaitYield& yield) {
  if (ToLower(command_line).find(u".exe") == std::u16string::npos) {
    return ShellVerbAndWait(nullptr, command_line, {}, verb, timeout_seconds, yield);
  }
  const StartedProcess started = StartProcess({}, std::move(command_line));
  if (!started.process) return {WaitEnd::kNotStarted, started.error};
  return Wait(started.process, timeout_seconds, yield);
}

WaitResult ShellVerbAndWait(HWND owner, const std::u16string& file,
                            const std::u16string& parameters, const std::u16string& verb,
                            int timeout_seconds, const WaitYield& yield) {
  SHELLEXECUTEINFOW run = {};
  run.cbSize = sizeof(run);
  run.fMask = SEE_MASK_FLAG_NO_UI | SEE_MASK_NOCLOSEPROCESS | SEE_MASK_NOASYNC;
  run.hwnd = owner;
  run.lpVerb = verb.empty() ? nullptr : Wide(verb);
  run.lpFile = Wide(file);
  run.lpParameters = parameters.empty() ? nullptr : Wide(parameters);
  run.nShow = SW_SHOWNORMAL;
  if (!::ShellExecuteExW(&run)) return {WaitEnd::kNotStarted, ::GetLastError()};
  const KernelHandle process(run.hProcess);
  if (!process) return {WaitEnd::kNoProcess, 0};
  return Wait(process, timeout_seconds, yield);
}

WaitResult ProgramAndWait(const std::u16string& program, std::u16string command_line,
                          const WaitYield& yield, const std::function<void(DWORD)>& on_start) {
  const StartedProcess started = StartProcess(program, std::move(command_line), CREATE_NO_WINDOW);
  if (!started.process) return {WaitEnd::kNotStarted, started.error};
  if (on_start) on_start(started.id);
  return Wait(started.process, 0, yield);
}

}  // namespace pylon

#include "setup/StartProcess.h"

namespace pylon {

StartedProcess StartProcess(const std::u16string& program, std::u16string command_line,
                            DWORD flags) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESHOWWINDOW;
  startup.wShowWindow = SW_SHOWNORMAL;
  PROCESS_INFORMATION process = {};
  StartedProcess started;
  if (!::CreateProcessW(program.empty() ? nullptr : Wide(program),
                        reinterpret_cast<wchar_t*>(command_line.data()), nullptr, nullptr, FALSE,
                        flags, nullptr, nullptr, &startup, &process)) {
    started.error = ::GetLastError();
    return started;
  }
  const KernelHandle thread(process.hThread);
  started.process.Reset(process.hProcess);
  started.id = process.dwProcessId;
  ::AllowSetForegroundWindow(started.id);
  return started;
}

}  // namespace pylon

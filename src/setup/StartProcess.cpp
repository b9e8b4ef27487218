#include "setup/StartProcess.h"

#include "base/Win32.h"

namespace pylon {

unsigned long StartProcess(const std::u16string& program, std::u16string command_line) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESHOWWINDOW;
  startup.wShowWindow = SW_SHOWNORMAL;
  PROCESS_INFORMATION process = {};
  if (!::CreateProcessW(Wide(program), reinterpret_cast<wchar_t*>(command_line.data()), nullptr,
                        nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
    return ::GetLastError();
  }
  const KernelHandle thread(process.hThread);
  const KernelHandle whole(process.hProcess);
  return ERROR_SUCCESS;
}

}  // namespace pylon

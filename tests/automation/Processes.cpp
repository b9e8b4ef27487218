#include "tests/automation/Processes.h"

#include <tlhelp32.h>

#include <array>
#include <fstream>
#include <iterator>
#include <system_error>
#include <thread>
#include <vector>

#include "base/Text.h"
#include "simulators/common/Retries.h"

namespace pylon::testing {
namespace {

std::vector<wchar_t> Environment(const std::map<std::u16string, std::u16string>& added) {
  std::vector<wchar_t> block;
  wchar_t* const own = ::GetEnvironmentStringsW();
  for (const wchar_t* entry = own; *entry; entry += std::wstring_view(entry).size() + 1) {
    const std::wstring_view text(entry);
    block.insert(block.end(), text.begin(), text.end());
    block.push_back(L'\0');
  }
  ::FreeEnvironmentStringsW(own);
  for (const auto& [name, value] : added) {
    const std::u16string entry = name + u"=" + value;
    block.insert(block.end(), entry.begin(), entry.end());
    block.push_back(L'\0');
  }
  block.push_back(L'\0');
  return block;
}

struct Search {
  DWORD process;
  const wchar_t* window_class;
  bool visible_only;
  HWND found;
};

BOOL CALLBACK Look(HWND window, LPARAM parameter) {
  auto& search = *reinterpret_cast<Search*>(parameter);
  DWORD process = 0;
  ::GetWindowThreadProcessId(window, &process);
  std::array<wchar_t, 128> name = {};
  ::GetClassNameW(window, name.data(), static_cast<int>(name.size()));
  if (process != search.process || std::wstring_view(name.data()) != search.window_class) {
    return TRUE;
  }
  if (search.visible_only && !::IsWindowVisible(window)) return TRUE;
  search.found = window;
  return FALSE;
}

}  // namespace

bool WaitUntil(const std::function<bool()>& condition, std::chrono::seconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

Process::Process(const std::u16string& command_line,
                 const std::map<std::u16string, std::u16string>& environment,
                 const std::filesystem::path& output) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  FileHandle file;
  if (!output.empty()) {
    SECURITY_ATTRIBUTES inherit = {sizeof(inherit), nullptr, TRUE};
    file.Reset(::CreateFileW(output.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                             &inherit, CREATE_ALWAYS, 0, nullptr));
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = file.get();
  }
  std::u16string text = command_line;
  std::vector<wchar_t> block = Environment(environment);
  PROCESS_INFORMATION information = {};
  const auto start = [&] {
    return ::CreateProcessW(nullptr, const_cast<wchar_t*>(Wide(text)), nullptr, nullptr, TRUE,
                            CREATE_UNICODE_ENVIRONMENT, block.data(), nullptr, &startup,
                            &information);
  };
  // Wine under load fails once in a thousand times.
  bool started = start();
  for (int again = 2; !started && again > 0; --again) {
    RecordRetry("tests: starting a process");
    ::Sleep(100);
    started = start();
  }
  if (!started) {
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            ToUtf8(command_line));
  }
  ::CloseHandle(information.hThread);
  process_.Reset(information.hProcess);
  id_ = information.dwProcessId;
}

Process::~Process() {
  if (running()) ::TerminateProcess(process_.get(), 99);
}

bool Process::running() const noexcept {
  return ::WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT;
}

std::optional<DWORD> Process::Wait() {
  const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(kPatience);
  if (::WaitForSingleObject(process_.get(), static_cast<DWORD>(patience.count())) !=
      WAIT_OBJECT_0) {
    return std::nullopt;
  }
  DWORD code = 0;
  ::GetExitCodeProcess(process_.get(), &code);
  return code;
}

std::vector<DWORD> ProcessesOf(const std::filesystem::path& program) {
  std::vector<DWORD> processes;
  const std::u16string wanted = program.u16string();
  const FileHandle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof(entry);
  for (BOOL more = ::Process32FirstW(snapshot.get(), &entry); more;
       more = ::Process32NextW(snapshot.get(), &entry)) {
    const KernelHandle process(
        ::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID));
    std::array<wchar_t, 32'768> path = {};
    auto length = static_cast<DWORD>(path.size());
    if (::QueryFullProcessImageNameW(process.get(), 0, path.data(), &length) &&
        EqualsIgnoringCase(FromWide(path.data()), wanted)) {
      processes.push_back(entry.th32ProcessID);
    }
  }
  return processes;
}

HWND FindWindowOf(DWORD process, const wchar_t* window_class, bool visible_only) {
  Search search = {process, window_class, visible_only, nullptr};
  ::EnumWindows(Look, reinterpret_cast<LPARAM>(&search));
  return search.found;
}

std::u16string WindowText(HWND window) {
  std::vector<wchar_t> text(static_cast<size_t>(::GetWindowTextLengthW(window)) + 1);
  ::SendMessageW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
  return FromWide(text.data());
}

std::optional<MessageBoxTexts> WaitForMessageBox(DWORD process) {
  HWND box = nullptr;
  std::vector<wchar_t> text(4096);
  // The box is there before its texts are.
  const bool found = WaitUntil([&] {
    box = FindWindowOf(process, L"#32770");
    return box && ::SendDlgItemMessageW(box, 0xFFFF, WM_GETTEXT, text.size(),
                                        reinterpret_cast<LPARAM>(text.data())) > 0;
  });
  if (!found) return std::nullopt;
  return MessageBoxTexts{WindowText(box), FromWide(text.data())};
}

void PressOk(DWORD process) {
  if (const HWND box = FindWindowOf(process, L"#32770")) ::PostMessageW(box, WM_COMMAND, IDOK, 0);
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::u16string Quoted(const std::filesystem::path& path) {
  return u"\"" + path.u16string() + u"\"";
}

TemporaryFolder::TemporaryFolder() {
  static int count = 0;
  path_ = std::filesystem::temp_directory_path() /
          ("pylon-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++count));
  std::filesystem::create_directories(path_);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;  // a process that is just ending may still hold a file
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace pylon::testing

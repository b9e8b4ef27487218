#include "tests/setup/CommandReport.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include "base/Text.h"
#include "base/Win32.h"

namespace pylon::testing {
namespace {

constexpr char16_t kReportVariable[] = u"PYLON_TEST_COMMAND_REPORT";

const bool kNotTheSecondProcess = [] {
  wchar_t file[MAX_PATH] = L"";
  if (!::GetEnvironmentVariableW(Wide(kReportVariable), file, MAX_PATH)) {
    // A second process that nobody waits for any more must not run the tests, which start another.
    const std::wstring_view command = ::GetCommandLineW();
    if (command.find(L" -AppId ") != command.npos || command.find(L" /sync ") != command.npos) {
      std::_Exit(1);
    }
    return true;
  }
  const std::filesystem::path unfinished = std::wstring(file) + L".part";
  std::ofstream(unfinished, std::ios::binary) << ToUtf8(FromWide(::GetCommandLineW()));
  std::filesystem::rename(unfinished, file);
  std::_Exit(0);
}();

}  // namespace

CommandReport::CommandReport(std::u16string file) : file_(std::move(file)) {
  ::SetEnvironmentVariableW(Wide(kReportVariable), Wide(file_));
}

CommandReport::~CommandReport() { ::SetEnvironmentVariableW(Wide(kReportVariable), nullptr); }

std::string CommandReport::Wait() const {
  const std::filesystem::path path(file_);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  std::string command;
  // The file may be there a moment before its writer lets others read it.
  while (!std::getline(std::ifstream(path, std::ios::binary), command) &&
         std::chrono::steady_clock::now() < deadline) {
    ::Sleep(20);
  }
  return command;
}

}  // namespace pylon::testing

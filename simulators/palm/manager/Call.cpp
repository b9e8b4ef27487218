#include "Call.h"

#include <cstdlib>
#include <fstream>
#include <utility>

namespace palm {
namespace {

constexpr char kVariable[] = "PYLON_SIMULATED_MANAGER";

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('\\') + 1); }

std::string SettingsFile() {
  char path[MAX_PATH] = "";
  const DWORD size = ::GetEnvironmentVariableA(kVariable, path, MAX_PATH);
  if (size > 0 && size < MAX_PATH) return path;
  ::GetModuleFileNameA(reinterpret_cast<HMODULE>(&__ImageBase), path, MAX_PATH);
  return FolderOf(path) + "manager.ini";
}

std::string Setting(const std::string& ini, const char* section, const char* key) {
  char text[MAX_PATH] = "";
  ::GetPrivateProfileStringA(section, key, "", text, MAX_PATH, ini.c_str());
  return text;
}

}  // namespace

std::string QuotedText(const char* text) {
  return text ? "\"" + std::string(text) + "\"" : "(null)";
}
std::string QuotedText(const std::string& text) { return QuotedText(text.c_str()); }

Call::Call(const char* function, std::string arguments)
    : ini_(SettingsFile()), line_(function + (arguments.empty() ? "" : " " + arguments)) {
  const std::string fault = Setting(ini_, "Faults", function);
  forced_ = !fault.empty();
  if (forced_) result_ = std::strtol(fault.c_str(), nullptr, 0);
}

long Call::Log(long result) const {
  if (forced_) result = result_;
  std::string file = Setting(ini_, "Log", "File");
  if (file.empty()) file = "manager.log";
  if (file.find(':') == file.npos) file = FolderOf(ini_) + file;
  std::ofstream(file, std::ios::app | std::ios::binary)
      << line_ << " -> " << result << (forced_ ? " (forced)\n" : "\n");
  return result;
}

}  // namespace palm

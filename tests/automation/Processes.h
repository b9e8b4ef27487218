#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Win32.h"

namespace pylon::testing {

inline constexpr std::chrono::seconds kPatience{60};

// Calls `condition` until it holds; false when it never did.
bool WaitUntil(const std::function<bool()>& condition, std::chrono::seconds patience = kPatience);

// A real second process, killed when the object goes before it has ended.
class Process {
 public:
  // `environment` adds to the test's own.
  explicit Process(const std::u16string& command_line,
                   const std::map<std::u16string, std::u16string>& environment = {},
                   const std::filesystem::path& output = {});
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  DWORD id() const noexcept { return id_; }
  bool running() const noexcept;
  std::optional<DWORD> Wait();  // the exit code; nothing when it does not end

 private:
  KernelHandle process_;
  DWORD id_ = 0;
};

// The processes that run this very program; not those of a copy that lies elsewhere.
std::vector<DWORD> ProcessesOf(const std::filesystem::path& program);

// Top-level windows of a process, found by class; null when there is none.
HWND FindWindowOf(DWORD process, const wchar_t* window_class, bool visible_only = true);
std::u16string WindowText(HWND window);
// The text of the message box of a process and its title; nothing when none appears in time.
struct MessageBoxTexts {
  std::u16string title;
  std::u16string text;
};
std::optional<MessageBoxTexts> WaitForMessageBox(DWORD process);
void PressOk(DWORD process);

std::string ReadFile(const std::filesystem::path& path);  // empty when missing
std::u16string Quoted(const std::filesystem::path& path);

// A folder of its own under the system's temporary one, deleted with what it holds.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace pylon::testing

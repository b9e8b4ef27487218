#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "automation/Server.h"
#include "base/AnsiCodePage.h"
#include "base/Date.h"

namespace pylon {

// The program: decides what this process is for and does that one thing. The process-wide objects
// are made here and passed on.
//
// The exit codes: 0 done, 1 failed (the user has seen why), 2 cancelled by the user.
class Program {
 public:
  Program();
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // `command_line` is the process's whole command line, the program's own name included.
  int Run(std::u16string_view command_line) noexcept;

 private:
  int Choose(std::u16string_view arguments);
  int Register(bool add);
  int Serve();
  int RunAlone(std::u16string_view arguments);
  int Sync(const std::u16string& app_id, const std::u16string& database_type,
           const std::u16string& save_switch);

  std::u16string path_;    // of the executable
  std::u16string folder_;  // without a separator at its end
  AnsiCodePage code_page_;
  SystemClock clock_;
  std::unique_ptr<Server> server_;
  bool serves_ = false;  // objects, for COM
};

}  // namespace pylon

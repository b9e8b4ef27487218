#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "automation/Server.h"
#include "base/AnsiCodePage.h"
#include "base/Date.h"
#include "conduits/cConduitList.h"
#include "startup/ProgramArguments.h"
#include "startup/SyncRun.h"

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
  int Choose(const ProgramArguments& arguments);
  int Register(bool add);
  int Serve();
  int RunAlone(const ProgramArguments& arguments);
  int Manage(const ProgramArguments& arguments);
  int Sync(const ProgramArguments& arguments);
  // The target of a run with this database type: the one place that knows the kinds of device.
  void ChooseTarget(int16_t database_type, const std::u16string& save_folder,
                    cConduitList& conduits, SyncRequest& request) const;
  PcSide Pc() const;

  std::u16string path_;    // of the executable
  std::u16string folder_;  // without a separator at its end
  AnsiCodePage code_page_;
  SystemClock clock_;
  std::unique_ptr<Server> server_;
};

}  // namespace pylon

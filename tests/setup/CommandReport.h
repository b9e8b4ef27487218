#pragma once

#include <string>

namespace pylon::testing {

// Which command line a started program gets. The program is the running test itself: started again
// as long as a report is wanted, by whatever process, it only writes its command line to the file
// and ends.
class CommandReport {
 public:
  explicit CommandReport(std::u16string file);
  ~CommandReport();
  CommandReport(const CommandReport&) = delete;
  CommandReport& operator=(const CommandReport&) = delete;

  // The command line of the process, in UTF-8; empty when none was started in time.
  std::string Wait() const;

 private:
  std::u16string file_;
};

}  // namespace pylon::testing

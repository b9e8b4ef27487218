#pragma once

#include <string>

namespace pylon {

// Where the log shows its lines while it writes them; frmLog is the real one.
class LogView {
 public:
  virtual ~LogView() = default;

  virtual void ShowLog(bool show) = 0;  // false drops the lines; may raise AutomationError
  virtual void AddLine(const std::u16string& line) = 0;  // without a line end
};

}  // namespace pylon

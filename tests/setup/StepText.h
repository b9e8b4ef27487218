#pragma once

#include <string>

#include "base/Text.h"
#include "setup/StepReport.h"

namespace pylon::testing {

// "done", or "failed: " and what the user reads.
inline std::string Said(const StepReport& report) {
  const std::string end = report.done() ? "done" : "failed";
  return report.remarks().empty() ? end : end + ": " + ToUtf8(TextOf(report));
}

}  // namespace pylon::testing

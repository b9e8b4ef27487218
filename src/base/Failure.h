#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/AutomationError.h"

namespace pylon {

enum class FailureKind : uint8_t {
  kRefused,    // the run could not begin
  kConduit,    // the component raised an error
  kUnsaved,    // what was changed could not be saved
  kLinkLost,   // the connection to the device has ended during the run
  kCancelled,  // the user has stopped it
};

// One thing that went wrong in a run. Code decides by the kind; the text is for people only.
struct Failure {
  FailureKind kind = FailureKind::kRefused;
  std::u16string text;  // the reason; what a message puts before it is added where it is shown
  // Of a component's error.
  int32_t number = 0;
  std::u16string source = {};

  friend bool operator==(const Failure&, const Failure&) = default;
};

using Failures = std::vector<Failure>;  // in the order in which they happened

// The failure that an error amounts to: of the kind that the error carries, else of `kind`.
inline Failure ToFailure(const AutomationError& error, FailureKind kind) {
  return {error.kind().value_or(kind), error.description(), error.number(), error.source()};
}

}  // namespace pylon

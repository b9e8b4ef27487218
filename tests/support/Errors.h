#pragma once

#include <cstdint>

#include "base/AutomationError.h"

namespace pylon::testing {

// The number of the automation error that the call raises, 0 when it raises none.
template <class Call>
int32_t ErrorOf(Call&& call) {
  try {
    call();
  } catch (const AutomationError& error) {
    return error.number();
  }
  return 0;
}

}  // namespace pylon::testing

#pragma once

#include <cstdint>
#include <string>

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

// Its number and description, "1001 Invalid key"; empty when it raises none.
template <class Call>
std::string ErrorTextOf(Call&& call) {
  try {
    call();
  } catch (const AutomationError& error) {
    return std::to_string(error.number()) + " " + error.what();
  }
  return {};
}

}  // namespace pylon::testing

#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <variant>

#include "base/Date.h"

namespace pylon {

// An amount in ten-thousandths, the fixed-point type of the automation world.
struct Currency {
  int64_t scaled = 0;
  auto operator<=>(const Currency&) const = default;
};

// A Date that knows that it is one: the plain type is a double.
struct DateStamp {
  Date value = 0;
  bool operator==(const DateStamp&) const = default;
};

// A value that carries its type, as automation clients pass it; monostate is the empty value.
using TaggedValue = std::variant<std::monostate, bool, uint8_t, int16_t, int32_t, float, double,
                                 Currency, DateStamp, std::u16string>;

}  // namespace pylon

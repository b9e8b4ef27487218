#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace pylon {

// Owned and borrowed runs of bytes. A ByteSpan never outlives what it was taken from.
using Bytes = std::vector<std::byte>;
using ByteSpan = std::span<const std::byte>;

}  // namespace pylon

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace pylon {

enum class ByteOrder { kLittle, kBig };

// Unsigned numbers of 1 to 8 bytes in a given order, whatever the machine's own. The span's extent
// is the number's width.
template <size_t N>
constexpr uint64_t LoadUnsigned(std::span<const std::byte, N> bytes, ByteOrder order) noexcept {
  static_assert(N >= 1 && N <= 8);
  uint64_t value = 0;
  for (size_t i = 0; i < N; ++i) {
    const std::byte byte = bytes[order == ByteOrder::kBig ? i : N - 1 - i];
    value = value << 8 | std::to_integer<uint64_t>(byte);
  }
  return value;
}

// Stores the low N bytes of `value`.
template <size_t N>
constexpr void StoreUnsigned(uint64_t value, std::span<std::byte, N> bytes,
                             ByteOrder order) noexcept {
  static_assert(N >= 1 && N <= 8);
  for (size_t i = 0; i < N; ++i, value >>= 8) {
    bytes[order == ByteOrder::kBig ? N - 1 - i : i] = static_cast<std::byte>(value & 0xFF);
  }
}

}  // namespace pylon

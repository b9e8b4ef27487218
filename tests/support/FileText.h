#pragma once

#include <string>
#include <string_view>

#include "base/Bytes.h"

namespace pylon::testing {

inline Bytes ToBytes(std::string_view text) {
  const auto* first = reinterpret_cast<const std::byte*>(text.data());
  return {first, first + text.size()};
}
inline std::string TextOf(ByteSpan bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The bytes of a UTF-16 file with its byte-order mark.
inline std::string Utf16File(std::u16string_view text) {
  std::string bytes = "\xFF\xFE";
  for (const char16_t c : text) {
    bytes += static_cast<char>(c & 0xFF);
    bytes += static_cast<char>(c >> 8);
  }
  return bytes;
}

}  // namespace pylon::testing

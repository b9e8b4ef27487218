#pragma once

#include <cstdint>
#include <string>

namespace pylon {

// The version resource of a program file. A file without one has empty texts and zeros.
struct VersionRecord {
  uint16_t major = 0;
  uint16_t minor = 0;
  uint16_t revision = 0;
  std::u16string title;  // its internal name
  std::u16string description;
  std::u16string legal_notice;
  std::u16string trademarks;

  static VersionRecord Of(const std::u16string& file);
};

}  // namespace pylon

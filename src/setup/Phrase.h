#pragma once

#include <string>

namespace pylon {

// A text of the string table, by its number in setup/Strings.h, and what stands for its "%1". The
// decisions of the setup side speak in these, so that they need no resources.
struct Phrase {
  int id = 0;  // 0: nothing to say
  std::u16string detail;

  explicit operator bool() const noexcept { return id != 0; }
  bool operator==(const Phrase&) const = default;
};

}  // namespace pylon

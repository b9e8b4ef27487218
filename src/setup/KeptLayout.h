#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace pylon {

// The size of the setup window's client area and the widths of its columns, in units of 1/96 inch,
// kept for each user in the registry.
struct KeptLayout {
  int width = 0;
  int height = 0;
  std::vector<int> columns;

  // Nothing when none is kept, or not one of so many columns.
  static std::optional<KeptLayout> Load(size_t columns);
  // A layout that can't be kept is not worth a message.
  void Save() const;
};

}  // namespace pylon

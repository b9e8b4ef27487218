#pragma once

#include <string>

#include "base/Win32.h"

namespace pylon {

// Draws the first icon of a program file (.exe, .dll, .ico) onto a drawing surface, in the system's
// small and large size. A file without icons, and an empty name, draw nothing.
class cIconExtract {
 public:
  const std::u16string& ExeName() const noexcept { return exe_name_; }
  void SetExeName(std::u16string_view name) { exe_name_ = name; }

  bool HasIcon() const;
  // At a place of the surface, `size` pixels square; 0 for the system's size. False: nothing drawn.
  bool GetIconSmall(HDC surface, int x = 0, int y = 0, int size = 0) const;
  bool GetIconLarge(HDC surface, int x = 0, int y = 0, int size = 0) const;

 private:
  bool Draw(bool large, HDC surface, int x, int y, int size) const;

  std::u16string exe_name_;
};

}  // namespace pylon

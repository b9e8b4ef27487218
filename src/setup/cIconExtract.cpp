#include "setup/cIconExtract.h"

#include <shellapi.h>

namespace pylon {

bool cIconExtract::HasIcon() const {
  if (exe_name_.empty()) return false;
  Icon large;
  const UINT found = ::ExtractIconExW(Wide(exe_name_), 0, large.Receive(), nullptr, 1);
  return found >= 1 && found != UINT_MAX && large;
}

bool cIconExtract::GetIconSmall(HDC surface, int x, int y, int size) const {
  return Draw(false, surface, x, y, size ? size : ::GetSystemMetrics(SM_CXSMICON));
}

bool cIconExtract::GetIconLarge(HDC surface, int x, int y, int size) const {
  return Draw(true, surface, x, y, size ? size : ::GetSystemMetrics(SM_CXICON));
}

bool cIconExtract::Draw(bool large, HDC surface, int x, int y, int size) const {
  if (exe_name_.empty()) return false;
  Icon icon;
  const UINT found = ::ExtractIconExW(Wide(exe_name_), 0, large ? icon.Receive() : nullptr,
                                      large ? nullptr : icon.Receive(), 1);
  if (found == 0 || found == UINT_MAX || !icon) return false;
  return ::DrawIconEx(surface, x, y, icon.get(), size, size, 0, nullptr, DI_NORMAL) != FALSE;
}

}  // namespace pylon

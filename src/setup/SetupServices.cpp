#include "setup/SetupServices.h"

#include "base/Text.h"

namespace pylon {

std::u16string_view NameOf(SyncSystem system) noexcept {
  return system == SyncSystem::kHotSync ? u"HotSync" : u"ActiveSync";
}

std::optional<SyncSystem> SystemNamed(std::u16string_view name) noexcept {
  for (const SyncSystem system : {SyncSystem::kHotSync, SyncSystem::kActiveSync}) {
    if (EqualsIgnoringCase(name, NameOf(system))) return system;
  }
  return std::nullopt;
}

}  // namespace pylon

#include "conduits/SettingsKeys.h"

#include "base/Text.h"

namespace pylon::settings {

bool IsProgramSection(std::u16string_view name) {
  return EqualsIgnoringCase(name, kGeneralSection) || EqualsIgnoringCase(name, kProgramSection);
}

}  // namespace pylon::settings

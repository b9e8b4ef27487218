#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "setup/SetupModel.h"
#include "setup/StepReport.h"

namespace pylon {

// The services that the setup window needs from the systems that conduits are installed for.
class SetupServices {
 public:
  virtual ~SetupServices() = default;

  // These ask without side effects.
  virtual bool IsPresent(SyncSystem system) const = 0;
  virtual SystemFacts Facts(SyncSystem system, std::u16string_view app_id) const = 0;
  virtual bool NeedsElevation(SyncSystem system) const = 0;
  virtual std::vector<std::u16string> Users() const = 0;  // HotSync's; none when it can't be asked
  virtual bool GuestMode() const = 0;                     // Pocket PCs connect as guests

  virtual StepReport Install(SyncSystem system, std::u16string_view app_id) = 0;
  virtual StepReport Remove(SyncSystem system, std::u16string_view app_id) = 0;
  // With each system that is on this PC and has an application of the conduit; `user` is HotSync's,
  // empty for the only one.
  virtual StepReport InstallApplication(std::u16string_view app_id, std::u16string_view user) = 0;
  virtual StepReport SetGuestMode(bool on) = 0;
};

// "HotSync" and "ActiveSync" as the command line writes them, in any case.
std::u16string_view NameOf(SyncSystem system) noexcept;
std::optional<SyncSystem> SystemNamed(std::u16string_view name) noexcept;

}  // namespace pylon

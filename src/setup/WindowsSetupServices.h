#pragma once

#include "setup/SetupServices.h"

namespace pylon {

class ConduitInstaller;
class cActiveSync;

// The systems of this PC. Borrows both.
class WindowsSetupServices : public SetupServices {
 public:
  WindowsSetupServices(cActiveSync& active_sync, ConduitInstaller& installer) noexcept
      : active_sync_(active_sync), installer_(installer) {}

  bool IsPresent(SyncSystem system) const override;
  SystemFacts Facts(SyncSystem system, std::u16string_view app_id) const override;
  bool NeedsElevation(SyncSystem system) const override;
  std::vector<std::u16string> Users() const override;
  bool GuestMode() const override;
  StepReport Install(SyncSystem system, std::u16string_view app_id) override;
  StepReport Remove(SyncSystem system, std::u16string_view app_id) override;
  StepReport InstallApplication(std::u16string_view app_id, std::u16string_view user) override;
  StepReport SetGuestMode(bool on) override;

 private:
  cActiveSync& active_sync_;
  ConduitInstaller& installer_;
};

// Whether this process lacks the rights of an administrator, which changes of the machine take.
bool LacksElevation() noexcept;

}  // namespace pylon

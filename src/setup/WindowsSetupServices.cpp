#include "setup/WindowsSetupServices.h"

#include <utility>

#include "base/Win32.h"
#include "setup/ConduitInstaller.h"
#include "setup/cActiveSync.h"

namespace pylon {

bool LacksElevation() noexcept {
  KernelHandle token;
  TOKEN_ELEVATION elevation = {};
  DWORD size = 0;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Receive()) ||
      !::GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof(elevation), &size)) {
    return false;  // then the step itself reports what is missing
  }
  return elevation.TokenIsElevated == 0;
}

bool WindowsSetupServices::IsPresent(SyncSystem system) const {
  return installer_.IsPresent(system);
}

SystemFacts WindowsSetupServices::Facts(SyncSystem system, std::u16string_view app_id) const {
  SystemFacts facts;
  facts.present = IsPresent(system);
  facts.needs_elevation = NeedsElevation(system);
  if (app_id.empty()) return facts;
  if (system == SyncSystem::kActiveSync) {
    // Also what an ActiveSync that is gone has left behind.
    facts.installed = active_sync_.IsConduitInstalled(app_id);
  } else {
    ConduitInstaller::StateAnswer answer = installer_.State(system, app_id);
    facts.installed = answer.state == InstallState::kInstalled;
    facts.problem = std::move(answer.why);
  }
  return facts;
}

// HotSync keeps its conduits with the user.
bool WindowsSetupServices::NeedsElevation(SyncSystem system) const {
  return system == SyncSystem::kActiveSync && LacksElevation();
}

std::vector<std::u16string> WindowsSetupServices::Users() const {
  try {
    return installer_.Users();
  } catch (const StepFailure&) {
    return {};  // the step that installs reports it
  }
}

bool WindowsSetupServices::GuestMode() const { return active_sync_.GuestMode(); }

StepReport WindowsSetupServices::Install(SyncSystem system, std::u16string_view app_id) {
  return installer_.InstallConduit(system, app_id);
}

StepReport WindowsSetupServices::Remove(SyncSystem system, std::u16string_view app_id) {
  return installer_.UninstallConduit(system, app_id);
}

StepReport WindowsSetupServices::InstallApplication(std::u16string_view app_id,
                                                    std::u16string_view user) {
  StepReport report;
  for (const SyncSystem system : {SyncSystem::kHotSync, SyncSystem::kActiveSync}) {
    if (IsPresent(system)) report.Add(installer_.InstallApplication(system, app_id, user));
  }
  return report;
}

StepReport WindowsSetupServices::SetGuestMode(bool on) {
  // The value set there reads back as the opposite.
  const bool done = active_sync_.SetGuestMode(!on) && active_sync_.GuestMode() == on;
  return done ? StepReport() : StepReport::Failed(Notice::kGuestModeNotSet);
}

}  // namespace pylon

#include "setup/WindowsSetupServices.h"

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
    return false;  // then the step itself says what is missing
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
    facts.installed = installer_.State(system, app_id, facts.problem) == InstallState::kInstalled;
  }
  return facts;
}

// HotSync keeps its conduits with the user.
bool WindowsSetupServices::NeedsElevation(SyncSystem system) const {
  return system == SyncSystem::kActiveSync && LacksElevation();
}

bool WindowsSetupServices::Install(SyncSystem system, std::u16string_view app_id,
                                   std::u16string& message) {
  return installer_.InstallConduit(system, app_id, message);
}

bool WindowsSetupServices::Remove(SyncSystem system, std::u16string_view app_id,
                                  std::u16string& message) {
  return installer_.UninstallConduit(system, app_id, message);
}

std::vector<std::u16string> WindowsSetupServices::Users() const {
  std::u16string untold;  // whoever installs is told
  return installer_.Users(untold).value_or(std::vector<std::u16string>());
}

bool WindowsSetupServices::InstallApplication(std::u16string_view app_id, std::u16string_view user,
                                              std::u16string& message) {
  bool done = true;
  for (const SyncSystem system : {SyncSystem::kHotSync, SyncSystem::kActiveSync}) {
    if (!IsPresent(system)) continue;
    done = installer_.InstallApplication(system, app_id, user, message) && done;
  }
  return done;
}

bool WindowsSetupServices::GuestMode() const { return active_sync_.GuestMode(); }

bool WindowsSetupServices::SetGuestMode(bool on) {
  // What is set there reads back as the opposite.
  return active_sync_.SetGuestMode(!on) && active_sync_.GuestMode() == on;
}

}  // namespace pylon

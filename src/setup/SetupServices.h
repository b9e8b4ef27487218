#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "setup/SetupModel.h"

namespace pylon {

// What the setup window needs of the systems that conduits are installed for. Members answer false
// for what could not be done and add to `message` what the user must know.
class SetupServices {
 public:
  virtual ~SetupServices() = default;

  // Asks without side effects.
  virtual bool IsPresent(SyncSystem system) const = 0;
  virtual SystemFacts Facts(SyncSystem system, std::u16string_view app_id) const = 0;
  virtual bool NeedsElevation(SyncSystem system) const = 0;

  virtual bool Install(SyncSystem system, std::u16string_view app_id, std::u16string& message) = 0;
  virtual bool Remove(SyncSystem system, std::u16string_view app_id, std::u16string& message) = 0;
  // HotSync's; none when it can't be asked.
  virtual std::vector<std::u16string> Users() const = 0;
  // With each system that is here and has one of the conduit; `user` is HotSync's, empty for the
  // only one.
  virtual bool InstallApplication(std::u16string_view app_id, std::u16string_view user,
                                  std::u16string& message) = 0;

  virtual bool GuestMode() const = 0;  // Pocket PCs connect as guests
  virtual bool SetGuestMode(bool on) = 0;
};

// "HotSync" and "ActiveSync" as the command line writes them, in any case.
std::u16string_view NameOf(SyncSystem system) noexcept;
std::optional<SyncSystem> SystemNamed(std::u16string_view name) noexcept;

}  // namespace pylon

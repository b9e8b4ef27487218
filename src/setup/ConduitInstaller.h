#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pylon {

class cActiveSync;
class cConduitList;

// Installs and removes the conduits of the settings file, and what they bring for the handheld.
//
// Each member returns whether it did what it says. It adds to `message` what the user must know, a
// paragraph each, nothing twice; often there is nothing to tell. Borrows list and ActiveSync.
class ConduitInstaller {
 public:
  ConduitInstaller(cConduitList& conduits, cActiveSync& active_sync) noexcept
      : conduits_(conduits), active_sync_(active_sync) {}

  bool InstallConduit(std::u16string_view AppId, std::u16string& message);
  // Of a conduit that the settings file no longer names as well, and without ActiveSync.
  bool UninstallConduit(std::u16string_view AppId, std::u16string& message);
  // Done when the conduit brings no application.
  bool InstallApplication(std::u16string_view AppId, std::u16string& message);

 private:
  int16_t Find(std::u16string_view app_id, std::u16string& message) const;  // 0: tells why
  bool RegisterForActiveSync(const std::u16string& app_id, std::u16string& message);
  bool HandToManager(int16_t index, std::u16string& message);

  cConduitList& conduits_;
  cActiveSync& active_sync_;
};

}  // namespace pylon

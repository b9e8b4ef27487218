#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "setup/SyncSystem.h"

namespace pylon {

class cActiveSync;
class cConduitList;
class cHotSync;

enum class InstallState {
  kNoSystem,      // the system is not on this PC
  kNotSupported,  // HotSync, and the conduit has no good creator id
  kNotInstalled,
  kInstalled,
  kTaken,    // another conduit, of Pylon or not, has its creator id
  kUnknown,  // the system can't be asked
};

// Installs and removes the conduits of the settings file, and what they bring for the handheld.
//
// Each member returns whether it did what it says. It adds to `message` what the user must know, a
// paragraph each, nothing twice; often there is nothing to tell. Borrows the list and both systems.
class ConduitInstaller {
 public:
  ConduitInstaller(cConduitList& conduits, cActiveSync& active_sync, cHotSync& hot_sync) noexcept
      : conduits_(conduits), active_sync_(active_sync), hot_sync_(hot_sync) {}

  // With each system that is on this PC; one that is not is told and skipped. Not done when there
  // is none, or one of them fails, which the other is not undone for. A conduit without a creator
  // id is for ActiveSync alone.
  bool InstallConduit(std::u16string_view AppId, std::u16string& message);
  // Of a conduit that the settings file no longer names as well, and without either system.
  bool UninstallConduit(std::u16string_view AppId, std::u16string& message);
  // Done when the conduit brings no application. With each system that is on this PC, as above; for
  // HotSync's only user.
  bool InstallApplication(std::u16string_view AppId, std::u16string& message);

  // The same one system at a time. `user` is one of HotSync's; empty is the only one.
  bool InstallConduit(SyncSystem system, std::u16string_view AppId, std::u16string& message);
  bool UninstallConduit(SyncSystem system, std::u16string_view AppId, std::u16string& message);
  bool InstallApplication(SyncSystem system, std::u16string_view AppId, std::u16string_view user,
                          std::u16string& message);

  bool IsPresent(SyncSystem system) const;  // on this PC
  // These change nothing. The message says whose the creator id is, or why HotSync can't be asked.
  InstallState State(SyncSystem system, std::u16string_view AppId, std::u16string& message);
  bool HasApplication(SyncSystem system, std::u16string_view AppId);
  // The users of HotSync; nothing when it can't be asked.
  std::optional<std::vector<std::u16string>> Users(std::u16string& message);

 private:
  using Creators = std::vector<std::u16string>;

  int16_t Find(std::u16string_view app_id, std::u16string& message) const;  // 0: tells why
  std::u16string ApplicationFiles(SyncSystem system, int16_t index);
  template <class Step>
  bool WithEach(int16_t index, std::u16string& message, Step step);

  bool MayBeForPalm(int16_t index) const;
  bool IsShadowed(int16_t index, std::u16string& message) const;
  bool InstallForHotSync(int16_t index, std::u16string& message);
  bool InstallForActiveSync(int16_t index, std::u16string& message);
  std::optional<Creators> HotSyncCreators(std::u16string_view app_id, std::u16string& message);
  bool RemoveFromHotSync(const Creators& creators, std::u16string& message);
  bool RemoveFromActiveSync(std::u16string_view app_id, std::u16string& message);
  bool HandToHotSync(int16_t index, std::u16string_view user, std::u16string& message);
  bool HandToManager(int16_t index, std::u16string& message);

  cConduitList& conduits_;
  cActiveSync& active_sync_;
  cHotSync& hot_sync_;
};

}  // namespace pylon

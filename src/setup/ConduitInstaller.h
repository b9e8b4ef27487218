#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "setup/StepReport.h"
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

// Installs and removes the conduits of the settings file, and their applications for the handheld.
// Borrows the list and both systems.
class ConduitInstaller {
 public:
  ConduitInstaller(cConduitList& conduits, cActiveSync& active_sync, cHotSync& hot_sync) noexcept
      : conduits_(conduits), active_sync_(active_sync), hot_sync_(hot_sync) {}

  // With each system that is on this PC; a missing one is reported and skipped. Not done when there
  // is none, or one of them fails, which the other is not undone for. A conduit without a creator
  // id is for ActiveSync alone.
  StepReport InstallConduit(std::u16string_view AppId);
  // Also of a conduit that the settings file no longer names, and without either system.
  StepReport UninstallConduit(std::u16string_view AppId);
  // Done when the conduit has no application. With each system that is on this PC, as above; for
  // HotSync's only user.
  StepReport InstallApplication(std::u16string_view AppId);

  // The same one system at a time. `user` is one of HotSync's; empty is the only one.
  StepReport InstallConduit(SyncSystem system, std::u16string_view AppId);
  StepReport UninstallConduit(SyncSystem system, std::u16string_view AppId);
  StepReport InstallApplication(SyncSystem system, std::u16string_view AppId,
                                std::u16string_view user);

  bool IsPresent(SyncSystem system) const;  // on this PC

  // Asks without side effects. `why` says whose the creator id is, or why HotSync can't be asked.
  struct StateAnswer {
    InstallState state;
    std::optional<Remark> why;
  };
  StateAnswer State(SyncSystem system, std::u16string_view AppId);
  // The users of HotSync; raises a StepFailure when it can't be asked.
  std::vector<std::u16string> Users();

 private:
  using Creators = std::vector<std::u16string>;

  int16_t Find(std::u16string_view app_id) const;  // or raises a StepFailure
  std::u16string ApplicationFiles(SyncSystem system, int16_t index);
  template <class Step>
  StepReport WithEach(int16_t index, Step step);

  bool MayBeForPalm(int16_t index) const;
  std::optional<Remark> Shadow(int16_t index) const;
  StepReport InstallForHotSync(int16_t index);
  StepReport InstallForActiveSync(int16_t index);
  Creators HotSyncCreators(std::u16string_view app_id);  // or raises a StepFailure
  StepReport RemoveFromHotSync(const Creators& creators);
  StepReport RemoveFromActiveSync(std::u16string_view app_id);
  StepReport HandToManager(int16_t index);

  cConduitList& conduits_;
  cActiveSync& active_sync_;
  cHotSync& hot_sync_;
};

}  // namespace pylon

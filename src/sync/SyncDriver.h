#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/Failure.h"
#include "conduits/CConduitInfo.h"
#include "conduits/CDevice.h"
#include "conduits/ConduitComponent.h"
#include "conduits/StoreFile.h"
#include "pdb/PDBFileSystem.h"
#include "sync/RunLog.h"
#include "sync/StatusView.h"
#include "sync/SyncOutcome.h"
#include "sync/SyncTarget.h"
#include "sync/oSyncInfo.h"

namespace pylon {

// The surroundings of a run. The references outlive the driver.
struct SyncSurroundings {
  PcSide pc;
  StoreFileFactory stores;  // of device and conduit
  ComponentFactory& components;
  StatusView& view;
  std::shared_ptr<RunLog> log;
  std::unique_ptr<SyncTarget> target;  // null: `no_target` says why
  std::u16string no_target;
  // Whether a person at the PC reads messages. If not, the log says why a run was refused.
  bool attended = true;
};

// Runs the one sync of a process: keeps the contract with the conduit component, whatever the run
// syncs with.
//
// The component works during its BeginSynchronize. It calls back through the sync info, and the
// status operations pump messages, so Cancel arrives in the middle. SynchronizeClose follows a
// BeginSynchronize without an error. Then what the component left open is saved: a sync whose
// databases can't be saved, or whose link is lost, has failed whatever the component makes of it,
// and the dates of the last sync stay.
class SyncDriver {
 public:
  explicit SyncDriver(SyncSurroundings surroundings);
  SyncDriver(const SyncDriver&) = delete;
  SyncDriver& operator=(const SyncDriver&) = delete;

  // Once. Everything that the run holds is released at its end.
  SyncOutcome Run(RunConduit conduit) noexcept;

  // Lives as long as the driver; its CancelSync can be read after the run too.
  const std::shared_ptr<oSyncInfo>& SyncInfo() const noexcept { return info_; }

 private:
  // The steps of a run, in order.
  bool Begin() noexcept;  // true when the component has done its work
  Failures Prepare();     // why there is nothing to begin; an error is the component's
  Failures CreateComponent();
  void Describe();
  Failures ConnectTarget();
  void Finish() noexcept;
  void Stop() noexcept;

  SyncTarget::Run RunOfTarget() const;
  void SetLogFile(const std::u16string& device_name);
  void AddComponentError(const AutomationError& error);
  void AddLostLink();
  void LogRefusal();

  SyncSurroundings with_;
  std::shared_ptr<oSyncInfo> info_;
  RunConduit conduit_;
  SyncOutcome outcome_;
  std::unique_ptr<ConduitComponent> component_;
  std::shared_ptr<PDBFileSystem> file_system_;
  std::shared_ptr<CDevice> device_;
  std::shared_ptr<CConduitInfo> conduit_info_;
  bool log_has_file_ = false;
};

}  // namespace pylon

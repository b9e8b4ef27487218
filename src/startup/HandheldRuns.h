#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "automation/ComConduitComponent.h"
#include "automation/HotSyncHost.h"
#include "conduits/cConduitList.h"
#include "hotsync/Handheld.h"
#include "pdb/PDBUtils.h"
#include "startup/SyncRun.h"
#include "sync/HandheldTarget.h"

namespace pylon {

// Runs in a server process what a handheld's session asks for, whatever its link. The user is at
// the handheld, so there is no message box: each sync leaves a line in the handheld's log, one of a
// known conduit that failed also in ours, and whatever goes wrong in one the next can run.
//
// One sync or configuration at a time. While it runs messages are pumped, so another may be asked
// for; it is refused. Borrows the server.
class HandheldRuns {
 public:
  // How a session names a conduit: by the creator id of its application, or by the folder that
  // installing gave it, when the component can't be asked for its creator or the session has none.
  struct Conduit {
    std::optional<int32_t> creator;
    std::u16string path;
  };

  HandheldRuns(Server& server, PcSide pc, HandheldTarget::Link link);

  SyncResult Sync(const std::shared_ptr<Handheld>& handheld, const Conduit& wanted);
  // These raise AutomationError.
  void Configure(const Conduit& wanted);
  HotSyncHost::Conduit Describe(const Conduit& wanted);

  // A line of ours in the handheld's log; nothing happens when the session is over.
  static void Report(Handheld& handheld, std::u16string_view line) noexcept;

 private:
  // The registered conduits, read again when their file has changed: each reading creates every
  // component, and a session asks for each conduit several times.
  std::shared_ptr<cConduitList> Conduits();
  int16_t Find(const cConduitList& conduits, const Conduit& wanted) const;  // 0: there is none
  int16_t Require(const cConduitList& conduits, const Conduit& wanted) const;
  std::u16string Unknown(const cConduitList& conduits, const Conduit& wanted) const;
  SyncResult RunOne(const std::shared_ptr<Handheld>& handheld, const Conduit& wanted);

  PDBUtils utils_;
  ComComponentFactory components_;
  SyncProgram program_;
  HandheldTarget::Link link_;
  std::shared_ptr<cConduitList> conduits_;
  uint64_t conduits_written_ = 0;  // their file
  bool busy_ = false;
};

}  // namespace pylon

#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "automation/Server.h"
#include "conduits/ConduitComponent.h"
#include "conduits/cConduitList.h"
#include "sync/SyncOutcome.h"
#include "sync/SyncTarget.h"

namespace pylon {

// What the program provides to every sync of this process. Borrows server and components.
struct SyncProgram {
  Server& server;
  PcSide pc;
  ComponentFactory& components;
};

struct SyncRequest {
  std::u16string app_id;               // not empty
  std::unique_ptr<SyncTarget> target;  // null: `no_target` says why
  std::u16string no_target;
  bool attended = true;  // see SyncSurroundings
};

// Why a sync that a handheld's session has asked for, over this link, has no conduit to run.
std::u16string NoAppIdText(std::u16string_view link);

// One sync from its windows to its end: status window, log, driver. The process runs one at a time;
// while it runs its windows pump messages. The list outlives the call. Raises the error of a window
// that can't be made.
SyncOutcome RunSync(const SyncProgram& program, cConduitList& conduits, SyncRequest request);

}  // namespace pylon

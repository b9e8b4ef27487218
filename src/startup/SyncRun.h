#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "automation/Server.h"
#include "base/AnsiCodePage.h"
#include "base/Date.h"
#include "conduits/ConduitComponent.h"
#include "conduits/cConduitList.h"
#include "hotsync/Handheld.h"

namespace pylon {

// What a sync of this process needs from the program, whoever starts it. Borrowed.
struct SyncProgram {
  Server& server;
  const std::u16string& folder;  // of the program
  const AnsiCodePage& code_page;
  const Clock& clock;
  ComponentFactory& components;
};

struct SyncRequest {
  std::u16string app_id;
  int16_t database_type = 0;
  std::u16string save_folder;          // see SyncSurroundings
  std::shared_ptr<Handheld> handheld;  // of HotSync's session; null without one
};

enum class SyncResult { kDone, kFailed, kCancelled };
struct SyncOutcome {
  SyncResult result = SyncResult::kFailed;
  std::u16string error;  // why it has failed
};

// One sync from its windows to its end: status window, log, driver. The process runs one at a time;
// while it runs its windows pump messages. Raises the error of a window that can't be made.
SyncOutcome RunSync(const SyncProgram& program, std::shared_ptr<cConduitList> conduits,
                    const SyncRequest& request);

}  // namespace pylon

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "automation/ComConduitComponent.h"
#include "automation/HotSyncHost.h"
#include "conduits/cConduitList.h"
#include "hotsync/SuiteHandheld.h"
#include "pdb/PDBUtils.h"
#include "startup/SyncRun.h"

namespace pylon {

// Runs in a server process what HotSync asks for. The user is at the handheld, so there is no
// message box: each sync leaves a line in HotSync's log, one of a known conduit that failed also in
// ours, and whatever goes wrong in one the next can run.
//
// One sync or configuration at a time. While it runs messages are pumped, so another may be asked
// for; it is refused. Borrows everything that it is given.
class HotSyncRuns final : public HotSyncHost {
 public:
  HotSyncRuns(Server& server, const std::u16string& program_folder, const AnsiCodePage& code_page,
              const Clock& clock);

  bool Sync(std::optional<int32_t> creator) override;
  void Configure(std::optional<int32_t> creator, std::u16string_view path) override;
  Conduit Describe(std::optional<int32_t> creator) override;
  void Report(std::u16string_view line) noexcept override;

 private:
  // The registered conduits, read again when their file has changed: each reading creates every
  // component, and HotSync asks for each conduit several times.
  std::shared_ptr<cConduitList> Conduits();
  // The place of a conduit in the list, 0 when it has none. One that no creator id leads to, as its
  // component can't be asked for it or HotSync names none, is found by the folder that installing
  // gave it.
  int16_t Find(const cConduitList& conduits, std::optional<int32_t> creator,
               std::u16string_view path = {}) const;
  std::u16string Unknown(const cConduitList& conduits, std::optional<int32_t> creator) const;
  bool SyncWith(const std::shared_ptr<SuiteHandheld>& handheld, std::optional<int32_t> creator);

  PDBUtils utils_;
  ComComponentFactory components_;
  SyncProgram program_;
  std::shared_ptr<cConduitList> conduits_;
  uint64_t conduits_written_ = 0;  // their file
  bool busy_ = false;
};

}  // namespace pylon

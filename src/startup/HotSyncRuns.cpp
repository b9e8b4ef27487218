#include "startup/HotSyncRuns.h"

#include <memory>
#include <utility>

#include "base/AutomationError.h"
#include "hotsync/SuiteHandheld.h"

namespace pylon {

HotSyncRuns::HotSyncRuns(Server& server, PcSide pc)
    : code_page_(pc.code_page),
      runs_(server, std::move(pc), {u"HotSync", SuiteLink::kClosedText}) {}

bool HotSyncRuns::Sync(std::optional<int32_t> creator) {
  const std::shared_ptr<SuiteHandheld> handheld = SuiteHandheld::Connect(code_page_);
  SuiteHandheld::Conduit running;
  try {
    running = handheld->RunningConduit();
  } catch (const std::exception&) {
    HandheldRuns::Report(*handheld, CurrentError().description());
    return false;
  }
  if (running.creator && *running.creator != 0) creator = running.creator;
  return runs_.Sync(handheld, {creator, running.path}) == SyncResult::kDone;
}

void HotSyncRuns::Configure(std::optional<int32_t> creator, std::u16string_view path) {
  runs_.Configure({creator, std::u16string(path)});
}

HotSyncHost::Conduit HotSyncRuns::Describe(std::optional<int32_t> creator) {
  return runs_.Describe({creator, {}});
}

void HotSyncRuns::Report(std::u16string_view line) noexcept {
  try {
    HandheldRuns::Report(*SuiteHandheld::Connect(code_page_), line);
  } catch (const std::exception&) {
    // No session: then there is no log either.
  }
}

}  // namespace pylon

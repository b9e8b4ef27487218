#include "startup/SyncRun.h"

#include <optional>
#include <utility>

#include "base/AutomationError.h"
#include "files/RapiConnection.h"
#include "sync/SyncDriver.h"
#include "sync/frmLog.h"
#include "sync/frmStatus.h"

namespace pylon {
namespace {

// Writes a refusal, which the driver only returns, into the log: during HotSync there is nobody to
// read a message box. A driver that was stopped before it had a device has not named the log yet.
void LogRefusal(CLog& log, const SyncRequest& request, const std::u16string& error) {
  if (request.app_id.empty()) return;
  if (log.AppId().empty()) {
    try {
      log.SetDeviceName(request.handheld->UserName());
    } catch (const AutomationError&) {
      return;  // the handheld has gone, and with it the name of the file
    }
    log.SetAppId(request.app_id);
  }
  log.UpdateLog(u"Sync Failed: " + error);
  log.Close();
}

}  // namespace

SyncOutcome RunSync(const SyncProgram& program, std::shared_ptr<cConduitList> conduits,
                    const SyncRequest& request) {
  frmLog log_window;
  std::optional<frmStatus> status(std::in_place);
  status->Create();
  const auto log =
      std::make_shared<CLog>(program.folder, program.code_page, program.clock, &log_window);
  const auto device = std::make_shared<RapiConnection>();
  SyncDriver driver({program.folder, request.save_folder, program.code_page, program.clock,
                     program.server.files(), program.components, *status, std::move(conduits), log,
                     device, request.handheld});
  program.server.SetRun(driver.SyncInfo(), log);
  status->on_cancel = [&driver] { driver.SyncInfo()->SetCancelSync(true); };

  SyncOutcome outcome;
  std::u16string& error = outcome.error;
  const bool finished = driver.BeginSync(request.app_id, request.database_type, error);
  // Read now: a component may start a phase, which clears it, even while it is released.
  const bool cancelled = driver.SyncInfo()->CancelSync();
  if (finished) {
    driver.SyncFinish();
  } else {
    driver.SyncStop();
  }
  program.server.SetRun(nullptr, nullptr);
  // A component's own error is in the log already, once that has a name.
  if (request.handheld && !finished &&
      (log->AppId().empty() || !error.starts_with(u"Conduit Error: "))) {
    LogRefusal(*log, request, error);
  }
  status.reset();

  // What was changed and is not where it belongs is told in any case.
  const std::u16string unsaved = driver.Unsaved();
  const std::u16string_view lost = driver.LostLink();
  const bool stopped = (cancelled && !finished) || driver.IsSaveCancelled();
  if (stopped && unsaved.empty() && lost.empty()) {
    outcome.result = SyncResult::kCancelled;
    return outcome;
  }
  // A component may have taken it for success, or for some failure of its own.
  const auto add = [&error](std::u16string_view text) {
    if (text.empty() || error.find(text) != std::u16string::npos) return;
    error += (error.empty() ? u"" : u"\r\n") + std::u16string(text);
  };
  add(unsaved);
  add(lost);
  if (error.empty()) outcome.result = SyncResult::kDone;
  return outcome;
}

}  // namespace pylon

#include "startup/SyncRun.h"

#include <utility>

#include "base/ScopeExit.h"
#include "conduits/IniStoreFile.h"
#include "sync/CLog.h"
#include "sync/SyncDriver.h"
#include "sync/frmLog.h"
#include "sync/frmStatus.h"

namespace pylon {
namespace {

RunConduit FindConduit(cConduitList& conduits, const std::u16string& app_id) {
  RunConduit conduit;
  const auto refuse = [&](std::u16string text) {
    conduit.refusal = Failure{FailureKind::kRefused, std::move(text)};
    return conduit;
  };
  conduit.app_id = app_id;
  const int16_t index = conduits.FindAppId(app_id);
  if (index == 0) {
    const std::u16string& unread = conduits.LoadError();
    return refuse(u"This Application '" + app_id + u"' is not registered with Pyln." +
                  (unread.empty() ? unread : u"\r\n" + unread));
  }
  conduit.app_id = conduits.AppId(index);
  conduit.class_id = conduits.ClassId(index);
  if (conduit.class_id.empty()) {
    return refuse(
        u"Unable to find this ActiveX ClassID to create the conduit.\r\n"
        u"ApplicationId: " +
        app_id + u"\r\nIni File: " + conduits.FileName());
  }
  conduit.icon = conduits.Icon(index);
  conduit.pc_folder = conduits.PCFolder(index);
  conduit.pocket_folder = conduits.CePath(index);
  conduit.show_log = conduits.ShowLogMsg(index);
  return conduit;
}

}  // namespace

std::u16string NoAppIdText(std::u16string_view link) {
  return u"No Application ID found for the CreatorID supplied by " + std::u16string(link) + u".";
}

SyncOutcome RunSync(const SyncProgram& program, cConduitList& conduits, SyncRequest request) {
  RunConduit conduit = FindConduit(conduits, request.app_id);
  frmLog log_window;
  frmStatus status;
  status.Create();
  const PcSide& pc = program.pc;
  const auto log = std::make_shared<CLog>(pc.program_folder, pc.code_page, pc.clock, &log_window);
  SyncDriver driver({pc, IniStoreFiles(pc.code_page), program.components, status, log,
                     std::move(request.target), std::move(request.no_target), request.attended});
  program.server.SetRun(driver.SyncInfo(), log);
  status.on_cancel = [&driver] { driver.SyncInfo()->SetCancelSync(true); };
  const ScopeExit detach([&program] { program.server.SetRun(nullptr, nullptr); });
  return driver.Run(std::move(conduit));
}

}  // namespace pylon

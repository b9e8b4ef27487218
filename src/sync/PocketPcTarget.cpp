#include "sync/PocketPcTarget.h"

#include <optional>
#include <utility>

#include "files/FileNames.h"
#include "files/cFileIO.h"
#include "files/cFilePPC.h"
#include "files/cFileRAPI.h"
#include "files/cRegRAPI.h"
#include "pdb/PDBFileSystemPC.h"

namespace pylon {
namespace {

constexpr char16_t kNotConnected[] =
    u"ActiveSync Failed to Initialize.  Unable to connect to device.";

std::u16string ReasonOf(IPCFile& file) {
  std::u16string message;
  int32_t number = 0;
  file.ReadErrorHandler(message, number);
  return message;
}

}  // namespace

std::u16string PocketPcTarget::TitleNote() const {
  return simulator_.empty() ? u"" : u" (simulated device)";
}

SyncTarget::Device PocketPcTarget::Connect(const Run& run) {
  panel_ = std::make_shared<FilePanel>(run.view, run.info);
  run.view.ShowForm();
  run.view.SetMainLabel(u"Connecting to the device");
  connected_ = connection_->Start(simulator_, *panel_, cause_);
  run.view.SetMainLabel({});
  // Without a connection this is the name of an unknown device.
  Device device = {dtActiveSync, cRegRAPI(connection_).DeviceName(), pc_.clock.Now()};
  if (connected_) {
    cFileRAPI file(connection_, pc_.code_page);
    if (const std::optional<Date> now = file.DeviceTime()) {
      device.now = *now;
    } else {
      no_time_ = ReasonOf(file);
    }
  }
  return device;
}

std::shared_ptr<PDBFileSystem> PocketPcTarget::Open(const Run& run, const SyncIndexFactory& indexes,
                                                    Failures& failures) {
  LogSink& log = *run.log;
  if (!simulator_.empty()) log.UpdateLog(u"The device is simulated by " + simulator_);
  if (!connected_) {
    log.UpdateLog(kNotConnected);
    log.UpdateLog(cause_);
    failures.push_back({FailureKind::kRefused, kNotConnected});
    return nullptr;
  }
  log.UpdateLog(u"Begin Sync using ActiveSync");
  if (!no_time_.empty()) {
    log.UpdateLog(u"The device's date and time can't be read, the PC's are used: " + no_time_);
  }
  auto files =
      std::make_shared<PDBFileSystemPC>(DatabaseFolder(run), DeviceFiles(run.log), dftActiveSync,
                                        pc_.code_page, pc_.clock, run.log, indexes);
  // With the link lost already the component would work on a folder that it can't see.
  return IsLost() ? nullptr : files;
}

// The folder of the conduit's databases on the device, made when it is missing.
std::u16string PocketPcTarget::DatabaseFolder(const Run& run) const {
  const RunConduit& conduit = run.conduit;
  const std::u16string folder = DevicePath(
      conduit.pocket_folder.empty() ? u"\\My Documents\\" + conduit.app_id : conduit.pocket_folder);
  cFileRAPI file(connection_, pc_.code_page);
  file.ValidateDirectory(folder);
  if (const std::u16string reason = ReasonOf(file); !reason.empty()) {
    run.log->UpdateLog(u"The device's folder can't be made: " + reason);
  }
  return folder;
}

FileFactory PocketPcTarget::DeviceFiles(const std::shared_ptr<LogSink>& log) const {
  // By value: a component may keep a database, and with it this, beyond the run.
  return [folder = pc_.program_folder, &code_page = pc_.code_page, &clock = pc_.clock,
          connection = connection_, panel = panel_, log]() -> std::unique_ptr<IPCFile> {
    return std::make_unique<cFilePPC>(std::make_unique<cFileIO>(folder, code_page),
                                      std::make_unique<cFileRAPI>(connection, code_page), panel,
                                      log, clock);
  };
}

void PocketPcTarget::End() noexcept {
  if (panel_) panel_->Detach();
  connection_->End();
}

}  // namespace pylon

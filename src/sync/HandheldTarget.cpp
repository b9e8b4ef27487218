#include "sync/HandheldTarget.h"

#include "base/AutomationError.h"
#include "hotsync/PDBFileSystemPalm.h"

namespace pylon {
namespace {

constexpr char16_t kUnknownUser[] = u"Unknown";  // a handheld that was never synced has no user yet

}  // namespace

SyncTarget::Device HandheldTarget::Connect(const Run&) {
  Device device = {dtHotSync, kUnknownUser, pc_.clock.Now()};
  try {
    const std::u16string user = handheld_->UserName();
    if (!user.empty()) device.name = user;
    try {
      device.now = handheld_->DateTime();
    } catch (const AutomationError& error) {
      if (IsLost()) throw;
      no_time_ = error.description();
    }
  } catch (const AutomationError& error) {
    refusal_ = u"The handheld does not tell its user, date and time: " + error.description();
  }
  return device;
}

std::shared_ptr<PDBFileSystem> HandheldTarget::Open(const Run& run, const SyncIndexFactory& indexes,
                                                    Failures& failures) {
  if (!refusal_.empty()) {
    run.log->UpdateLog(refusal_);
    failures.push_back({FailureKind::kRefused, refusal_});
    return nullptr;
  }
  run.log->UpdateLog(u"Begin Sync using " + link_.name);
  if (!no_time_.empty()) {
    run.log->UpdateLog(u"The handheld's date and time can't be read, the PC's are used: " +
                       no_time_);
  }
  auto files = std::make_shared<PDBFileSystemPalm>(handheld_, pc_.code_page, run.log, indexes);
  files->SetCreatorId(run.conduit.creator_id);
  files->SetDatabaseFor(dftPalmHotSync);
  files->SetFolder(run.conduit.pc_folder);
  return files;
}

void HandheldTarget::End() noexcept {
  lost_ = IsLost();
  handheld_.reset();
}

}  // namespace pylon

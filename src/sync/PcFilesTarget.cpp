#include "sync/PcFilesTarget.h"

#include "base/Text.h"
#include "pdb/PDBFileSystemPC.h"

namespace pylon {

SyncTarget::Device PcFilesTarget::Connect(const Run&) { return {dtPC, user_, pc_.clock.Now()}; }

std::shared_ptr<PDBFileSystem> PcFilesTarget::Open(const Run& run, const SyncIndexFactory& indexes,
                                                   Failures&) {
  run.log->UpdateLog(u"Begin Sync to create files on PC:" + ToText(database_for_));
  return std::make_shared<PDBFileSystemPC>(
      save_folder_.empty() ? run.conduit.pc_folder : save_folder_, pc_.files, database_for_,
      pc_.code_page, pc_.clock, run.log, indexes);
}

}  // namespace pylon

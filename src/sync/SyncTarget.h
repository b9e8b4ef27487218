#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/Date.h"
#include "base/Failure.h"
#include "base/LogSink.h"
#include "base/Types.h"
#include "files/IPCFile.h"
#include "pdb/CSyncIndex.h"
#include "pdb/PDBFileSystem.h"
#include "sync/StatusView.h"
#include "sync/oSyncInfo.h"

namespace pylon {

// The PC's side of every run. Code page and clock outlive the run's objects.
struct PcSide {
  std::u16string program_folder;  // without a separator at its end
  const AnsiCodePage& code_page;
  const Clock& clock;
  FileFactory files;  // on the PC's disks
};

// The conduit of a run.
struct RunConduit {
  std::u16string app_id;  // as Pylon.ini writes it
  std::u16string class_id;
  std::u16string icon;
  std::u16string pc_folder;        // full path
  std::u16string pocket_folder;    // on a Pocket PC; empty: the usual one
  std::u16string creator_id;       // as the component names it
  bool show_log = false;           // in the log window
  std::optional<Failure> refusal;  // why it can't run
};

// What a run syncs with: files on the PC, a Pocket PC, a handheld. Every kind of device is one
// class, and the driver knows none of them.
//
//   Connect ──> Open ──> the component works ──> End
//
// End comes once, also after a failed Open and for a run that was refused before Connect. A refused
// run may Connect without an Open, for the name of its log.
class SyncTarget {
 public:
  // For the target to use until End.
  struct Run {
    const RunConduit& conduit;
    StatusView& view;
    std::shared_ptr<oSyncInfo> info;  // knows of Cancel, and keeps the windows alive
    std::shared_ptr<LogSink> log;
  };
  struct Device {
    eDeviceType type = dtPC;
    std::u16string name;
    Date now = 0;
  };

  virtual ~SyncTarget() = default;

  // Follows the conduit's name in the window's title.
  virtual std::u16string TitleNote() const { return {}; }

  // Connects, which may pump messages. The log is named after the device, so the result names it
  // even without a connection; Open then reports the failure.
  virtual Device Connect(const Run& run) = 0;
  // The databases of the conduit. Null when there is nothing to work on: `failures` gets the
  // reasons. Also writes the first lines of the log.
  virtual std::shared_ptr<PDBFileSystem> Open(const Run& run, const SyncIndexFactory& indexes,
                                              Failures& failures) = 0;
  // Ends the connection. Called after the file system has ended.
  virtual void End() noexcept = 0;

  // Whether the link was lost while the run needed it; stays true after End.
  virtual bool IsLost() const noexcept = 0;
  // That it was, for the user. Errors of the files and databases of this target use the same text.
  virtual std::u16string_view LostText() const noexcept = 0;
};

}  // namespace pylon

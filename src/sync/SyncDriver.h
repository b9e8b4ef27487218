#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/Date.h"
#include "conduits/CConduitInfo.h"
#include "conduits/CDevice.h"
#include "conduits/ConduitComponent.h"
#include "conduits/cConduitList.h"
#include "files/IPCFile.h"
#include "files/RapiConnection.h"
#include "hotsync/Handheld.h"
#include "pdb/CSyncIndex.h"
#include "pdb/PDBFileSystem.h"
#include "sync/CLog.h"
#include "sync/FilePanel.h"
#include "sync/StatusView.h"
#include "sync/oSyncInfo.h"

namespace pylon {

// What a run is given. The references outlive the driver; conduit list and log are shared by the
// process, and the end of the run lets go of them and of the handheld. It also ends the connection
// over the remote API.
struct SyncSurroundings {
  std::u16string program_folder;  // without a separator at its end
  std::u16string save_folder;     // receives the databases of a PC run; empty: the PC folder
  const AnsiCodePage& code_page;
  const Clock& clock;
  FileFactory files;  // on the PC's disks
  ComponentFactory& components;
  StatusView& view;
  std::shared_ptr<cConduitList> conduits;
  std::shared_ptr<CLog> log;
  std::shared_ptr<RapiConnection> device;  // not null; a run over the remote API connects it
  std::shared_ptr<Handheld> handheld;      // in its HotSync session; null without one
};

// Runs the one sync of the process.
//
//   BeginSync ──true──> SyncFinish ──┐
//        └────false──────────────────┴─> SyncStop
//
// BeginSync returns when the component's BeginSynchronize has. During it the component calls back
// through the sync info, and the status operations pump messages, so Cancel arrives in the middle.
// Nothing is thrown to the caller: a failure is BeginSync's false and its text.
//
// A run over HotSync whose link is lost has failed, whatever the component makes of it.
class SyncDriver {
 public:
  explicit SyncDriver(SyncSurroundings surroundings);
  ~SyncDriver();
  SyncDriver(const SyncDriver&) = delete;
  SyncDriver& operator=(const SyncDriver&) = delete;

  bool BeginSync(std::u16string_view AppId, int16_t DatabaseType,
                 std::u16string& ErrorMessage) noexcept;
  // After a true BeginSync. Saves what the component left open first, and a sync whose databases
  // can't be saved, or whose handheld is gone, has failed: the dates of the last sync stay.
  void SyncFinish() noexcept;
  void SyncStop() noexcept;  // releases everything the sync holds; twice does nothing
  // Why databases could not be saved at the end, a line each: but for what BeginSync's text has
  // told already, and for those whose copy the user has stopped.
  std::u16string Unsaved() const;
  // Whether the user has stopped the copy of a database, which is not saved therefore.
  bool IsSaveCancelled() const noexcept;
  // That the link to the handheld was lost, in words; empty when it was not.
  std::u16string_view LostLink() const noexcept;

  // Lives as long as the driver; its CancelSync can be read after SyncStop too.
  const std::shared_ptr<oSyncInfo>& SyncInfo() const noexcept { return info_; }

  // The lines that explain the command line.
  static std::u16string UsageText();

 private:
  // Everything that one sync holds, so that ending it is one step on every path.
  struct Session {
    std::unique_ptr<ConduitComponent> component;
    std::u16string creator_id;  // as the component tells it
    std::shared_ptr<PDBFileSystem> file_system;
    std::shared_ptr<CDevice> device;
    std::shared_ptr<CConduitInfo> conduit_info;
    std::shared_ptr<FilePanel> file_panel;  // of a run over the remote API
  };

  // The steps of BeginSync; a refusal is a text, an AutomationError is the component's.
  std::u16string Start(std::u16string_view app_id, int16_t database_type);
  std::u16string CreateComponent(const std::u16string& class_id);
  void Describe(int16_t index);
  std::u16string ChooseFileSystem(int16_t index, std::u16string_view app_id, int16_t database_type,
                                  const std::u16string& pc_folder);
  // The part of ChooseFileSystem for a Pocket PC: connects to it.
  std::u16string ChooseDevice(int16_t index, std::u16string_view app_id,
                              const std::u16string& pc_folder);
  // The part for a handheld in its HotSync session.
  std::u16string ChooseHandheld(int16_t index, std::u16string_view app_id,
                                const std::u16string& pc_folder);
  bool IsHandheldLost() const noexcept;
  void ReadDeviceTime();
  std::u16string DeviceFolder(int16_t index, std::u16string_view app_id);
  FileFactory DeviceFiles() const;
  SyncIndexFactory SyncIndexes(const std::u16string& pc_folder) const;
  void NameLog(int16_t index, std::u16string_view app_id);

  SyncSurroundings with_;
  std::shared_ptr<oSyncInfo> info_;
  StatusHeading heading_;  // as shown
  Session session_;
  std::u16string told_;  // BeginSync's text
  Failures unsaved_;
  bool handheld_lost_ = false;  // as the sync let go of it
};

}  // namespace pylon

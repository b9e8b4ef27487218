#include "sync/SyncDriver.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "conduits/IniStoreFile.h"
#include "files/DeviceProgress.h"
#include "files/FileNames.h"
#include "files/ProgramFiles.h"
#include "files/cFileIO.h"
#include "files/cFilePPC.h"
#include "files/cFileRAPI.h"
#include "files/cRegRAPI.h"
#include "hotsync/PDBFileSystemPalm.h"
#include "pdb/PDBFileSystemPC.h"

namespace pylon {
namespace {

constexpr char16_t kLineEnd[] = u"\r\n";
constexpr char16_t kNotConnected[] =
    u"ActiveSync Failed to Initialize.  Unable to connect to device.";
constexpr char16_t kHandheldClosed[] = u"Connection to HotSync has been closed.";
constexpr char16_t kUnknownUser[] = u"Unknown";  // a handheld that was never synced has no user yet
// A key of the program's section of Pylon.ini: the rapi.dll of a simulated device.
constexpr char16_t kSimulator[] = u"SimulatedPocketPC";

std::u16string ConduitError(const AutomationError& error) {
  return u"Conduit Error: " + ToText(error.number()) + u" (" + error.source() + u") " +
         error.description();
}

std::u16string FailureOf(IPCFile& file) {
  std::u16string message;
  int32_t number = 0;
  file.ReadErrorHandler(message, number);
  return message;
}

}  // namespace

SyncDriver::SyncDriver(SyncSurroundings surroundings)
    : with_(std::move(surroundings)), info_(std::make_shared<oSyncInfo>(with_.view, *with_.log)) {}

SyncDriver::~SyncDriver() { SyncStop(); }

std::u16string SyncDriver::UsageText() {
  static constexpr const char16_t* kLines[] = {
      u"No Application ID Supplied.",
      u"Pylon -AppId {application id} -Database {Database type}",
      u"",
      u"AppId = The Application Id to find the settings in Pylon.ini",
      u"Database = the type of database we create PDB files for.",
      u"    0- Palm HotSync",
      u"    1- Palm VFS",
      u"    2- Pocket PC",
      u"    3- Symbian",
      u"    4- Windows PC (Default)",
      u"    5- ActiveSync",
  };
  std::u16string text;
  for (const char16_t* line : kLines) {
    if (!text.empty()) text += kLineEnd;
    text += line;
  }
  return text;
}

bool SyncDriver::BeginSync(std::u16string_view AppId, int16_t DatabaseType,
                           std::u16string& ErrorMessage) noexcept {
  try {
    ErrorMessage = Start(AppId, DatabaseType);
    if (!ErrorMessage.empty()) return false;
    session_.component->BeginSynchronize(info_);
    return true;
  } catch (const AutomationError& error) {
    told_ = ErrorMessage = ConduitError(error);
  } catch (const std::bad_alloc&) {
    ErrorMessage = ConduitError(AutomationError(ErrorNumber::kOutOfMemory));
  } catch (const std::exception& error) {
    ErrorMessage =
        ConduitError(AutomationError(ErrorNumber::kInternal, u"Pylon", FromUtf8(error.what())));
  }
  with_.log->UpdateLog(u"Sync Failed: " + ErrorMessage);
  if (IsHandheldLost()) {
    with_.log->UpdateLog(kHandheldClosed);
    ErrorMessage += std::u16string(kLineEnd) + kHandheldClosed;
  }
  return false;
}

std::u16string SyncDriver::Start(std::u16string_view app_id, int16_t database_type) {
  if (app_id.empty()) {
    if (database_type == dftPalmHotSync) {
      return u"No Application ID found for the CreatorID supplied by HotSync.";
    }
    return UsageText();
  }
  const int16_t index = with_.conduits->FindAppId(app_id);
  if (index == 0) {
    const std::u16string& unread = with_.conduits->LoadError();
    return u"This Application '" + std::u16string(app_id) + u"' is not registered with Pyln." +
           (unread.empty() ? unread : kLineEnd + unread);
  }
  const std::u16string class_id = with_.conduits->ClassId(index);
  if (class_id.empty()) {
    return std::u16string(u"Unable to find this ActiveX ClassID to create the conduit.") +
           kLineEnd + u"ApplicationId: " + std::u16string(app_id) + kLineEnd + u"Ini File: " +
           with_.conduits->FileName();
  }
  if (std::u16string refusal = CreateComponent(class_id); !refusal.empty()) return refusal;
  Describe(index);

  std::u16string pc_folder = with_.conduits->PCPath(index);
  if (pc_folder.empty()) {
    pc_folder = JoinFullName(with_.program_folder, app_id);
  } else if (IsRelative(pc_folder)) {
    // Whoever starts the program has some current folder; files must not follow it.
    pc_folder = JoinFullName(with_.program_folder, pc_folder);
  }
  with_.view.ShowFilePanel(false);

  std::u16string refusal = ChooseFileSystem(index, app_id, database_type, pc_folder);
  if (!refusal.empty()) return refusal;

  session_.device->SetAppId(app_id);
  session_.device->SetFolder(pc_folder);
  session_.conduit_info = std::make_shared<CConduitInfo>(IniStoreFiles(with_.code_page), with_.log);
  session_.conduit_info->SetAppId(app_id);
  session_.conduit_info->SetAppFolder(pc_folder);
  info_->SetFileSystem(session_.file_system);
  info_->SetDevice(session_.device);
  info_->SetConduitInfo(session_.conduit_info);
  return {};
}

std::u16string SyncDriver::CreateComponent(const std::u16string& class_id) {
  ComponentFactory::Result created = with_.components.Create(class_id);
  switch (created.failure) {
    case ComponentFactory::Failure::kNotCreated:
      return std::u16string(
                 u"Unable to load the Active DLL/EXE.  Make sure it is install and registered "
                 u"correctly.") +
             kLineEnd + class_id;
    case ComponentFactory::Failure::kNoInterface:
      return std::u16string(u"Active DLL/EXE missing ISyncNotify Implementation.") + kLineEnd +
             class_id;
    case ComponentFactory::Failure::kNone:
      break;
  }
  session_.component = std::move(created.component);
  return {};
}

void SyncDriver::Describe(int16_t index) {
  ConduitComponent& component = *session_.component;
  StatusHeading& heading = heading_;
  heading.application_name = component.GetConduitInfo(ctApplicationName);
  heading.title = heading.application_name;
  heading.author = component.GetConduitInfo(ctAuthor);
  heading.version = component.GetConduitInfo(ctVersion);
  session_.creator_id = component.GetConduitInfo(ctCreatorID);
  heading.icon = with_.conduits->Icon(index);
  with_.view.SetHeading(heading);
}

std::u16string SyncDriver::ChooseFileSystem(int16_t index, std::u16string_view app_id,
                                            int16_t database_type,
                                            const std::u16string& pc_folder) {
  switch (database_type) {
    case dftPalmVFS:
    case dftPocketPC:
    case dftSymbian:
    case dftWindows: {
      session_.device =
          std::make_shared<CDevice>(IniStoreFiles(with_.code_page), with_.clock, with_.log);
      session_.device->SetDeviceType(dtPC);
      session_.device->SetDeviceName(LoggedOnUser());
      session_.device->SetDeviceDateTime(with_.clock.Now());
      const std::u16string& folder = with_.save_folder.empty() ? pc_folder : with_.save_folder;
      session_.file_system = std::make_shared<PDBFileSystemPC>(
          folder, with_.files, static_cast<eDatabaseForType>(database_type), with_.code_page,
          with_.clock, with_.log, SyncIndexes(pc_folder));
      // Before the first line, which would have no file to go to.
      NameLog(index, app_id);
      with_.log->UpdateLog(u"Begin Sync to create files on PC:" + ToText(database_type));
      return {};
    }
    case dftPalmHotSync:
      return ChooseHandheld(index, app_id, pc_folder);
    case dftActiveSync:
      return ChooseDevice(index, app_id, pc_folder);
    default: {
      const std::u16string usage = UsageText();
      return u"There is no database type " + ToText(database_type) + u"." + kLineEnd +
             usage.substr(usage.find(u"Database ="));
    }
  }
}

std::u16string SyncDriver::ChooseDevice(int16_t index, std::u16string_view app_id,
                                        const std::u16string& pc_folder) {
  std::u16string simulator = with_.conduits->GetSettings(kSimulator, {});
  if (!simulator.empty()) {
    if (IsRelative(simulator)) simulator = JoinFullName(with_.program_folder, simulator);
    heading_.title += u" (simulated device)";
    with_.view.SetHeading(heading_);
  }
  session_.device =
      std::make_shared<CDevice>(IniStoreFiles(with_.code_page), with_.clock, with_.log);
  session_.device->SetDeviceType(dtActiveSync);
  session_.file_panel = std::make_shared<FilePanel>(with_.view, info_);

  with_.view.ShowForm();
  with_.view.SetMainLabel(u"Connecting to the device");
  std::u16string cause;
  const bool connected = with_.device->Start(simulator, *session_.file_panel, cause);
  with_.view.SetMainLabel({});
  // Without a connection this is the name of a device that doesn't tell, which the log needs too.
  session_.device->SetDeviceName(cRegRAPI(with_.device).DeviceName());
  NameLog(index, app_id);
  if (!simulator.empty()) with_.log->UpdateLog(u"The device is simulated by " + simulator);
  if (!connected && !with_.device->IsConnected()) {
    with_.log->UpdateLog(kNotConnected);
    with_.log->UpdateLog(cause);
    return kNotConnected;
  }
  with_.log->UpdateLog(u"Begin Sync using ActiveSync");
  ReadDeviceTime();
  session_.file_system = std::make_shared<PDBFileSystemPC>(
      DeviceFolder(index, app_id), DeviceFiles(), dftActiveSync, with_.code_page, with_.clock,
      with_.log, SyncIndexes(pc_folder));
  // Gone already: the component would work on a folder that it can't see.
  return with_.device->IsLost() ? RapiConnection::kClosedText : u"";
}

std::u16string SyncDriver::ChooseHandheld(int16_t index, std::u16string_view app_id,
                                          const std::u16string& pc_folder) {
  if (!with_.handheld) return u"No HotSync session is running.";
  session_.device =
      std::make_shared<CDevice>(IniStoreFiles(with_.code_page), with_.clock, with_.log);
  session_.device->SetDeviceType(dtHotSync);
  session_.device->SetDeviceName(kUnknownUser);
  session_.device->SetDeviceDateTime(with_.clock.Now());
  std::u16string refusal, no_time;
  try {
    const std::u16string user = with_.handheld->UserName();
    if (!user.empty()) session_.device->SetDeviceName(user);
    try {
      session_.device->SetDeviceDateTime(with_.handheld->DateTime());
    } catch (const AutomationError& error) {
      if (IsHandheldLost()) throw;
      no_time = error.description();
    }
  } catch (const AutomationError& error) {
    refusal = u"The handheld does not tell its user, date and time: " + error.description();
  }
  NameLog(index, app_id);
  if (!refusal.empty()) {
    with_.log->UpdateLog(refusal);
    if (!IsHandheldLost()) return refusal;
    with_.log->UpdateLog(kHandheldClosed);
    return refusal + kLineEnd + kHandheldClosed;
  }
  with_.log->UpdateLog(u"Begin Sync using HotSync");
  if (!no_time.empty()) {
    with_.log->UpdateLog(u"The handheld's date and time can't be read, the PC's are used: " +
                         no_time);
  }
  auto files = std::make_shared<PDBFileSystemPalm>(with_.handheld, with_.code_page, with_.log,
                                                   SyncIndexes(pc_folder));
  files->SetCreatorId(session_.creator_id);
  files->SetDatabaseFor(dftPalmHotSync);
  files->SetFolder(pc_folder);
  session_.file_system = std::move(files);
  return {};
}

bool SyncDriver::IsHandheldLost() const noexcept {
  return handheld_lost_ || (with_.handheld && with_.handheld->IsLost());
}

std::u16string_view SyncDriver::LostLink() const noexcept {
  if (with_.device->IsLost()) return RapiConnection::kClosedText;
  if (IsHandheldLost()) return kHandheldClosed;
  return {};
}

void SyncDriver::ReadDeviceTime() {
  cFileRAPI file(with_.device, with_.code_page);
  const std::optional<Date> now = file.DeviceTime();
  session_.device->SetDeviceDateTime(now.value_or(with_.clock.Now()));
  if (now) return;
  with_.log->UpdateLog(u"The device's date and time can't be read, the PC's are used: " +
                       FailureOf(file));
}

// The folder of the conduit's databases on the device, made when it is missing.
std::u16string SyncDriver::DeviceFolder(int16_t index, std::u16string_view app_id) {
  std::u16string folder = with_.conduits->CePath(index);
  if (folder.empty()) folder = u"\\My Documents\\" + std::u16string(app_id);
  folder = DevicePath(folder);
  cFileRAPI file(with_.device, with_.code_page);
  file.ValidateDirectory(folder);
  if (const std::u16string failure = FailureOf(file); !failure.empty()) {
    with_.log->UpdateLog(u"The device's folder can't be made: " + failure);
  }
  return folder;
}

FileFactory SyncDriver::DeviceFiles() const {
  // By value: a component may keep a database, and with it this, beyond the run.
  return [folder = with_.program_folder, &code_page = with_.code_page, &clock = with_.clock,
          device = with_.device, panel = session_.file_panel,
          log = with_.log]() -> std::unique_ptr<IPCFile> {
    return std::make_unique<cFilePPC>(std::make_unique<cFileIO>(folder, code_page),
                                      std::make_unique<cFileRAPI>(device, code_page), panel, log,
                                      clock);
  };
}

// Keeps the indexes of the run's databases in the conduit's folder, wherever the databases lie.
SyncIndexFactory SyncDriver::SyncIndexes(const std::u16string& pc_folder) const {
  CSyncIndex::Surroundings surroundings{with_.files,
                                        with_.code_page,
                                        with_.clock,
                                        with_.log,
                                        info_,
                                        pc_folder,
                                        session_.device->DeviceName()};
  return [surroundings = std::move(surroundings)] {
    return std::make_shared<CSyncIndex>(surroundings);
  };
}

void SyncDriver::NameLog(int16_t index, std::u16string_view app_id) {
  with_.log->SetDeviceName(session_.device->DeviceName());
  with_.log->SetAppId(app_id);
  with_.log->SetShowLog(with_.conduits->ShowLogMsg(index));
}

void SyncDriver::SyncFinish() noexcept {
  try {
    session_.component->SynchronizeClose();
  } catch (const AutomationError& error) {
    with_.log->UpdateLog(u"SynchronizeClose: " + ConduitError(error));
  } catch (const std::exception&) {
    with_.log->UpdateLog(u"SynchronizeClose failed.");
  }
  const bool saved = session_.file_system->CloseDatabases(unsaved_);
  // Which the component may not have noticed; its next sync must not start from today.
  const std::u16string lost(LostLink());
  if (!saved || !lost.empty()) {
    with_.log->UpdateLog(saved ? u"Sync Failed: " + lost
                               : u"Sync Failed: what was changed could not be saved.");
    SyncStop();
    return;
  }
  with_.log->UpdateLog(u"Sync Finished");
  const Date now = with_.clock.Now();
  if (!session_.device->SetSyncDateTime(now)) {
    with_.log->UpdateLog(u"The date of this sync could not be kept for the device.");
  }
  if (!session_.conduit_info->SetSyncDateTime(now)) {
    with_.log->UpdateLog(u"The date of this sync could not be kept for the application.");
  }
  SyncStop();
}

std::u16string SyncDriver::Unsaved() const {
  std::u16string untold;
  for (const Failure& failure : unsaved_) {
    if (failure.kind == FailureKind::kCancelled) continue;
    if (told_.find(failure.text) != told_.npos) continue;
    untold += (untold.empty() ? u"" : kLineEnd) + failure.text;
  }
  return untold;
}

bool SyncDriver::IsSaveCancelled() const noexcept {
  return std::ranges::any_of(
      unsaved_, [](const Failure& failure) { return failure.kind == FailureKind::kCancelled; });
}

void SyncDriver::SyncStop() noexcept {
  if (!with_.log) return;
  // A component may call back while it is released, even for the last time, so everything it can
  // reach is still there; but the session is gone already for a call that would end it again.
  Session ended = std::exchange(session_, {});
  const std::shared_ptr<CLog> log = std::exchange(with_.log, nullptr);
  ended.component.reset();
  info_->Detach();
  if (ended.file_system) ended.file_system->End(unsaved_);
  if (ended.file_panel) ended.file_panel->Detach();
  handheld_lost_ = IsHandheldLost();
  with_.handheld.reset();
  with_.device->End();
  log->Close();
  with_.conduits.reset();
}

}  // namespace pylon

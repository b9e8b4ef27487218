#include "setup/ConduitInstaller.h"

#include "conduits/cConduitList.h"
#include "files/RegistryObject.h"
#include "setup/SyncCommand.h"
#include "setup/cActiveSync.h"

namespace pylon {
namespace {

constexpr char16_t kNoAppId[] =
    u"No Application ID Supplied.\r\n"
    u"Pylon -AppId {application id} -install\r\n"
    u"Pylon -AppId {application id} -uninstall";
constexpr char16_t kNoActiveSync[] = u"ActiveSync is not Installed.";
constexpr char16_t kNotRegistered[] =
    u"Unable to Install Conduit for ActiveSync.  Verify you write permissions to the registery for "
    u"HKEY_LOCAL_MACHINE";
constexpr char16_t kNotRemoved[] =
    u"The conduit could not be removed from ActiveSync. That takes the right to write to "
    u"HKEY_LOCAL_MACHINE: run Pylon as an administrator.";
constexpr char16_t kNotForManager[] = u"Unable to install Pocket PC Application";
constexpr char16_t kCannotConnect[] =
    u"ActiveSync can't start this conduit by its application id, which holds a double quote or two "
    u"blanks side by side, or has a word that begins with '-' or '/'. Change the name of its "
    u"section in the settings file.";
constexpr char16_t kForeignText[] =
    u"ActiveSync can't start this conduit: its application id, or the name of the folder that "
    u"Pylon lies in, has characters that the code page of this PC lacks.";
constexpr char16_t kNoHotSync[] =
    u"This version of Pylon does not install conduits for HotSync yet.";
constexpr char16_t kNoPalmInstall[] =
    u"This version of Pylon does not install Palm applications yet. Install this one with the "
    u"software that came with the handheld: ";

void Tell(std::u16string& message, std::u16string_view paragraph) {
  if (message.find(paragraph) != message.npos) return;
  if (!message.empty()) message += u"\r\n\r\n";
  message += paragraph;
}

}  // namespace

int16_t ConduitInstaller::Find(std::u16string_view app_id, std::u16string& message) const {
  if (app_id.empty()) {
    Tell(message, kNoAppId);
    return 0;
  }
  const int16_t index = conduits_.FindAppId(app_id);
  if (index == 0) {
    Tell(message,
         u"This Application '" + std::u16string(app_id) + u"' is not registered with Pyln.");
    if (!conduits_.LoadError().empty()) Tell(message, conduits_.LoadError());
  }
  return index;
}

bool ConduitInstaller::InstallConduit(std::u16string_view AppId, std::u16string& message) {
  const int16_t index = Find(AppId, message);
  if (index == 0) return false;
  const bool done = RegisterForActiveSync(conduits_.AppId(index), message);
  if (!conduits_.CreatorId(index).empty()) Tell(message, kNoHotSync);
  return done;
}

bool ConduitInstaller::RegisterForActiveSync(const std::u16string& app_id,
                                             std::u16string& message) {
  if (!active_sync_.IsInstalled()) {
    Tell(message, kNoActiveSync);
  } else if (!CanConnect(app_id)) {
    Tell(message, kCannotConnect);
  } else if (!RegistryObject::CanStore(active_sync_.ConduitCommand(app_id))) {
    Tell(message, kForeignText);
  } else if (!active_sync_.InstallConduit(app_id)) {
    Tell(message, kNotRegistered);
  } else {
    return true;
  }
  return false;
}

bool ConduitInstaller::UninstallConduit(std::u16string_view AppId, std::u16string& message) {
  const bool left_behind = !AppId.empty() && active_sync_.IsConduitInstalled(AppId);
  if (!left_behind) return Find(AppId, message) != 0;
  const bool done = active_sync_.UninstallConduit(AppId);
  if (!done) Tell(message, kNotRemoved);
  return done;
}

bool ConduitInstaller::InstallApplication(std::u16string_view AppId, std::u16string& message) {
  const int16_t index = Find(AppId, message);
  if (index == 0) return false;
  bool done = HandToManager(index, message);
  const std::u16string palm = conduits_.PalmInstall(index);
  if (!palm.empty()) {
    Tell(message, kNoPalmInstall + palm);
    done = false;
  }
  return done;
}

bool ConduitInstaller::HandToManager(int16_t index, std::u16string& message) {
  const std::u16string cab_files = conduits_.PPCInstall(index);
  if (cab_files.empty()) return true;
  const bool installed = active_sync_.IsInstalled();
  const bool done =
      installed && active_sync_.InstallApplication(conduits_.AppId(index),
                                                   conduits_.ApplicationName(index), cab_files);
  if (!done) Tell(message, installed ? kNotForManager : kNoActiveSync);
  return done;
}

}  // namespace pylon

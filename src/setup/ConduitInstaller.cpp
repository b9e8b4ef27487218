#include "setup/ConduitInstaller.h"

#include "conduits/cConduitList.h"
#include "files/FileNames.h"
#include "files/RegistryObject.h"
#include "setup/SyncCommand.h"
#include "setup/cActiveSync.h"
#include "setup/cHotSync.h"

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
constexpr char16_t kNoCreatorId[] =
    u"HotSync can't call this conduit: its component names no creator id.";

constexpr char16_t kNotAsked[] =
    u"HotSync can't call this conduit: its component can't be asked for its creator id: ";

void Tell(std::u16string& message, std::u16string_view paragraph) {
  if (paragraph.empty() || message.find(paragraph) != message.npos) return;
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

bool ConduitInstaller::IsPresent(SyncSystem system) const {
  return system == SyncSystem::kHotSync ? hot_sync_.IsInstalled() : active_sync_.IsInstalled();
}

std::u16string ConduitInstaller::ApplicationFiles(SyncSystem system, int16_t index) {
  return system == SyncSystem::kHotSync ? conduits_.PalmInstall(index)
                                        : conduits_.PPCInstall(index);
}

// Whether handhelds can have the conduit. One whose component can't be asked may be for them.
bool ConduitInstaller::MayBeForPalm(int16_t index) const {
  return !conduits_.CreatorId(index).empty() || !conduits_.Failure(index).empty();
}

// The step with each system of the conduit that is there. Not done when there is none.
template <class Step>
bool ConduitInstaller::WithEach(int16_t index, std::u16string& message, Step step) {
  bool any = false;
  bool done = true;
  for (const SyncSystem system : {SyncSystem::kHotSync, SyncSystem::kActiveSync}) {
    const bool hot_sync = system == SyncSystem::kHotSync;
    if (hot_sync && !MayBeForPalm(index)) continue;
    if (!IsPresent(system)) {
      Tell(message, hot_sync ? cHotSync::kNotInstalled : kNoActiveSync);
      continue;
    }
    any = true;
    done = step(system) && done;
  }
  return any && done;
}

bool ConduitInstaller::InstallConduit(std::u16string_view AppId, std::u16string& message) {
  const int16_t index = Find(AppId, message);
  if (index == 0) return false;
  return WithEach(index, message,
                  [&](SyncSystem system) { return InstallConduit(system, AppId, message); });
}

bool ConduitInstaller::InstallConduit(SyncSystem system, std::u16string_view AppId,
                                      std::u16string& message) {
  const int16_t index = Find(AppId, message);
  if (index == 0) return false;
  return system == SyncSystem::kHotSync ? InstallForHotSync(index, message)
                                        : InstallForActiveSync(index, message);
}

// HotSync names the creator id alone, and the first conduit that has it runs.
bool ConduitInstaller::IsShadowed(int16_t index, std::u16string& message) const {
  const std::u16string& creator_id = conduits_.CreatorId(index);
  const int16_t first = conduits_.FindAppIdFromCreatorId(creator_id);
  if (first == index) return false;
  Tell(message, u"HotSync can't call this conduit: '" + conduits_.AppId(first) +
                    u"' comes before it in the settings file and has the same creator id '" +
                    creator_id + u"'.");
  return true;
}

bool ConduitInstaller::InstallForHotSync(int16_t index, std::u16string& message) {
  const std::u16string& creator_id = conduits_.CreatorId(index);
  if (creator_id.empty()) {
    const std::u16string& failure = conduits_.Failure(index);
    Tell(message, failure.empty() ? kNoCreatorId : kNotAsked + failure);
  } else if (!IsPresent(SyncSystem::kHotSync)) {
    Tell(message, cHotSync::kNotInstalled);
  } else if (IsShadowed(index, message)) {
    return false;
  } else {
    const std::u16string& app_id = conduits_.AppId(index);
    const std::u16string folder = FolderName(app_id);
    std::u16string why;
    const bool done = hot_sync_.InstallConduit(
        {creator_id, app_id, conduits_.ApplicationName(index), folder, folder + u".pdb"}, why);
    Tell(message, why);
    return done;
  }
  return false;
}

bool ConduitInstaller::InstallForActiveSync(int16_t index, std::u16string& message) {
  const std::u16string& app_id = conduits_.AppId(index);
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
  if (AppId.empty()) return Find(AppId, message) != 0;
  std::u16string why;
  const auto creators = HotSyncCreators(AppId, why);
  const bool left_behind =
      active_sync_.IsConduitInstalled(AppId) || !creators.value_or(Creators()).empty();
  if (!left_behind && Find(AppId, message) == 0) {
    Tell(message, why);
    return false;
  }
  bool done = RemoveFromActiveSync(AppId, message);
  if (creators) return RemoveFromHotSync(*creators, message) && done;
  // Nothing of a conduit that handhelds can't have is with HotSync, even when that doesn't answer.
  const int16_t index = conduits_.FindAppId(AppId);
  if (index != 0 && !MayBeForPalm(index)) return done;
  Tell(message, why);
  return false;
}

bool ConduitInstaller::UninstallConduit(SyncSystem system, std::u16string_view AppId,
                                        std::u16string& message) {
  if (AppId.empty()) return Find(AppId, message) != 0;
  if (system == SyncSystem::kActiveSync) return RemoveFromActiveSync(AppId, message);
  std::u16string why;
  const auto creators = HotSyncCreators(AppId, why);
  Tell(message, why);
  return creators && RemoveFromHotSync(*creators, message);
}

// The creator ids under which HotSync has the conduit; nothing when HotSync can't be asked. A
// conduit is found by what was kept with it, so that one without its component, or with another
// creator id now, is found too.
std::optional<ConduitInstaller::Creators> ConduitInstaller::HotSyncCreators(
    std::u16string_view app_id, std::u16string& message) {
  Creators creators;
  if (!hot_sync_.IsInstalled()) return creators;
  const auto registered = hot_sync_.FindConduits(app_id, message);
  if (!registered) return std::nullopt;
  for (const cHotSync::Registered& conduit : *registered) creators.push_back(conduit.creator_id);
  const int16_t index = conduits_.FindAppId(app_id);
  if (index == 0 || !creators.empty() || conduits_.CreatorId(index).empty()) return creators;
  // Registered by another program, which kept no application id with it, or before its section of
  // the settings file got another name: HotSync calls this conduit all the same.
  const std::u16string& creator_id = conduits_.CreatorId(index);
  if (conduits_.FindAppIdFromCreatorId(creator_id) != index) return creators;
  std::u16string not_one;
  if (!hot_sync_.IsCreatorId(creator_id, not_one)) return creators;
  const auto other = hot_sync_.FindConduit(creator_id, message);
  if (!other && !message.empty()) return std::nullopt;
  if (other && other->ours && conduits_.FindAppId(other->app_id) == 0) {
    creators.push_back(other->creator_id);
  }
  return creators;
}

bool ConduitInstaller::RemoveFromHotSync(const Creators& creators, std::u16string& message) {
  bool done = true;
  for (const std::u16string& creator_id : creators) {
    std::u16string why;
    done = hot_sync_.UninstallConduit(creator_id, why) && done;
    Tell(message, why);
  }
  return done;
}

bool ConduitInstaller::RemoveFromActiveSync(std::u16string_view app_id, std::u16string& message) {
  const bool done = active_sync_.UninstallConduit(app_id);
  if (!done) Tell(message, kNotRemoved);
  return done;
}

bool ConduitInstaller::InstallApplication(std::u16string_view AppId, std::u16string& message) {
  const int16_t index = Find(AppId, message);
  if (index == 0) return false;
  bool brings = false;
  bool any = false;
  bool done = true;
  for (const SyncSystem system : {SyncSystem::kHotSync, SyncSystem::kActiveSync}) {
    const bool present = IsPresent(system);
    const bool files = !ApplicationFiles(system, index).empty();
    const bool starts_it = system == SyncSystem::kActiveSync || MayBeForPalm(index);
    brings = brings || files;
    any = any || (present && (files || starts_it));
    if (files && !InstallApplication(system, AppId, {}, message) && present) done = false;
  }
  return done && (any || !brings);
}

bool ConduitInstaller::InstallApplication(SyncSystem system, std::u16string_view AppId,
                                          std::u16string_view user, std::u16string& message) {
  const int16_t index = Find(AppId, message);
  if (index == 0) return false;
  if (ApplicationFiles(system, index).empty()) return true;
  if (!IsPresent(system)) {
    Tell(message, system == SyncSystem::kHotSync ? cHotSync::kNotInstalled : kNoActiveSync);
    return false;
  }
  return system == SyncSystem::kHotSync ? HandToHotSync(index, user, message)
                                        : HandToManager(index, message);
}

bool ConduitInstaller::HandToHotSync(int16_t index, std::u16string_view user,
                                     std::u16string& message) {
  std::u16string why;
  const bool done =
      hot_sync_.InstallApplication(conduits_.AppId(index), conduits_.PalmInstall(index), user, why);
  Tell(message, why);
  return done;
}

bool ConduitInstaller::HandToManager(int16_t index, std::u16string& message) {
  const bool done = active_sync_.InstallApplication(
      conduits_.AppId(index), conduits_.ApplicationName(index), conduits_.PPCInstall(index));
  if (!done) Tell(message, kNotForManager);
  return done;
}

InstallState ConduitInstaller::State(SyncSystem system, std::u16string_view AppId,
                                     std::u16string& message) {
  if (!IsPresent(system)) return InstallState::kNoSystem;
  if (system == SyncSystem::kActiveSync) {
    return active_sync_.IsConduitInstalled(AppId) ? InstallState::kInstalled
                                                  : InstallState::kNotInstalled;
  }
  std::u16string why;
  const auto creators = HotSyncCreators(AppId, why);
  if (creators && !creators->empty()) return InstallState::kInstalled;
  const int16_t index = conduits_.FindAppId(AppId);
  if (index == 0) return InstallState::kNotInstalled;
  const std::u16string& creator_id = conduits_.CreatorId(index);
  if (creator_id.empty()) {
    if (MayBeForPalm(index)) Tell(message, kNotAsked + conduits_.Failure(index));
    return InstallState::kNotSupported;
  }
  if (creators && !hot_sync_.IsCreatorId(creator_id, why)) {
    Tell(message, why);
    return InstallState::kNotSupported;
  }
  if (IsShadowed(index, message)) return InstallState::kTaken;
  const auto holder = creators ? hot_sync_.FindConduit(creator_id, why) : std::nullopt;
  const bool taken = holder && !holder->ours;
  if (taken) why = cHotSync::TakenText(*holder);
  Tell(message, why);
  if (taken) return InstallState::kTaken;
  return why.empty() ? InstallState::kNotInstalled : InstallState::kUnknown;
}

bool ConduitInstaller::HasApplication(SyncSystem system, std::u16string_view AppId) {
  const int16_t index = conduits_.FindAppId(AppId);
  return index != 0 && !ApplicationFiles(system, index).empty();
}

std::optional<std::vector<std::u16string>> ConduitInstaller::Users(std::u16string& message) {
  std::u16string why;
  auto users = hot_sync_.Users(why);
  Tell(message, why);
  return users;
}

}  // namespace pylon

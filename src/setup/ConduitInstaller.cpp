#include "setup/ConduitInstaller.h"

#include "conduits/cConduitList.h"
#include "files/FileNames.h"
#include "files/RegistryObject.h"
#include "setup/SyncCommand.h"
#include "setup/cActiveSync.h"
#include "setup/cHotSync.h"

namespace pylon {
namespace {

constexpr SyncSystem kSystems[] = {SyncSystem::kHotSync, SyncSystem::kActiveSync};

Notice MissingNotice(SyncSystem system) noexcept {
  return system == SyncSystem::kHotSync ? Notice::kNoHotSync : Notice::kNoActiveSync;
}

}  // namespace

int16_t ConduitInstaller::Find(std::u16string_view app_id) const {
  if (app_id.empty()) throw StepFailure(Notice::kNoAppId);
  const int16_t index = conduits_.FindAppId(app_id);
  if (index == 0) {
    StepReport report = StepReport::Failed(Notice::kUnknownAppId, {std::u16string(app_id)});
    const std::u16string& unread = conduits_.LoadError();
    if (!unread.empty()) report.Add({Notice::kSettingsUnread, {unread}});
    throw StepFailure(std::move(report));
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

// Whether the conduit is for handhelds, or may be as its component can't be asked.
bool ConduitInstaller::MayBeForPalm(int16_t index) const {
  return !conduits_.CreatorId(index).empty() || !conduits_.Failure(index).empty();
}

// The step with each system of the conduit that is there. Not done when there is none.
template <class Step>
StepReport ConduitInstaller::WithEach(int16_t index, Step step) {
  StepReport report;
  bool any = false;
  for (const SyncSystem system : kSystems) {
    if (system == SyncSystem::kHotSync && !MayBeForPalm(index)) continue;
    if (IsPresent(system)) {
      any = true;
      report.Add(step(system));
    } else {
      report.Add({MissingNotice(system), {}});
    }
  }
  return any ? report : report.SetFailed();
}

StepReport ConduitInstaller::InstallConduit(std::u16string_view AppId) {
  return ReportOf([&] {
    return WithEach(Find(AppId), [&](SyncSystem system) { return InstallConduit(system, AppId); });
  });
}

StepReport ConduitInstaller::InstallConduit(SyncSystem system, std::u16string_view AppId) {
  return ReportOf([&] {
    const int16_t index = Find(AppId);
    return system == SyncSystem::kHotSync ? InstallForHotSync(index) : InstallForActiveSync(index);
  });
}

// HotSync names the creator id alone, and the first conduit that has it runs.
std::optional<Remark> ConduitInstaller::Shadow(int16_t index) const {
  const std::u16string& creator_id = conduits_.CreatorId(index);
  const int16_t first = conduits_.FindAppIdFromCreatorId(creator_id);
  if (first == index) return std::nullopt;
  return Remark{Notice::kShadowed, {conduits_.AppId(first), creator_id}};
}

StepReport ConduitInstaller::InstallForHotSync(int16_t index) {
  const std::u16string& creator_id = conduits_.CreatorId(index);
  if (creator_id.empty()) {
    const std::u16string& failure = conduits_.Failure(index);
    return failure.empty() ? StepReport::Failed(Notice::kNoCreatorId)
                           : StepReport::Failed(Notice::kComponentNotAsked, {failure});
  }
  if (!IsPresent(SyncSystem::kHotSync)) return StepReport::Failed(Notice::kNoHotSync);
  if (auto shadow = Shadow(index)) return StepReport().Add(*std::move(shadow)).SetFailed();
  const std::u16string& app_id = conduits_.AppId(index);
  const std::u16string folder = FolderName(app_id);
  return hot_sync_.InstallConduit(
      {creator_id, app_id, conduits_.ApplicationName(index), folder, folder + u".pdb"});
}

StepReport ConduitInstaller::InstallForActiveSync(int16_t index) {
  const std::u16string& app_id = conduits_.AppId(index);
  if (!active_sync_.IsInstalled()) return StepReport::Failed(Notice::kNoActiveSync);
  if (!CanConnect(app_id)) return StepReport::Failed(Notice::kCannotConnect);
  if (!RegistryObject::CanStore(active_sync_.ConduitCommand(app_id))) {
    return StepReport::Failed(Notice::kCannotStore);
  }
  if (!active_sync_.InstallConduit(app_id)) return StepReport::Failed(Notice::kNotInActiveSync);
  return StepReport();
}

StepReport ConduitInstaller::UninstallConduit(std::u16string_view AppId) {
  if (AppId.empty()) return StepReport::Failed(Notice::kNoAppId);
  Creators creators;
  const StepReport asked = ReportOf([&] {
    creators = HotSyncCreators(AppId);
    return StepReport();
  });
  const int16_t index = conduits_.FindAppId(AppId);
  if (index == 0 && creators.empty() && !active_sync_.IsConduitInstalled(AppId)) {
    return ReportOf([&] {
             Find(AppId);
             return StepReport();
           })
        .Add(asked);
  }
  StepReport report = RemoveFromActiveSync(AppId);
  if (asked.done()) return report.Add(RemoveFromHotSync(creators));
  // Nothing of a conduit that is not for handhelds is with HotSync, even when that doesn't answer.
  if (index != 0 && !MayBeForPalm(index)) return report;
  return report.Add(asked);
}

StepReport ConduitInstaller::UninstallConduit(SyncSystem system, std::u16string_view AppId) {
  if (AppId.empty()) return StepReport::Failed(Notice::kNoAppId);
  if (system == SyncSystem::kActiveSync) return RemoveFromActiveSync(AppId);
  return ReportOf([&] { return RemoveFromHotSync(HotSyncCreators(AppId)); });
}

// The creator ids under which HotSync has the conduit. A conduit is found by what was kept with it,
// so one without its component, or with another creator id now, is found too.
ConduitInstaller::Creators ConduitInstaller::HotSyncCreators(std::u16string_view app_id) {
  Creators creators;
  if (!hot_sync_.IsInstalled()) return creators;
  for (const cHotSync::Registered& conduit : hot_sync_.FindConduits(app_id)) {
    creators.push_back(conduit.creator_id);
  }
  const int16_t index = conduits_.FindAppId(app_id);
  if (index == 0 || !creators.empty()) return creators;
  // Registered by another program, which kept no application id with it, or before its section of
  // the settings file got another name: HotSync calls this conduit all the same.
  const std::u16string& creator_id = conduits_.CreatorId(index);
  if (!hot_sync_.IsCreatorId(creator_id) || Shadow(index)) return creators;
  const auto other = hot_sync_.FindConduit(creator_id);
  if (other && other->ours && conduits_.FindAppId(other->app_id) == 0) {
    creators.push_back(other->creator_id);
  }
  return creators;
}

StepReport ConduitInstaller::RemoveFromHotSync(const Creators& creators) {
  StepReport report;
  for (const std::u16string& creator_id : creators) {
    report.Add(hot_sync_.UninstallConduit(creator_id));
  }
  return report;
}

StepReport ConduitInstaller::RemoveFromActiveSync(std::u16string_view app_id) {
  return active_sync_.UninstallConduit(app_id) ? StepReport()
                                               : StepReport::Failed(Notice::kNotOutOfActiveSync);
}

StepReport ConduitInstaller::InstallApplication(std::u16string_view AppId) {
  return ReportOf([&] {
    const int16_t index = Find(AppId);
    StepReport report;
    bool brings = false;  // an application
    bool any = false;     // system that runs the conduit
    for (const SyncSystem system : kSystems) {
      const bool present = IsPresent(system);
      const bool files = !ApplicationFiles(system, index).empty();
      const bool starts_it = system == SyncSystem::kActiveSync || MayBeForPalm(index);
      brings = brings || files;
      any = any || (present && (files || starts_it));
      if (files && present) report.Add(InstallApplication(system, AppId, {}));
      if (files && !present) report.Add({MissingNotice(system), {}});
    }
    return any || !brings ? report : report.SetFailed();
  });
}

StepReport ConduitInstaller::InstallApplication(SyncSystem system, std::u16string_view AppId,
                                                std::u16string_view user) {
  return ReportOf([&] {
    const int16_t index = Find(AppId);
    const std::u16string files = ApplicationFiles(system, index);
    if (files.empty()) return StepReport();
    if (!IsPresent(system)) return StepReport::Failed(MissingNotice(system));
    if (system == SyncSystem::kHotSync) {
      return hot_sync_.InstallApplication(conduits_.AppId(index), files, user);
    }
    return HandToManager(index);
  });
}

StepReport ConduitInstaller::HandToManager(int16_t index) {
  const bool done = active_sync_.InstallApplication(
      conduits_.AppId(index), conduits_.ApplicationName(index), conduits_.PPCInstall(index));
  return done ? StepReport() : StepReport::Failed(Notice::kNotGivenToManager);
}

ConduitInstaller::StateAnswer ConduitInstaller::State(SyncSystem system,
                                                      std::u16string_view AppId) {
  if (!IsPresent(system)) return {InstallState::kNoSystem, {}};
  if (system == SyncSystem::kActiveSync) {
    return {active_sync_.IsConduitInstalled(AppId) ? InstallState::kInstalled
                                                   : InstallState::kNotInstalled,
            {}};
  }
  std::optional<Remark> why;
  try {
    if (!HotSyncCreators(AppId).empty()) return {InstallState::kInstalled, {}};
  } catch (const StepFailure& failure) {
    why = failure.report().remarks().front();
  }
  const int16_t index = conduits_.FindAppId(AppId);
  if (index == 0) return {InstallState::kNotInstalled, {}};
  const std::u16string& creator_id = conduits_.CreatorId(index);
  if (creator_id.empty()) {
    if (!MayBeForPalm(index)) return {InstallState::kNotSupported, {}};
    return {InstallState::kNotSupported,
            Remark{Notice::kComponentNotAsked, {conduits_.Failure(index)}}};
  }
  auto shadow = Shadow(index);
  if (shadow && (why || hot_sync_.IsCreatorId(creator_id))) {
    return {InstallState::kTaken, std::move(shadow)};
  }
  if (why) return {InstallState::kUnknown, std::move(why)};
  try {
    const auto holder = hot_sync_.FindConduit(creator_id);
    if (!holder || holder->ours) return {InstallState::kNotInstalled, {}};
    return {InstallState::kTaken, Remark{Notice::kTaken, holder->Holder()}};
  } catch (const StepFailure& failure) {
    const Remark& remark = failure.report().remarks().front();
    return {remark.notice == Notice::kBadCreatorId ? InstallState::kNotSupported
                                                   : InstallState::kUnknown,
            remark};
  }
}

std::vector<std::u16string> ConduitInstaller::Users() { return hot_sync_.Users(); }

}  // namespace pylon

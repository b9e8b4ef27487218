#include "setup/SetupModel.h"

#include <algorithm>

#include "base/Text.h"
#include "conduits/SettingsKeys.h"
#include "files/IniText.h"
#include "setup/Strings.h"
#include "setup/SyncCommand.h"

namespace pylon {
namespace {

constexpr size_t kLongestProposal = 40;

bool IsTaken(std::u16string_view app_id, const std::vector<std::u16string>& taken) {
  const auto same = [app_id](std::u16string_view other) {
    return EqualsIgnoringCase(other, app_id);
  };
  return std::ranges::any_of(taken, same) || settings::IsProgramSection(app_id);
}

// Letters, digits and blanks as they are, so that it is a section, a folder and an argument at
// once.
std::u16string Plain(std::u16string_view name) {
  std::u16string plain;
  for (const char16_t c : name) {
    const bool kept = (c >= u'0' && c <= u'9') || (ToLower(c) >= u'a' && ToLower(c) <= u'z') ||
                      c >= 0xC0 || c == u'_' ||
                      (c == u'-' && !plain.empty() && plain.back() != u' ');
    if (kept) {
      plain += c;
    } else if (c == u' ' && !plain.empty() && plain.back() != u' ') {
      plain += u' ';
    }
  }
  if (plain.size() > kLongestProposal) plain.resize(kLongestProposal);
  return std::u16string(Trim(plain));
}

const SystemFacts& FactsOf(SyncSystem system, const ConduitFacts& conduit) {
  return system == SyncSystem::kHotSync ? conduit.hot_sync : conduit.active_sync;
}

bool CanRegister(SyncSystem system, const ConduitFacts& conduit) {
  return system == SyncSystem::kHotSync ? !conduit.creator_id.empty() : CanConnect(conduit.app_id);
}

bool CanInstall(SyncSystem system, const ConduitFacts& conduit) {
  const SystemFacts& facts = FactsOf(system, conduit);
  return IsLoaded(conduit) && facts.present && !facts.installed && !facts.problem &&
         CanRegister(system, conduit);
}

}  // namespace

bool IsLoaded(const ConduitFacts& conduit) noexcept {
  return !conduit.class_id.empty() && conduit.failure.empty();
}

ConduitRow RowOf(const ConduitFacts& conduit) {
  ConduitRow row;
  row.application = conduit.name.empty() ? conduit.app_id : conduit.name;
  row.version = conduit.version;
  row.author = conduit.author;
  row.app_id = conduit.app_id;
  if (conduit.last_sync != 0) row.last_sync = FormatDate(conduit.last_sync);
  row.greyed = !IsLoaded(conduit);
  if (conduit.class_id.empty()) {
    row.state = {IDS_STATE_NO_CLASS, {}};
  } else if (row.greyed) {
    row.state = {IDS_STATE_NOT_LOADED, conduit.failure};
  } else {
    row.state = {IDS_STATE_READY, {}};
  }
  return row;
}

Phrase StateOf(SyncSystem system, const ConduitFacts& conduit) {
  const bool palm = system == SyncSystem::kHotSync;
  const SystemFacts& facts = FactsOf(system, conduit);
  if (facts.installed) {
    return {facts.present ? IDS_SYSTEM_INSTALLED : IDS_SYSTEM_INSTALLED_BEFORE, {}};
  }
  if (!facts.present) return {palm ? IDS_NO_HOTSYNC : IDS_NO_ACTIVESYNC, {}};
  if (!IsLoaded(conduit)) return {IDS_SYSTEM_NOT_LOADED, {}};
  if (!CanRegister(system, conduit)) {
    return {palm ? IDS_NO_CREATOR : IDS_CANNOT_CONNECT, {}};
  }
  if (facts.problem) return {IDS_SYSTEM_REASON, TextOf(*facts.problem)};
  return {IDS_SYSTEM_NOT_INSTALLED, {}};
}

Phrase ApplicationOf(const ConduitFacts& conduit) {
  if (conduit.ppc_install.empty() && conduit.palm_install.empty()) return {IDS_NO_APPLICATION, {}};
  std::u16string files = conduit.palm_install;
  if (!files.empty() && !conduit.ppc_install.empty()) files += u", ";
  return {IDS_APPLICATION, files + conduit.ppc_install};
}

bool IsEnabled(SetupAction action, const SetupFacts& facts) {
  if (action == SetupAction::kCancel || action == SetupAction::kClose) {
    return (action == SetupAction::kCancel) == facts.busy;
  }
  if (facts.busy) return false;
  if (action == SetupAction::kAdd || action == SetupAction::kEdit ||
      action == SetupAction::kReload || action == SetupAction::kAbout) {
    return true;
  }
  if (action == SetupAction::kGuestMode) return facts.has_active_sync;
  if (!facts.selected) return false;

  const ConduitFacts& conduit = *facts.selected;
  switch (action) {
    case SetupAction::kInstallHotSync:
      return CanInstall(SyncSystem::kHotSync, conduit);
    case SetupAction::kInstallActiveSync:
      return CanInstall(SyncSystem::kActiveSync, conduit);
    // Also of a conduit that can't be loaded, and when the system is gone: to clean up after it.
    case SetupAction::kRemoveHotSync:
      return conduit.hot_sync.installed;
    case SetupAction::kRemoveActiveSync:
      return conduit.active_sync.installed;
    case SetupAction::kInstallApplication:
      return (!conduit.ppc_install.empty() && conduit.active_sync.present) ||
             (!conduit.palm_install.empty() && conduit.hot_sync.present);
    case SetupAction::kSync:
    case SetupAction::kConfigure:
      return IsLoaded(conduit);
    default:
      return true;  // its folder, log and databases may be there still, and its section is
  }
}

bool HasShield(SetupAction action, const ConduitFacts& conduit) {
  switch (action) {
    case SetupAction::kInstallHotSync:
    case SetupAction::kRemoveHotSync:
      return conduit.hot_sync.needs_elevation;
    case SetupAction::kInstallActiveSync:
    case SetupAction::kRemoveActiveSync:
      return conduit.active_sync.needs_elevation;
    default:
      return false;
  }
}

SyncEnd EndOfSync(uint32_t exit_code) noexcept {
  return exit_code == kExitDone        ? SyncEnd::kDone
         : exit_code == kExitCancelled ? SyncEnd::kCancelled
                                       : SyncEnd::kFailed;
}

SyncEnd EndOfHotSync(uint32_t exit_code, bool cancelled) noexcept {
  constexpr uint32_t kFailed = 1;
  constexpr uint32_t kNotBegun = 2;
  if (exit_code == kNotBegun) return SyncEnd::kNotBegun;
  if (exit_code == kFailed && cancelled) return SyncEnd::kCancelled;
  return exit_code == 0 ? SyncEnd::kDone : SyncEnd::kFailed;
}

Phrase SyncEnding(std::u16string_view name, SyncEnd end) {
  switch (end) {
    case SyncEnd::kDone:
      return {IDS_SYNC_DONE, std::u16string(name)};
    case SyncEnd::kFailed:
      return {IDS_SYNC_FAILED, std::u16string(name)};
    case SyncEnd::kCancelled:
      return {IDS_SYNC_CANCELLED, std::u16string(name)};
    case SyncEnd::kNotBegun:
      return {IDS_STEP_FAILED, {}};
    case SyncEnd::kLeft:
      return {IDS_WORK_LEFT, {}};
    case SyncEnd::kNotStarted:
      break;
  }
  return {};
}

std::u16string ProposeAppId(std::u16string_view name, std::u16string_view class_id,
                            const std::vector<std::u16string>& taken) {
  std::u16string first = Plain(name);
  if (first.empty()) first = Plain(class_id.substr(0, class_id.find(u'.')));
  if (first.empty()) first = u"Conduit";
  std::u16string proposal = first;
  for (int64_t number = 2; IsTaken(proposal, taken); ++number) {
    proposal = first + u" " + ToText(number);
  }
  return proposal;
}

Phrase Objection(const NewConduit& conduit, const std::vector<std::u16string>& taken) {
  if (Trim(conduit.class_id).empty()) return {IDS_ADD_NO_CLASS, {}};
  if (!IsIniValue(conduit.class_id)) return {IDS_ADD_NO_CLASS, {}};
  if (Trim(conduit.app_id).empty()) return {IDS_ADD_NO_APPID, {}};
  if (!IsIniSection(conduit.app_id) || !SyncArguments(conduit.app_id)) {
    return {IDS_ADD_BAD_APPID, conduit.app_id};
  }
  if (IsTaken(conduit.app_id, taken)) return {IDS_ADD_TAKEN, conduit.app_id};
  return {};
}

}  // namespace pylon

#include "setup/SyncCommand.h"

#include "base/Text.h"

namespace pylon {
namespace {

bool IsWord(std::u16string_view text) {
  return !text.empty() && text.front() != u'-' && text.front() != u'/';
}

}  // namespace

std::optional<std::u16string> SyncArguments(std::u16string_view app_id, eDatabaseForType database) {
  if (!IsWord(app_id) || app_id.find(u'"') != app_id.npos) return std::nullopt;
  return u"-AppId \"" + std::u16string(app_id) + u"\" -Database " + ToText(database);
}

std::optional<std::u16string> HotSyncArguments(std::u16string_view creator_id) {
  if (creator_id.size() != 4 || creator_id.find_first_of(u"\"\\") != creator_id.npos) {
    return std::nullopt;
  }
  return u"/sync /only \"" + std::u16string(creator_id) + u"\"";
}

std::optional<std::u16string> StepArguments(std::u16string_view app_id, bool install,
                                            std::u16string_view system) {
  if (!IsWord(app_id) || app_id.find(u'"') != app_id.npos) return std::nullopt;
  return u"-AppId \"" + std::u16string(app_id) + (install ? u"\" -install" : u"\" -uninstall") +
         u" -system " + std::u16string(system);
}

std::u16string GuestModeArguments(bool on) {
  return u"-" + std::u16string(kGuestModeSwitch) + (on ? u" on" : u" off");
}

std::optional<bool> GuestModeNamed(std::u16string_view value) {
  if (EqualsIgnoringCase(value, u"on")) return true;
  if (EqualsIgnoringCase(value, u"off")) return false;
  return std::nullopt;
}

std::u16string ConnectArguments(std::u16string_view app_id) {
  return u"-Appid " + std::u16string(app_id) + u" -Database " + ToText(dftActiveSync);
}

bool CanConnect(std::u16string_view app_id) {
  if (app_id.find(u'"') != app_id.npos) return false;
  for (;;) {
    const size_t blank = app_id.find(u' ');
    if (!IsWord(app_id.substr(0, blank))) return false;
    if (blank == app_id.npos) return true;
    app_id.remove_prefix(blank + 1);
  }
}

}  // namespace pylon

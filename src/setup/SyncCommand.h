#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/Types.h"

namespace pylon {

// How Pylon.exe ends, for scripts: syncs, and steps of the installation.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitCancelled = 2;  // a sync, by the user

// The arguments that start a sync of a conduit, with files on the PC or with a Pocket PC. Nothing
// for an AppId that no argument text can carry: an empty one, one with a double quote, one that
// begins like a switch.
std::optional<std::u16string> SyncArguments(std::u16string_view app_id,
                                            eDatabaseForType database = dftWindows);

// The arguments with which the simulated handheld plays a HotSync of one conduit. Nothing for what
// is not a creator id: four characters, none of them a double quote or a backslash, which an
// argument in quotes can't carry at its end.
std::optional<std::u16string> HotSyncArguments(std::u16string_view creator_id);

// The arguments of the step that installs or removes a conduit in one system only ("ActiveSync",
// "HotSync"), with other rights than ours. Nothing as above.
std::optional<std::u16string> StepArguments(std::u16string_view app_id, bool install,
                                            std::u16string_view system);

// The arguments of the step that turns ActiveSync's guest mode on or off, and the value of its
// switch.
inline constexpr char16_t kGuestModeSwitch[] = u"guestmode";
std::u16string GuestModeArguments(bool on);
std::optional<bool> GuestModeNamed(std::u16string_view value);  // "on" or "off", in any case

// The arguments with which ActiveSync starts a sync of a conduit. The AppId is not in
// quotes there, as in ActiveSync's other entries, so not every AppId can be read from them again.
std::u16string ConnectArguments(std::u16string_view app_id);

// Whether they name that conduit: its words begin with neither '-' nor '/', have no double quote
// and are separated by single blanks.
bool CanConnect(std::u16string_view app_id);

}  // namespace pylon

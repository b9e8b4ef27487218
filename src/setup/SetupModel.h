#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Date.h"
#include "setup/Phrase.h"
#include "setup/StepReport.h"
#include "setup/SyncSystem.h"

namespace pylon {

// Decides, without a window, what the setup window shows and allows: facts in, texts and flags out.

// One of the two systems, and a conduit in it.
struct SystemFacts {
  bool present = false;           // on this PC
  bool installed = false;         // the conduit is registered there
  bool needs_elevation = false;   // a change takes the rights of an administrator, which we lack
  std::optional<Remark> problem;  // why it can't be installed there, where only the system knows
};

struct ConduitFacts {
  std::u16string app_id;
  std::u16string name;
  std::u16string version;
  std::u16string author;
  std::u16string class_id;
  std::u16string creator_id;
  std::u16string failure;  // why the component could not be asked; empty when it could
  std::u16string ppc_install;
  std::u16string palm_install;
  Date last_sync = 0;  // 0: never
  SystemFacts hot_sync;
  SystemFacts active_sync;
};

bool IsLoaded(const ConduitFacts& conduit) noexcept;

// Its row of the list, the columns from left to right.
struct ConduitRow {
  std::u16string application;
  std::u16string version;
  std::u16string author;
  std::u16string app_id;
  std::u16string last_sync;  // empty: never
  Phrase state;
  bool greyed = false;
};
ConduitRow RowOf(const ConduitFacts& conduit);

// The line for one of the systems, and the one for the conduit's handheld application.
Phrase StateOf(SyncSystem system, const ConduitFacts& conduit);
Phrase ApplicationOf(const ConduitFacts& conduit);

// The actions that the user may choose.
enum class SetupAction {
  kSync,
  kInstallHotSync,
  kRemoveHotSync,
  kInstallActiveSync,
  kRemoveActiveSync,
  kInstallApplication,
  kConfigure,
  kOpenFolder,
  kOpenLog,
  kOpenDatabases,
  kAdd,
  kRemove,
  kEdit,
  kReload,
  kGuestMode,
  kAbout,
  kClose,
  kCancel,  // of the work under way
};

struct SetupFacts {
  const ConduitFacts* selected = nullptr;
  bool busy = false;  // work is under way
  bool has_active_sync = false;
};
bool IsEnabled(SetupAction action, const SetupFacts& facts);
// Whether it asks the user for the rights of an administrator first.
bool HasShield(SetupAction action, const ConduitFacts& conduit);

// How a sync in another process ended.
enum class SyncEnd {
  kDone,
  kFailed,
  kCancelled,
  kNotBegun,    // the simulated handheld could not begin a session
  kNotStarted,  // there is no process
  kLeft,        // it runs on, and nobody waits for it
};
// By the exit code of Pylon, or of the simulated handheld whose HotSync calls Pylon: its session
// has no code for a conduit that was cancelled.
SyncEnd EndOfSync(uint32_t exit_code) noexcept;
SyncEnd EndOfHotSync(uint32_t exit_code, bool cancelled) noexcept;
// For the line at the bottom.
Phrase SyncEnding(std::u16string_view name, SyncEnd end);

// A conduit that the user is about to add.
struct NewConduit {
  std::u16string class_id;
  std::u16string app_id;
};
// An application id for a conduit of that name which no conduit has yet, which can be a section of
// the settings file and which every system can pass on.
std::u16string ProposeAppId(std::u16string_view name, std::u16string_view class_id,
                            const std::vector<std::u16string>& taken);
// The reasons why it can't be added; none when it can.
Phrase Objection(const NewConduit& conduit, const std::vector<std::u16string>& taken);

}  // namespace pylon

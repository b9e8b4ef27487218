#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "appforge/RunningSync.h"
#include "appforge/UserSettings.h"
#include "base/AnsiCodePage.h"
#include "base/Types.h"

namespace pylon {

// Named settings of a handheld application, for conduits. Where they are depends on the device that
// was synced when the object was made:
//
// - The PC, and without a sync: the user's settings store, where Basic programs keep theirs.
//   GetSettings answers Default for a setting that is not there or can't be. The others raise error
//   5 for an empty name and one with a NUL, SaveSettings also for a value with a NUL, and
//   DeleteSettings for a setting that is not there. A backslash in AppName or Section leads to a
//   section within a section; it must be between two names.
// - ActiveSync: nowhere. GetSettings answers an empty text, the others do nothing.
// - HotSync: in the database "AppName-Settings" on the handheld, an AppForge table whose fields are
//   the text of the key, the text of the value and one that is not used. It keeps no sections: only
//   an empty Section finds a setting. Default is not used, what is not there is an empty text.
//   SaveSettings changes a setting that the handheld's application has made and adds none of its
//   own, though it makes the database where there is none, as DeleteSettings does. Without a
//   database nothing happens. Errors of the database and of a record that holds no setting (9)
//   reach the caller; what is left of a deleted record is passed over. Keys are compared exactly.
//
// A database is opened for each call and closed again, which saves it. One that the conduit has
// open stays open, with its cursor where it was, and is saved when the conduit closes it.
class AppforgeAppSettings {
 public:
  // `sync` is null without a running one. Store and code page are borrowed.
  AppforgeAppSettings(std::shared_ptr<const RunningSync> sync, UserSettings& store,
                      const AnsiCodePage& code_page);

  std::u16string GetSettings(std::u16string_view AppName, std::u16string_view Section,
                             std::u16string_view Key, std::u16string_view Default = {});
  void SaveSettings(std::u16string_view AppName, std::u16string_view Section,
                    std::u16string_view Key, std::u16string_view Value);
  void DeleteSettings(std::u16string_view AppName, std::u16string_view Section,
                      std::u16string_view Key);

 private:
  class Table;
  enum class OpenMode { kExisting, kCreate };

  // Runs an action on the application's table on the handheld, if that can be had.
  void OnHandheld(std::u16string_view app_name, OpenMode mode,
                  const std::function<void(Table&)>& action) const;

  std::shared_ptr<const RunningSync> sync_;
  UserSettings& store_;
  const AnsiCodePage& code_page_;
  const eDeviceType device_type_;
};

}  // namespace pylon

#include "startup/ProgramArguments.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/Types.h"
#include "setup/SyncCommand.h"
#include "startup/cCommandLine.h"

namespace pylon {
namespace {

using Task = ProgramArguments::Task;

Task TaskOf(const cCommandLine& switches) {
  static constexpr struct {
    const char16_t* name;
    Task task;
  } kTasks[] = {
      {u"regserver", Task::kRegister},      {u"unregserver", Task::kUnregister},
      {u"embedding", Task::kServe},         {u"install", Task::kInstall},
      {u"uninstall", Task::kUninstall},     {u"database", Task::kSync},
      {kGuestModeSwitch, Task::kGuestMode},
  };
  for (const auto& [name, task] : kTasks) {
    if (switches.HasSwitch(name)) return task;
  }
  return Task::kManage;
}

// ActiveSync passes an AppId with blanks without quotes, and the parser joins its words by its own
// separator.
std::u16string AppIdIn(const cCommandLine& switches) {
  std::u16string app_id = switches.SwitchValue(u"appid");
  if (switches.CommandLine().find(cCommandLine::kSeparator) == std::u16string::npos) {
    std::ranges::replace(app_id, cCommandLine::kSeparator, u' ');
  }
  return app_id;
}

}  // namespace

int16_t ProgramArguments::DatabaseType() const {
  if (database.empty()) return dftWindows;
  const std::string digits = ToUtf8(Trim(database));
  std::string_view number = digits;
  if (number.starts_with('+') && !number.starts_with("+-")) number.remove_prefix(1);
  int16_t value = 0;
  const auto [end, status] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (status == std::errc::invalid_argument || end != number.data() + number.size()) {
    throw TypeMismatch();
  }
  if (status == std::errc::result_out_of_range) throw Overflow();
  return value;
}

ProgramArguments ReadArguments(std::u16string_view command_line) {
  cCommandLine switches;
  for (const char16_t* name :
       {u"regserver", u"unregserver", u"embedding", u"install", u"uninstall"}) {
    switches.AddSwitch(name, false);
  }
  for (const char16_t* name : {u"appid", u"database", u"save", u"system", kGuestModeSwitch}) {
    switches.AddSwitch(name, true);
  }
  switches.SetCommandLine(ArgumentText(command_line));
  return {TaskOf(switches),
          AppIdIn(switches),
          switches.SwitchValue(u"database"),
          switches.SwitchValue(u"save"),
          switches.SwitchValue(u"system"),
          switches.SwitchValue(kGuestModeSwitch)};
}

std::u16string UsageText() {
  return u"No Application ID Supplied.\r\n"
         u"Pylon -AppId {application id} -Database {Database type}\r\n"
         u"\r\n"
         u"AppId = The Application Id to find the settings in Pylon.ini\r\n" +
         DatabaseUsageText();
}

std::u16string DatabaseUsageText() {
  return u"Database = the type of database we create PDB files for.\r\n"
         u"    0- Palm HotSync\r\n"
         u"    1- Palm VFS\r\n"
         u"    2- Pocket PC\r\n"
         u"    3- Symbian\r\n"
         u"    4- Windows PC (Default)\r\n"
         u"    5- ActiveSync";
}

}  // namespace pylon

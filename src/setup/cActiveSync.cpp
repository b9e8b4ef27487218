#include "setup/cActiveSync.h"

#include <utility>

#include "files/RegistryObject.h"
#include "files/cFileIO.h"
#include "setup/StartProcess.h"
#include "setup/SyncCommand.h"

namespace pylon {
namespace {

// Of HKEY_LOCAL_MACHINE.
constexpr char16_t kManagerKey[] =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\CEAPPMGR.EXE";
constexpr char16_t kServicesKey[] = u"Software\\Microsoft\\Windows CE Services";
constexpr char16_t kAutoStartKey[] =
    u"Software\\Microsoft\\Windows CE Services\\AutoStartOnConnect";
constexpr char16_t kGuestOnly[] = u"GuestOnly";
constexpr char16_t kConduitPrefix[] = u"Pylon.";
constexpr char16_t kUnnamed[] = u"";

constexpr char16_t kInstallFile[] = u"\\CeInstall.ini";
constexpr char16_t kManagerSection[] = u"CEAppManager";

enum class Access { kRead, kWrite };

OpenRegistryKey Open(const char16_t* path, Access access) {
  return OpenRegistryKey(
      RegistryObject::OpenKey(RegistryObject::kLocalMachine, path, access == Access::kRead));
}

RegistryValue ReadValue(const char16_t* path, const std::u16string& name) {
  const OpenRegistryKey key = Open(path, Access::kRead);
  return key ? RegistryObject::GetValue(key.get(), name) : RegistryValue();
}

std::u16string ConduitName(std::u16string_view app_id) {
  return kConduitPrefix + std::u16string(app_id);
}

// The application manager's full path; empty when there is none. Some installers write such paths
// in quotes, or leave something behind the NUL.
std::u16string ManagerPath() {
  const std::u16string stored = TextIn(ReadValue(kManagerKey, kUnnamed));
  const std::u16string path = stored.substr(0, stored.find(u'\0'));
  const bool quoted = path.size() >= 2 && path.starts_with(u'"') && path.ends_with(u'"');
  return quoted ? path.substr(1, path.size() - 2) : path;
}

// A program finds its arguments behind its own name, which needs quotes when it holds blanks.
std::u16string ProgramArgument(const std::u16string& path) {
  return path.find_first_of(u" \t") == path.npos ? path : u"\"" + path + u"\"";
}

}  // namespace

cActiveSync::cActiveSync(std::u16string program_path, const AnsiCodePage& code_page)
    : program_path_(std::move(program_path)),
      program_folder_(program_path_.substr(0, program_path_.rfind(u'\\'))),
      code_page_(code_page) {}

bool cActiveSync::IsInstalled() const { return !IsEmpty(ReadValue(kManagerKey, kUnnamed)); }

bool cActiveSync::GuestMode() const {
  return ReadValue(kServicesKey, kGuestOnly) == RegistryValue(TaggedValue(int32_t{1}));
}

bool cActiveSync::SetGuestMode(bool guest) {
  const OpenRegistryKey key = Open(kServicesKey, Access::kWrite);
  return key &&
         RegistryObject::SetValue(key.get(), kGuestOnly, TaggedValue(int32_t{guest ? 0 : 1})) == 0;
}

bool cActiveSync::IsConduitInstalled(std::u16string_view AppId) const {
  return !IsEmpty(ReadValue(kAutoStartKey, ConduitName(AppId)));
}

bool cActiveSync::InstallConduit(std::u16string_view AppId) {
  if (IsConduitInstalled(AppId)) return true;
  const OpenRegistryKey key = Open(kAutoStartKey, Access::kWrite);
  return key && RegistryObject::SetValue(key.get(), ConduitName(AppId),
                                         TaggedValue(ConduitCommand(AppId))) == 0;
}

bool cActiveSync::UninstallConduit(std::u16string_view AppId) {
  if (!IsConduitInstalled(AppId)) return true;
  const OpenRegistryKey key = Open(kAutoStartKey, Access::kWrite);
  return key && RegistryObject::DeleteValue(key.get(), ConduitName(AppId)) == 0;
}

std::u16string cActiveSync::ConduitCommand(std::u16string_view AppId) const {
  return u"\"" + program_path_ + u"\" " + ConnectArguments(AppId);
}

bool cActiveSync::InstallApplication(std::u16string_view component, std::u16string_view description,
                                     std::u16string_view cab_files) {
  if (cab_files.empty()) return false;
  const std::u16string file = program_folder_ + u"\\" + std::u16string(component) + kInstallFile;
  if (!DescribeApplication(file, component, description, cab_files)) return false;
  const std::u16string manager = ManagerPath();
  if (manager.empty()) return false;
  return StartProcess(manager, ProgramArgument(manager) + u" \"" + file + u"\"").error == 0;
}

bool cActiveSync::DescribeApplication(const std::u16string& file, std::u16string_view component,
                                      std::u16string_view description,
                                      std::u16string_view cab_files) const {
  cFileIO ini(program_folder_, code_page_);
  ini.SetFullFileName(file);
  ini.ValidateDirectory({});
  ini.ValidateFile({});
  return ini.WriteIni(kManagerSection, u"Version", u"1.0") &&
         ini.WriteIni(kManagerSection, u"Component", component) &&
         ini.WriteIni(component, u"Description", description) &&
         ini.WriteIni(component, u"CabFiles", cab_files);
}

}  // namespace pylon

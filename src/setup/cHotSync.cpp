#include "setup/cHotSync.h"

#include <algorithm>
#include <span>

#include "base/Registry.h"
#include "base/Text.h"
#include "files/AnsiText.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

constexpr char16_t kCoreKey[] = u"Software\\U.S. Robotics\\Pilot Desktop\\Core";
// Of the conduit manager's own values for a conduit: which of ours it is.
constexpr char kAppIdValue[] = "PylonAppId";

constexpr size_t kMaxText = 32'767;  // a buffer's size fits in 16 bits

// Where HotSync names the folder of its libraries. "Path" is the folder of the users in later
// versions, whose libraries are with the programs.
struct FolderValue {
  const wchar_t* name;
  bool is_file;  // in the folder
};
constexpr FolderValue kFolderValues[] = {
    {L"Path", false}, {L"DesktopPath", false}, {L"HotSyncPath", true}};

std::u16string WithoutSeparator(std::u16string folder) {
  while (folder.ends_with(u'\\') || folder.ends_with(u'/')) folder.pop_back();
  return folder;
}

// The text that Get(buffer, size) writes; the function's error otherwise.
struct TextResult {
  int error = 0;
  std::string text;
};
template <class Get>
TextResult GetText(Get get) {
  std::string buffer(MAX_PATH, '\0');
  for (;;) {
    int size = static_cast<int>(buffer.size());
    const int result = get(buffer.data(), &size);
    if (result == hotsync::kBufferTooSmall && buffer.size() < kMaxText) {
      buffer.assign(std::min(kMaxText, 8 * buffer.size()), '\0');
      continue;
    }
    if (result < 0) return {result, {}};
    return {0, buffer.substr(0, buffer.find('\0'))};
  }
}

// Empty when the function's number says it all.
std::u16string_view Reason(int error) {
  switch (error) {
    case hotsync::kNoSuchConduit:
      return u"there is no such conduit";
    case hotsync::kCreatorTaken:
      return u"another conduit has this creator id";
    case hotsync::kRegistryRefuses:
      return u"the registry can't be read or written";
    case hotsync::kNoUsers:
      return u"there are no users";
    case hotsync::kNoUserFile:
      return u"the file with the users is missing";
    case hotsync::kCopyFailed:
      return u"the file could not be copied";
    default:
      return {};
  }
}

bool IsPrintable(std::u16string_view text) {
  return std::ranges::none_of(text, [](char16_t c) { return c < u' ' || c == 0x7F; });
}

// As a sentence.
std::u16string Failure(const char* function, int error) {
  const std::u16string answer = FromAscii(function) + u" answers " + ToText(error);
  const std::u16string_view reason = Reason(error);
  return reason.empty() ? answer + u"." : std::u16string(reason) + u" (" + answer + u").";
}

// A title is only shown, so something may stand for what the page lacks.
std::string ShownText(std::u16string_view text) {
  std::string shown;
  for (const char16_t c : text) shown += win::ToAnsi({&c, 1}).value_or("?");
  return win::ToAnsi(text).value_or(shown);
}

std::vector<std::u16string> FileNames(std::u16string_view list) {
  std::vector<std::u16string> names;
  while (!list.empty()) {
    const size_t comma = std::min(list.find(u','), list.size());
    std::u16string_view name = Trim(list.substr(0, comma));
    if (name.size() >= 2 && name.starts_with(u'"') && name.ends_with(u'"')) {
      name = Trim(name.substr(1, name.size() - 2));
    }
    if (!name.empty()) names.emplace_back(name);
    list.remove_prefix(std::min(comma + 1, list.size()));
  }
  return names;
}

}  // namespace

cHotSync::cHotSync(const std::u16string& program_path, const AnsiCodePage& code_page)
    : program_folder_(program_path.substr(0, program_path.rfind(u'\\'))), code_page_(code_page) {}

cHotSync::~cHotSync() = default;

std::vector<std::u16string> cHotSync::Registered::Holder() const {
  return {creator_id, title.empty() ? u"which has no name" : u"'" + title + u"'"};
}

std::u16string cHotSync::Folder() const {
  for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    for (const FolderValue& value : kFolderValues) {
      // Not by RegistryObject, which creates the keys that it reads.
      std::u16string folder = ReadRegistryText(root, kCoreKey, value.name);
      if (value.is_file) folder = SplitFullName(folder).folder;
      folder = WithoutSeparator(std::move(folder));
      // A relative one would lead somewhere else in each current folder.
      if (folder.empty() || IsRelative(folder)) continue;
      if (win::IsFile(JoinFullName(folder, ConduitManagerLibrary::kFileName))) return folder;
    }
  }
  return {};
}

template <class Library>
const Library& cHotSync::Use(std::unique_ptr<Library>& library) const {
  const std::u16string folder = Folder();
  if (folder.empty()) throw StepFailure(Notice::kNoHotSync);
  if (!library || !win::EqualPaths(library->folder(), folder)) {
    library.reset();
    library = Library::Load(folder);
  }
  return *library;
}

bool cHotSync::IsCreatorId(std::u16string_view creator_id) const {
  return creator_id.size() == 4 && IsPrintable(creator_id) && code_page_.Holds(creator_id);
}

void cHotSync::RequireCreatorId(std::u16string_view creator_id) const {
  if (IsCreatorId(creator_id)) return;
  throw StepFailure(Notice::kBadCreatorId,
                    {std::u16string(IsPrintable(creator_id) ? creator_id : u"")});
}

std::string cHotSync::CreatorBytes(std::u16string_view creator_id) const {
  std::string bytes;
  for (const char16_t c : creator_id) bytes += static_cast<char>(code_page_.Encode(c));
  return bytes;
}

std::vector<std::string> cHotSync::Creators() {
  const ConduitManagerLibrary& manager = Use(manager_);
  const int count = manager.CmGetConduitCount();
  if (count < 0) {
    throw StepFailure(Notice::kConduitsNotListed, {Failure("CmGetConduitCount", count)});
  }
  std::vector<std::string> creators;
  for (int i = 0; i < count; ++i) {
    const TextResult creator = GetText(
        [&](char* buffer, int* size) { return manager.CmGetConduitCreatorID(i, buffer, size); });
    if (creator.error != 0) {
      throw StepFailure(Notice::kConduitsNotListed,
                        {Failure("CmGetConduitCreatorID", creator.error)});
    }
    creators.push_back(creator.text);
  }
  return creators;
}

// Whose a creator id is decides what may be done to it, so a conduit that can't be read is a
// failure.
cHotSync::Registered cHotSync::Describe(const std::string& creator) const {
  int error = 0;
  const auto value = [&](const char* name) {
    const TextResult result = GetText([&](char* buffer, int* size) {
      return manager_->CmGetCreatorValueString(creator.c_str(), name, buffer, size, "");
    });
    if (result.error != hotsync::kNoSuchValue && result.error != hotsync::kNoSuchConduit) {
      error = std::min(error, result.error);
    }
    return win::FromAnsi(result.text);
  };
  Registered registered;
  registered.creator_id = code_page_.Decode(std::as_bytes(std::span(creator)));
  registered.ours = EqualsIgnoringCase(value(hotsync::kComClient), kComClass);
  if (registered.ours) registered.app_id = value(kAppIdValue);
  if (error != 0) {
    throw StepFailure(Notice::kConduitsNotListed, {Failure("CmGetCreatorValueString", error)});
  }
  const auto take = [&](auto function) {
    if (!registered.title.empty()) return;
    registered.title = win::FromAnsi(GetText([&](char* buffer, int* size) {
                                       return function(creator.c_str(), buffer, size);
                                     }).text);
  };
  take(manager_->CmGetCreatorTitle);
  take(manager_->CmGetCreatorName);
  return registered;
}

std::optional<cHotSync::Registered> cHotSync::FindConduit(std::u16string_view creator_id) {
  RequireCreatorId(creator_id);
  const std::vector<std::string> creators = Creators();
  const std::string creator = CreatorBytes(creator_id);
  if (std::ranges::find(creators, creator) == creators.end()) return std::nullopt;
  return Describe(creator);
}

std::vector<cHotSync::Registered> cHotSync::FindConduits(std::u16string_view app_id) {
  std::vector<Registered> found;
  for (const std::string& creator : Creators()) {
    Registered registered = Describe(creator);
    if (registered.ours && EqualsIgnoringCase(registered.app_id, app_id)) {
      found.push_back(std::move(registered));
    }
  }
  return found;
}

StepReport cHotSync::InstallConduit(const Conduit& conduit) {
  return ReportOf([&] {
    RequireCreatorId(conduit.creator_id);
    for (const std::u16string& text : {conduit.app_id, conduit.directory, conduit.file}) {
      const std::optional<std::string> ansi = win::ToAnsi(text);
      if (ansi && ansi->size() >= MAX_PATH) throw StepFailure(Notice::kNameTooLong, {text});
      if (!ansi || text.find(u'\0') != text.npos) throw StepFailure(Notice::kNameNotAnsi, {text});
    }
    Use(manager_);
    return Register(conduit);
  });
}

StepReport cHotSync::Register(const Conduit& conduit) {
  const std::string creator = CreatorBytes(conduit.creator_id);
  const char* failed = "CmInstallCreator";
  int result = manager_->CmInstallCreator(creator.c_str(), hotsync::kApplicationConduit);
  const bool created = result >= 0;
  if (result == hotsync::kCreatorTaken) {
    const Registered holder = Describe(creator);
    if (!holder.ours) throw StepFailure(Notice::kTakenAndLeft, holder.Holder());
    result = 0;
  }
  if (result >= 0) result = SetValues(creator, conduit, failed);
  StepReport report;
  if (result < 0) {
    report = StepReport::Failed(Notice::kNotInHotSync, {Failure(failed, result)});
    if (!created) return report;
    result = manager_->CmRemoveConduitByCreatorID(creator.c_str());
    if (result < 0) {
      report.Add({Notice::kNotTakenBack, {Failure("CmRemoveConduitByCreatorID", result)}});
    }
    return report;
  }
  RemoveOthers(conduit, report);
  RefreshHotSync(report);
  return report;
}

int cHotSync::SetValues(const std::string& creator, const Conduit& conduit,
                        const char*& failed) const {
  const char* const id = creator.c_str();
  const auto ansi = [](std::u16string_view text) { return win::ToAnsi(text).value_or(""); };
  int result = 0;
  const auto set = [&](const char* name, auto function, auto... values) {
    if (result < 0) return;
    failed = name;
    result = function(id, values...);
  };
  const std::string title = ShownText(conduit.title);
  const std::string class_name = ansi(kComClass);
  const std::string app_id = ansi(conduit.app_id);
  const std::string directory = ansi(conduit.directory);
  const std::string file = ansi(conduit.file);
  // First what shows that it is ours: one that a crash leaves half done is taken up again.
  set("CmSetCreatorValueString", manager_->CmSetCreatorValueString, hotsync::kComClient,
      class_name.c_str());
  set("CmSetCreatorName", manager_->CmSetCreatorName, hotsync::kComConduit);
  set("CmSetCreatorDirectory", manager_->CmSetCreatorDirectory, directory.c_str());
  set("CmSetCreatorFile", manager_->CmSetCreatorFile, file.c_str());
  set("CmSetCreatorTitle", manager_->CmSetCreatorTitle, title.c_str());
  set("CmSetCreatorPriority", manager_->CmSetCreatorPriority, DWORD{conduit.priority});
  set("CmSetCreatorValueString", manager_->CmSetCreatorValueString, kAppIdValue, app_id.c_str());
  return result;
}

// HotSync would call the component for a creator id that it no longer has.
void cHotSync::RemoveOthers(const Conduit& conduit, StepReport& report) {
  std::vector<Registered> registered;
  try {
    registered = FindConduits(conduit.app_id);
  } catch (const StepFailure& failure) {
    for (const Remark& remark : failure.report().remarks()) report.Add(remark);
  }
  for (const Registered& other : registered) {
    if (other.creator_id == conduit.creator_id) continue;
    const int result = manager_->CmRemoveConduitByCreatorID(CreatorBytes(other.creator_id).c_str());
    if (result >= 0) continue;
    report.Add({Notice::kFormerNotRemoved,
                {other.creator_id, Failure("CmRemoveConduitByCreatorID", result)}});
  }
}

StepReport cHotSync::UninstallConduit(std::u16string_view creator_id) {
  return ReportOf([&] {
    StepReport report;
    const auto registered = FindConduit(creator_id);
    if (!registered || !registered->ours) return report;
    const int result = manager_->CmRemoveConduitByCreatorID(CreatorBytes(creator_id).c_str());
    if (result < 0 && result != hotsync::kNoSuchConduit) {
      throw StepFailure(Notice::kNotOutOfHotSync, {Failure("CmRemoveConduitByCreatorID", result)});
    }
    RefreshHotSync(report);
    return report;
  });
}

void cHotSync::RefreshHotSync(StepReport& report) {
  std::u16string cause;
  try {
    const LONG result = Use(api_).HsRefreshConduitInfo();
    if (result == 0 || result == hotsync::kHotSyncNotFound) return;
    cause = u"HsRefreshConduitInfo answers " + ToText(result) + u".";
  } catch (const StepFailure& failure) {
    cause = TextOf(failure.report());
  }
  report.Add({Notice::kHotSyncNotTold, {cause}});
}

std::vector<std::u16string> cHotSync::Users() {
  const InstallAideLibrary& aide = Use(aide_);
  const int count = aide.PltGetUserCount();
  std::vector<std::u16string> users;
  if (count == hotsync::kNoUsers || count == hotsync::kNoUserFile) return users;
  const char* failed = "PltGetUserCount";
  int error = std::min(count, 0);
  for (int i = 0; i < count && error == 0; ++i) {
    char name[MAX_PATH] = "";
    // Longer than the size given to the function, which may take it for a number of 32 bits.
    short size[2] = {static_cast<short>(sizeof(name) - 1), 0};
    failed = "PltGetUser";
    error = std::min(aide.PltGetUser(static_cast<unsigned>(i), name, size), 0);
    users.push_back(win::FromAnsi(name));
  }
  if (error != 0) throw StepFailure(Notice::kUsersNotListed, {Failure(failed, error)});
  return users;
}

std::u16string cHotSync::ChooseUser(std::u16string_view user) {
  const std::vector<std::u16string> users = Users();
  if (users.empty()) throw StepFailure(Notice::kNoUsers);
  std::u16string names;
  for (const std::u16string& name : users) {
    if (name == user) return name;
    names += (names.empty() ? u"'" : u", '") + name + u"'";
  }
  if (user.empty() && users.size() == 1) return users.front();
  if (user.empty()) throw StepFailure(Notice::kSeveralUsers, {names});
  throw StepFailure(Notice::kNoSuchUser, {std::u16string(user), names});
}

// The full path of a file to install, as HotSync takes it.
std::string cHotSync::PathOf(std::u16string_view app_id, const std::u16string& name) const {
  const std::u16string full = win::FullPath(
      IsRelative(name) ? program_folder_ + u"\\" + std::u16string(app_id) + u"\\" + name : name);
  const std::optional<std::string> ansi = win::ToAnsi(full);
  if (ansi && ansi->size() >= MAX_PATH) throw StepFailure(Notice::kPathTooLong, {full});
  if (!win::IsFile(full)) throw StepFailure(Notice::kFileMissing, {full});
  if (!ansi) throw StepFailure(Notice::kPathNotAnsi, {full});
  return *ansi;
}

StepReport cHotSync::InstallApplication(std::u16string_view app_id, std::u16string_view files,
                                        std::u16string_view user) {
  return ReportOf([&] {
    std::vector<std::string> paths;
    for (const std::u16string& name : FileNames(files)) paths.push_back(PathOf(app_id, name));
    if (paths.empty()) throw StepFailure(Notice::kNoFiles);
    const std::u16string chosen = ChooseUser(user);
    const std::string user_name = win::ToAnsi(chosen).value_or("");
    for (const std::string& path : paths) {
      const int result = aide_->PltInstallFile(user_name.c_str(), path.c_str());
      if (result >= 0) continue;
      throw StepFailure(Notice::kFileRefused,
                        {win::FromAnsi(path), chosen, Failure("PltInstallFile", result)});
    }
    return StepReport();
  });
}

}  // namespace pylon

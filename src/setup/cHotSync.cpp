#include "setup/cHotSync.h"

#include <algorithm>
#include <span>

#include "base/Text.h"
#include "files/AnsiText.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

constexpr wchar_t kCoreKey[] = L"Software\\U.S. Robotics\\Pilot Desktop\\Core";
// Of the conduit manager's own values for a conduit: which of ours it is.
constexpr char kAppIdValue[] = "PylonAppId";

constexpr size_t kMaxText = 32'767;  // a buffer's size fits in 16 bits

// Where HotSync names the folder of its libraries. "Path" is the folder of the users in later
// versions, and the libraries lie with the programs then.
struct FolderValue {
  const wchar_t* name;
  bool is_file;  // in the folder
};
constexpr FolderValue kFolderValues[] = {
    {L"Path", false}, {L"DesktopPath", false}, {L"HotSyncPath", true}};

// Not by RegistryObject, which creates the keys that it reads.
std::u16string ReadText(HKEY root, const wchar_t* name) {
  std::wstring text(MAX_PATH, L'\0');
  for (;;) {
    DWORD size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    const LSTATUS status =
        ::RegGetValueW(root, kCoreKey, name, RRF_RT_REG_SZ, nullptr, text.data(), &size);
    if (status == ERROR_MORE_DATA) {
      text.resize(2 * text.size());
      continue;
    }
    return status == ERROR_SUCCESS ? FromWide(text.c_str()) : std::u16string();
  }
}

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

// Empty for what the function's own answer has to say.
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

std::u16string Quoted(std::u16string_view text) { return u"'" + std::u16string(text) + u"'"; }

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

void Add(std::u16string& message, std::u16string_view sentence) {
  if (!message.empty()) message += u" ";
  message += sentence;
}

}  // namespace

cHotSync::cHotSync(const std::u16string& program_path, const AnsiCodePage& code_page)
    : program_folder_(program_path.substr(0, program_path.rfind(u'\\'))), code_page_(code_page) {}

cHotSync::~cHotSync() = default;

std::u16string cHotSync::Folder() const {
  for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    for (const FolderValue& value : kFolderValues) {
      std::u16string folder = ReadText(root, value.name);
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
const Library* cHotSync::Use(std::unique_ptr<Library>& library, std::u16string& message) const {
  const std::u16string folder = Folder();
  if (folder.empty()) {
    message = kNotInstalled;
    return nullptr;
  }
  if (!library || !win::EqualPaths(library->folder(), folder)) {
    library.reset();
    library = Library::Load(folder, message);
  }
  return library.get();
}

const ConduitManagerLibrary* cHotSync::Manager(std::u16string& message) {
  return Use(manager_, message);
}

bool cHotSync::IsCreatorId(std::u16string_view creator_id, std::u16string& message) const {
  const bool printable = std::none_of(creator_id.begin(), creator_id.end(),
                                      [](char16_t c) { return c < u' ' || c == 0x7F; });
  if (creator_id.size() == 4 && printable && code_page_.Holds(creator_id)) return true;
  message = u"The conduit's creator id " + Quoted(printable ? creator_id : u"") +
            u" is none: it must be four characters that handhelds know.";
  return false;
}

std::string cHotSync::CreatorBytes(std::u16string_view creator_id) const {
  std::string bytes;
  for (const char16_t c : creator_id) bytes += static_cast<char>(code_page_.Encode(c));
  return bytes;
}

std::optional<std::vector<std::string>> cHotSync::Creators(std::u16string& message) {
  const ConduitManagerLibrary* const manager = Manager(message);
  if (!manager) return std::nullopt;
  const int count = manager->CmGetConduitCount();
  if (count < 0) {
    message = u"HotSync's conduits can't be listed: " + Failure("CmGetConduitCount", count);
    return std::nullopt;
  }
  std::vector<std::string> creators;
  for (int i = 0; i < count; ++i) {
    const TextResult creator = GetText(
        [&](char* buffer, int* size) { return manager->CmGetConduitCreatorID(i, buffer, size); });
    if (creator.error != 0) {
      message =
          u"HotSync's conduits can't be listed: " + Failure("CmGetConduitCreatorID", creator.error);
      return std::nullopt;
    }
    creators.push_back(creator.text);
  }
  return creators;
}

std::optional<cHotSync::Registered> cHotSync::Describe(const std::string& creator,
                                                       std::u16string& message) const {
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
    message = u"HotSync's conduits can't be listed: " + Failure("CmGetCreatorValueString", error);
    return std::nullopt;
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

std::optional<cHotSync::Registered> cHotSync::FindConduit(std::u16string_view creator_id,
                                                          std::u16string& message) {
  if (!IsCreatorId(creator_id, message)) return std::nullopt;
  const auto creators = Creators(message);
  if (!creators) return std::nullopt;
  const std::string creator = CreatorBytes(creator_id);
  if (std::find(creators->begin(), creators->end(), creator) == creators->end()) {
    return std::nullopt;
  }
  return Describe(creator, message);
}

std::optional<std::vector<cHotSync::Registered>> cHotSync::FindConduits(std::u16string_view app_id,
                                                                        std::u16string& message) {
  const auto creators = Creators(message);
  if (!creators) return std::nullopt;
  std::vector<Registered> found;
  for (const std::string& creator : *creators) {
    auto registered = Describe(creator, message);
    if (!registered) return std::nullopt;
    if (registered->ours && EqualsIgnoringCase(registered->app_id, app_id)) {
      found.push_back(*std::move(registered));
    }
  }
  return found;
}

std::u16string cHotSync::TakenText(const Registered& holder) {
  return u"The creator id " + Quoted(holder.creator_id) +
         u" belongs to another conduit of HotSync's, " +
         (holder.title.empty() ? u"which has no name" : Quoted(holder.title)) +
         u". Pylon's conduit can be installed when that one is removed.";
}

bool cHotSync::IsConduitInstalled(std::u16string_view creator_id) {
  std::u16string message;
  const auto registered = FindConduit(creator_id, message);
  return registered && registered->ours;
}

bool cHotSync::InstallConduit(const Conduit& conduit, std::u16string& message) {
  message.clear();
  if (!IsCreatorId(conduit.creator_id, message)) return false;
  for (const std::u16string& text : {conduit.app_id, conduit.directory, conduit.file}) {
    const std::optional<std::string> ansi = win::ToAnsi(text);
    if (ansi && ansi->size() >= MAX_PATH) {
      message = u"HotSync can't take the name " + Quoted(text) + u", which is too long.";
      return false;
    }
    if (ansi && text.find(u'\0') == text.npos) continue;
    message = u"HotSync can't take the name " + Quoted(text) +
              u", which has characters that the code page of this PC lacks.";
    return false;
  }
  const ConduitManagerLibrary* const manager = Manager(message);
  if (!manager) return false;

  const std::string creator = CreatorBytes(conduit.creator_id);
  const char* failed = "CmInstallCreator";
  int result = manager->CmInstallCreator(creator.c_str(), hotsync::kApplicationConduit);
  const bool created = result >= 0;
  if (result == hotsync::kCreatorTaken) {
    const auto holder = Describe(creator, message);
    if (!holder) return false;
    if (!holder->ours) {
      message = TakenText(*holder) + u" It was left as it is.";
      return false;
    }
    result = 0;
  }
  if (result >= 0) result = SetValues(creator, conduit, failed);
  if (result < 0) {
    message = u"The conduit could not be registered with HotSync: " + Failure(failed, result);
    if (!created) return false;
    result = manager->CmRemoveConduitByCreatorID(creator.c_str());
    if (result < 0) {
      Add(message, u"What was registered could not be removed either: " +
                       Failure("CmRemoveConduitByCreatorID", result));
    }
    return false;
  }
  RemoveOthers(conduit, message);
  TellHotSync(message);
  return true;
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
void cHotSync::RemoveOthers(const Conduit& conduit, std::u16string& message) {
  const auto registered = FindConduits(conduit.app_id, message);
  if (!registered) return;
  for (const Registered& other : *registered) {
    if (other.creator_id == conduit.creator_id) continue;
    const int result = manager_->CmRemoveConduitByCreatorID(CreatorBytes(other.creator_id).c_str());
    if (result >= 0) continue;
    Add(message, u"The conduit's earlier registration for the creator id " +
                     Quoted(other.creator_id) + u" could not be removed: " +
                     Failure("CmRemoveConduitByCreatorID", result));
  }
}

bool cHotSync::UninstallConduit(std::u16string_view creator_id, std::u16string& message) {
  message.clear();
  const auto registered = FindConduit(creator_id, message);
  if (!registered) return message.empty();
  if (!registered->ours) return true;
  const int result = manager_->CmRemoveConduitByCreatorID(CreatorBytes(creator_id).c_str());
  if (result < 0 && result != hotsync::kNoSuchConduit) {
    message = u"The conduit could not be removed from HotSync: " +
              Failure("CmRemoveConduitByCreatorID", result);
    return false;
  }
  TellHotSync(message);
  return true;
}

void cHotSync::TellHotSync(std::u16string& message) {
  std::u16string cause;
  if (const HotSyncApiLibrary* const api = Use(api_, cause)) {
    const LONG result = api->HsRefreshConduitInfo();
    if (result == 0 || result == hotsync::kHotSyncNotFound) return;
    cause = u"HsRefreshConduitInfo answers " + ToText(result) + u".";
  }
  Add(message,
      u"HotSync could not be told of the change. If it is running, exit and start it again. " +
          cause);
}

std::optional<std::vector<std::u16string>> cHotSync::Users(std::u16string& message) {
  message.clear();
  const InstallAideLibrary* const aide = Use(aide_, message);
  if (!aide) return std::nullopt;
  const int count = aide->PltGetUserCount();
  std::vector<std::u16string> users;
  if (count == hotsync::kNoUsers || count == hotsync::kNoUserFile) return users;
  const char* failed = "PltGetUserCount";
  int error = std::min(count, 0);
  for (int i = 0; i < count && error == 0; ++i) {
    char name[MAX_PATH] = "";
    // Longer than the function is told, which may take it for a number of 32 bits.
    short size[2] = {static_cast<short>(sizeof(name) - 1), 0};
    failed = "PltGetUser";
    error = std::min(aide->PltGetUser(static_cast<unsigned>(i), name, size), 0);
    users.push_back(win::FromAnsi(name));
  }
  if (error == 0) return users;
  message = u"HotSync's users can't be listed: " + Failure(failed, error);
  return std::nullopt;
}

std::optional<std::u16string> cHotSync::ChooseUser(std::u16string_view user,
                                                   std::u16string& message) {
  const auto users = Users(message);
  if (!users) return std::nullopt;
  if (users->empty()) {
    message =
        u"HotSync has no user yet, so the application can't be installed. Synchronize the "
        u"handheld with this PC once, then install again.";
    return std::nullopt;
  }
  std::u16string names;
  for (const std::u16string& name : *users) {
    if (name == user) return name;
    names += (names.empty() ? u"" : u", ") + Quoted(name);
  }
  if (user.empty() && users->size() == 1) return users->front();
  message = user.empty()
                ? u"The application was put on no handheld, as HotSync has several users: " +
                      names + u". Open Pylon's setup window to choose one of them."
                : u"HotSync has no user " + Quoted(user) + u". Its users are " + names + u".";
  return std::nullopt;
}

bool cHotSync::InstallApplication(std::u16string_view app_id, std::u16string_view files,
                                  std::u16string_view user, std::u16string& message) {
  message.clear();
  std::vector<std::string> paths;
  const std::vector<std::u16string> names = FileNames(files);
  for (const std::u16string& name : names) {
    const std::u16string full = win::FullPath(
        IsRelative(name) ? program_folder_ + u"\\" + std::u16string(app_id) + u"\\" + name : name);
    const std::optional<std::string> ansi = win::ToAnsi(full);
    if (ansi && ansi->size() >= MAX_PATH) {
      message = u"HotSync can't take the file \"" + full + u"\", whose path is too long.";
    } else if (!win::IsFile(full)) {
      message =
          u"The file \"" + full + u"\", which is to be installed on the handheld, is missing.";
    } else if (!ansi) {
      message = u"HotSync can't take the file \"" + full +
                u"\", whose name has characters that the code page of this PC lacks.";
    } else {
      paths.push_back(*ansi);
      continue;
    }
    return false;
  }
  if (paths.empty()) {
    message = u"The settings name no file to install on the handheld.";
    return false;
  }
  const auto chosen = ChooseUser(user, message);
  if (!chosen) return false;
  const std::string user_name = win::ToAnsi(*chosen).value_or("");
  for (const std::string& path : paths) {
    const int result = aide_->PltInstallFile(user_name.c_str(), path.c_str());
    if (result >= 0) continue;
    message = u"HotSync does not take the file \"" + win::FromAnsi(path) + u"\" for the user " +
              Quoted(*chosen) + u": " + Failure("PltInstallFile", result);
    return false;
  }
  return true;
}

}  // namespace pylon

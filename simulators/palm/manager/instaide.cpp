// instaide.dll: what is to be installed on a user's handheld is copied to "<user>\Install" in
// HotSync's folder.

#include <string>

#include "Call.h"
#include "Errors.h"
#include "Registry.h"

using palm::Answer;
using palm::QuotedText;

namespace {

bool MakeFolder(const std::string& path) {
  return ::CreateDirectoryA(path.c_str(), nullptr) || ::GetLastError() == ERROR_ALREADY_EXISTS;
}

bool IsKnown(const char* user) {
  for (const std::string& name : palm::Users()) {
    if (name == user) return true;
  }
  return false;
}

int Install(const char* user, const std::string& file) {
  if (!user || !IsKnown(user)) return palm::kInvalidUser;
  const std::string name = file.substr(file.rfind('\\') + 1);
  const size_t point = name.rfind('.');
  const std::string extension = point == name.npos ? "" : name.substr(point + 1);
  if (::lstrcmpiA(extension.c_str(), "prc") != 0 && ::lstrcmpiA(extension.c_str(), "pdb") != 0) {
    return palm::kInvalidFileName;
  }
  const std::string home = palm::HotSyncFolder() + "\\" + user;
  const std::string target = home + "\\Install\\" + name;
  const bool copied = MakeFolder(home) && MakeFolder(home + "\\Install") &&
                      ::CopyFileA(file.c_str(), target.c_str(), FALSE);
  return copied ? palm::kDone : palm::kCopyFailed;
}

}  // namespace

extern "C" int WINAPI PltGetUserCount() {
  return static_cast<int>(Answer("PltGetUserCount", "", [] {
    const size_t count = palm::Users().size();
    return count == 0 ? palm::kNoUsers : static_cast<int>(count);
  }));
}

extern "C" int WINAPI PltGetUser(unsigned index, char* buffer, short* size) {
  return static_cast<int>(Answer("PltGetUser", std::to_string(index), [&] {
    const auto users = palm::Users();
    if (index >= users.size()) return palm::kInvalidUserIndex;
    const short needed = static_cast<short>(users[index].size() + 1);
    const bool fits = buffer && *size >= needed;
    *size = needed;
    if (!fits) return palm::kUserBufferTooSmall;
    users[index].copy(buffer, users[index].size());
    buffer[users[index].size()] = '\0';
    return static_cast<int>(users[index].size());
  }));
}

extern "C" int WINAPI PltInstallFile(const char* user, const char* file) {
  return static_cast<int>(Answer("PltInstallFile", QuotedText(user) + " " + QuotedText(file), [&] {
    return file ? Install(user, file) : palm::kInvalidFileName;
  }));
}

#pragma once

#include <memory>
#include <string>

#include "base/Win32.h"

namespace pylon {

// HotSync's libraries as far as Pylon calls them. Texts are in the system's ANSI code page,
// functions __stdcall and exported undecorated.
//
// This is the one description of them. Names, prototypes and error numbers are those of HotSync's
// published interface. What is marked ASSUMED has not been seen with a real HotSync.

// "condmgr.dll", the register of conduits. A negative result is an error; ASSUMED: everything else
// is success, as some functions answer a count. `size` is the size of the buffer in bytes and comes
// back as that of the text, its NUL included.
#define PYLON_CONDUIT_MANAGER_FUNCTIONS(F)                                                     \
  F(int, CmGetConduitCount, ())                                                                \
  F(int, CmGetConduitCreatorID, (int index, char* creator, int* size))                         \
  F(int, CmInstallCreator, (const char* creator, int type))                                    \
  F(int, CmRemoveConduitByCreatorID, (const char* creator))                                    \
  F(int, CmGetCreatorName, (const char* creator, char* name, int* size))                       \
  F(int, CmSetCreatorName, (const char* creator, const char* name))                            \
  F(int, CmSetCreatorDirectory, (const char* creator, const char* directory))                  \
  F(int, CmSetCreatorFile, (const char* creator, const char* file))                            \
  F(int, CmGetCreatorTitle, (const char* creator, char* title, int* size))                     \
  F(int, CmSetCreatorTitle, (const char* creator, const char* title))                          \
  F(int, CmSetCreatorPriority, (const char* creator, DWORD priority))                          \
  F(int, CmGetCreatorValueString,                                                              \
    (const char* creator, const char* value, char* text, int* size, const char* default_text)) \
  F(int, CmSetCreatorValueString, (const char* creator, const char* value, const char* text))

// "hsapi.dll", the running HotSync. 0 is success.
#define PYLON_HOTSYNC_FUNCTIONS(F) F(LONG, HsRefreshConduitInfo, ())

// "instaide.dll", the users and what waits to be installed on their handhelds. A negative result is
// an error. A buffer's size is a 16-bit number; ASSUMED: it counts bytes.
#define PYLON_INSTALL_AIDE_FUNCTIONS(F)                         \
  F(int, PltGetUserCount, ())                                   \
  F(int, PltGetUser, (unsigned index, char* user, short* size)) \
  F(int, PltInstallFile, (const char* user, const char* file))

namespace hotsync {

inline constexpr int kApplicationConduit = 1;  // the type of a conduit for CmInstallCreator

// Errors of the conduit manager.
inline constexpr int kNoSuchConduit = -1003;
inline constexpr int kCreatorTaken = -1005;
inline constexpr int kRegistryRefuses = -1006;
inline constexpr int kBufferTooSmall = -1010;
inline constexpr int kNoSuchValue = -1011;
// Of HsRefreshConduitInfo: HotSync is not running.
inline constexpr LONG kHotSyncNotFound = 0x10000001;
// Of the install aide.
inline constexpr int kNoUsers = -500;
inline constexpr int kNoUserFile = -503;
inline constexpr int kCopyFailed = -504;

// Makes a conduit one that HotSync calls through COM: the library that does it, which HotSync
// finds in its own folder, and the value with the class name of the client.
inline constexpr char kComConduit[] = "COMConduit.dll";
inline constexpr char kComClient[] = "COMClient";

// Of 0, called first, to 4.
inline constexpr unsigned kUsualPriority = 2;

}  // namespace hotsync

// A library loaded from HotSync's folder, its functions bound once. It stays loaded as long as the
// object lives.
class HotSyncModule {
 public:
  HotSyncModule(const HotSyncModule&) = delete;
  HotSyncModule& operator=(const HotSyncModule&) = delete;

  const std::u16string& folder() const noexcept { return folder_; }

 protected:
  HotSyncModule() = default;
  ~HotSyncModule() = default;
  // Both raise a StepFailure: the folder has no such library, or one of the other width, or it
  // lacks the function.
  void Open(const std::u16string& folder, const char16_t* name);
  void* Function(const char* name) const;

 private:
  std::u16string folder_;
  std::u16string path_;
  Dll module_;
};

#define PYLON_HOTSYNC_POINTER(result, name, parameters) result(WINAPI* name) parameters = nullptr;
#define PYLON_HOTSYNC_LIBRARY(Class, kName, FUNCTIONS)                \
  class Class final : public HotSyncModule {                          \
   public:                                                            \
    static std::unique_ptr<Class> Load(const std::u16string& folder); \
    FUNCTIONS(PYLON_HOTSYNC_POINTER)                                  \
    static constexpr char16_t kFileName[] = kName;                    \
  };

PYLON_HOTSYNC_LIBRARY(ConduitManagerLibrary, u"condmgr.dll", PYLON_CONDUIT_MANAGER_FUNCTIONS)
PYLON_HOTSYNC_LIBRARY(HotSyncApiLibrary, u"hsapi.dll", PYLON_HOTSYNC_FUNCTIONS)
PYLON_HOTSYNC_LIBRARY(InstallAideLibrary, u"instaide.dll", PYLON_INSTALL_AIDE_FUNCTIONS)

#undef PYLON_HOTSYNC_LIBRARY
#undef PYLON_HOTSYNC_POINTER

}  // namespace pylon

#include "setup/HotSyncLibrary.h"

#include "base/Text.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

// Of the folder, not the file: it holds for all its libraries, and is told once.
constexpr const char16_t* kOtherWidth =
    sizeof(void*) == 8 ? u"\" are not for 64-bit programs, as this Pylon is one. Use the 32-bit "
                         u"Pylon.exe to install and remove conduits for HotSync."
                       : u"\" are not for 32-bit programs, as this Pylon is one.";

}  // namespace

bool HotSyncModule::Open(const std::u16string& folder, const char16_t* name,
                         std::u16string& cause) {
  folder_ = folder;
  // Whole and with backslashes alone, as the loader's search flags want it.
  path_ = win::FullPath(JoinFullName(folder, name));
  // What the library needs comes from its own folder or the system's, never from the current one.
  module_.Reset(::LoadLibraryExW(Wide(path_), nullptr,
                                 LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (module_) return true;
  const DWORD error = win::LastError();
  cause = error == ERROR_BAD_EXE_FORMAT
              ? u"HotSync's libraries in \"" + folder + kOtherWidth
              : u"HotSync's library \"" + path_ + u"\" can't be loaded: " +
                    win::DescribeError(error) + u" (" + ToText(error) + u").";
  return false;
}

void* HotSyncModule::Function(const char* name, std::u16string& cause) const {
  void* const function = reinterpret_cast<void*>(::GetProcAddress(module_.get(), name));
  if (!function) {
    cause = u"HotSync's library \"" + path_ + u"\" lacks the function " + FromAscii(name) + u".";
  }
  return function;
}

#define PYLON_HOTSYNC_BIND(result, name, parameters)                                          \
  library->name = reinterpret_cast<decltype(library->name)>(library->Function(#name, cause)); \
  if (!library->name) return nullptr;
#define PYLON_HOTSYNC_LOAD(Class, FUNCTIONS)                                                \
  std::unique_ptr<Class> Class::Load(const std::u16string& folder, std::u16string& cause) { \
    auto library = std::make_unique<Class>();                                               \
    if (!library->Open(folder, kFileName, cause)) return nullptr;                           \
    FUNCTIONS(PYLON_HOTSYNC_BIND)                                                           \
    return library;                                                                         \
  }

PYLON_HOTSYNC_LOAD(ConduitManagerLibrary, PYLON_CONDUIT_MANAGER_FUNCTIONS)
PYLON_HOTSYNC_LOAD(HotSyncApiLibrary, PYLON_HOTSYNC_FUNCTIONS)
PYLON_HOTSYNC_LOAD(InstallAideLibrary, PYLON_INSTALL_AIDE_FUNCTIONS)

#undef PYLON_HOTSYNC_LOAD
#undef PYLON_HOTSYNC_BIND

}  // namespace pylon

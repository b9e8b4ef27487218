#include "setup/HotSyncLibrary.h"

#include "base/Text.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"
#include "setup/StepReport.h"

namespace pylon {
void HotSyncModule::Open(const std::u16string& folder, const char16_t* name) {
  folder_ = folder;
  // Whole and with backslashes alone, as the loader's search flags want it.
  path_ = win::FullPath(JoinFullName(folder, name));
  // The library's imports come from its own folder or the system's, never from the current one.
  module_.Reset(::LoadLibraryExW(Wide(path_), nullptr,
                                 LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (module_) return;
  const DWORD error = win::LastError();
  // Of the folder, not the file: it holds for all its libraries, and is said once.
  if (error == ERROR_BAD_EXE_FORMAT) throw StepFailure(Notice::kLibrariesOfOtherWidth, {folder});
  throw StepFailure(Notice::kLibraryNotLoaded, {path_, win::DescribeError(error), ToText(error)});
}

void* HotSyncModule::Function(const char* name) const {
  void* const function = reinterpret_cast<void*>(::GetProcAddress(module_.get(), name));
  if (!function) throw StepFailure(Notice::kFunctionMissing, {path_, FromAscii(name)});
  return function;
}

#define PYLON_HOTSYNC_BIND(result, name, parameters) \
  library->name = reinterpret_cast<decltype(library->name)>(library->Function(#name));
#define PYLON_HOTSYNC_LOAD(Class, FUNCTIONS)                         \
  std::unique_ptr<Class> Class::Load(const std::u16string& folder) { \
    auto library = std::make_unique<Class>();                        \
    library->Open(folder, kFileName);                                \
    FUNCTIONS(PYLON_HOTSYNC_BIND)                                    \
    return library;                                                  \
  }

PYLON_HOTSYNC_LOAD(ConduitManagerLibrary, PYLON_CONDUIT_MANAGER_FUNCTIONS)
PYLON_HOTSYNC_LOAD(HotSyncApiLibrary, PYLON_HOTSYNC_FUNCTIONS)
PYLON_HOTSYNC_LOAD(InstallAideLibrary, PYLON_INSTALL_AIDE_FUNCTIONS)

#undef PYLON_HOTSYNC_LOAD
#undef PYLON_HOTSYNC_BIND

}  // namespace pylon

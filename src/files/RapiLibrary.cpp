#include "files/RapiLibrary.h"

#include "base/Text.h"
#include "files/FileNames.h"
#include "files/WindowsFile.h"

namespace pylon {
namespace {

constexpr char16_t kName[] = u"rapi.dll";

std::u16string SystemFolder() {
  wchar_t folder[MAX_PATH];
  const UINT size = ::GetSystemDirectoryW(folder, MAX_PATH);
  return size < MAX_PATH ? FromWide({folder, size}) : std::u16string();
}

template <class Function>
bool BindOne(HMODULE module, const char* name, Function*& function) noexcept {
  function = reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
  return function != nullptr;
}

}  // namespace

std::unique_ptr<RapiLibrary> RapiLibrary::Load(const std::u16string& path, std::u16string& cause) {
  // Whole and with backslashes alone, as the loader's search flags want it.
  const std::u16string whole =
      win::FullPath(path.empty() ? JoinFullName(SystemFolder(), kName) : path);
  std::unique_ptr<RapiLibrary> library(new RapiLibrary);
  // The library's own imports come from the system's folder too, never from the current one.
  library->module_.Reset(::LoadLibraryExW(
      Wide(whole), nullptr,
      LOAD_LIBRARY_SEARCH_SYSTEM32 | (path.empty() ? 0u : LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR)));
  if (!library->module_) {
    const DWORD error = win::LastError();
    cause = u"The remote API \"" + whole + u"\" can't be loaded: " + win::DescribeError(error) +
            u" (" + ToText(error) + u")";
    return nullptr;
  }
  if (const char* missing = library->Bind()) {
    cause = u"The remote API \"" + whole + u"\" lacks the function " + FromAscii(missing);
    return nullptr;
  }
  return library;
}

const char* RapiLibrary::Bind() noexcept {
#define PYLON_RAPI_BIND(result, name, parameters) \
  if (!BindOne(module_.get(), #name, name)) return #name;
  PYLON_RAPI_FUNCTIONS(PYLON_RAPI_BIND)
#undef PYLON_RAPI_BIND
  return nullptr;
}

}  // namespace pylon

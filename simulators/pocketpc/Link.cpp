#include "Link.h"

#include <algorithm>
#include <iterator>

#include "../common/SettingsFile.h"

namespace pocketpc {
namespace {

constexpr const wchar_t* kCountedFunctions[] = {
    L"CeCloseHandle",       L"CeCopyFile",        L"CeCreateDirectory", L"CeCreateFile",
    L"CeDeleteFile",        L"CeFindClose",       L"CeFindFirstFile",   L"CeFindNextFile",
    L"CeGetFileAttributes", L"CeGetFileSize",     L"CeGetFileTime",     L"CeGetStoreInformation",
    L"CeGetTempPath",       L"CeMoveFile",        L"CeReadFile",        L"CeRegCloseKey",
    L"CeRegOpenKeyEx",      L"CeRegQueryValueEx", L"CeSetEndOfFile",    L"CeSetFileAttributes",
    L"CeSetFilePointer",    L"CeSetFileTime",     L"CeWriteFile",
};

}  // namespace

const wchar_t* FindCountedFunction(std::wstring_view name) noexcept {
  const auto* const found = std::ranges::find_if(kCountedFunctions, [&](const wchar_t* entry) {
    return simulator::EqualIgnoringCase(entry, name);
  });
  return found == std::end(kCountedFunctions) ? nullptr : *found;
}

}  // namespace pocketpc

#include "Link.h"

#include <windows.h>

#include <algorithm>
#include <chrono>

#include "DevicePath.h"
#include "Errors.h"

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
  const auto* const found = std::ranges::find_if(
      kCountedFunctions, [&](const wchar_t* entry) { return EqualIgnoringCase(entry, name); });
  return found == std::end(kCountedFunctions) ? nullptr : *found;
}

void Link::Begin(const wchar_t* function) {
  if (lost_) throw LinkError{static_cast<HRESULT>(settings_.lost_error)};
  Spend(settings_.call_delay);
  const uint64_t number = ++calls_of_[function];
  if ((settings_.lost_after_calls && calls_ >= *settings_.lost_after_calls) ||
      (settings_.lost_after_bytes && bytes_ >= *settings_.lost_after_bytes) ||
      (settings_.lost_at && settings_.lost_at->function == function &&
       settings_.lost_at->number == number)) {
    Lose();
  }
  ++calls_;
}

uint64_t Link::Transfer(uint64_t size) {
  const uint64_t passed =
      settings_.lost_after_bytes ? std::min(size, *settings_.lost_after_bytes - bytes_) : size;
  bytes_ += passed;
  if (settings_.bandwidth != 0) {
    Spend(1000.0 * static_cast<double>(passed) / static_cast<double>(settings_.bandwidth));
  }
  return passed;
}

void Link::Lose() {
  lost_ = true;
  throw LinkError{static_cast<HRESULT>(settings_.lost_error)};
}

// What Windows oversleeps is taken off the next wait, so that many short ones add up right.
void Link::Spend(double milliseconds) {
  if (milliseconds == 0) return;
  owed_ += milliseconds;
  if (owed_ < 1) return;
  const auto start = std::chrono::steady_clock::now();
  ::Sleep(static_cast<DWORD>(owed_));
  const std::chrono::duration<double, std::milli> slept = std::chrono::steady_clock::now() - start;
  owed_ -= slept.count();
}

}  // namespace pocketpc

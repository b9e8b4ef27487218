// The exported functions: each says its arguments to the log and hands the work on.

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "Errors.h"
#include "Simulator.h"
#include "rapi.h"

namespace pocketpc {
namespace {

// What functions return that fail.
constexpr auto kFalse = [](DWORD) noexcept -> BOOL { return FALSE; };
constexpr auto kAllBits = [](DWORD) noexcept -> DWORD { return 0xFFFFFFFF; };
constexpr auto kNoHandle = [](DWORD) noexcept -> HANDLE { return INVALID_HANDLE_VALUE; };
constexpr auto kNothing = [](DWORD) noexcept -> DWORD { return 0; };
constexpr auto kCode = [](DWORD code) noexcept -> LONG { return static_cast<LONG>(code); };

std::wstring AccessText(DWORD access) {
  std::wstring text;
  if (access & GENERIC_READ) text += L'r';
  if (access & GENERIC_WRITE) text += L'w';
  return text.empty() ? L"none" : text;
}

std::wstring ShareText(DWORD share) {
  std::wstring text;
  if (share & FILE_SHARE_READ) text += L'r';
  if (share & FILE_SHARE_WRITE) text += L'w';
  return text.empty() ? L"none" : text;
}

std::wstring DispositionText(DWORD disposition) {
  constexpr const wchar_t* kTexts[] = {L"create-new", L"create-always", L"open-existing",
                                       L"open-always", L"truncate-existing"};
  return disposition >= CREATE_NEW && disposition <= TRUNCATE_EXISTING
             ? kTexts[disposition - CREATE_NEW]
             : std::to_wstring(disposition);
}

Call& SayKey(Call& call, HKEY key) {
  const wchar_t* const root = RootName(key);
  return root ? call.Text(L"key", root) : call.Handle(key, L"key");
}

template <class Body>
BOOL ServeBool(const wchar_t* function, Body body) noexcept {
  return TheSimulator().Serve(function, kFalse, [&](Call& call) -> BOOL {
    body(call);
    return TRUE;
  });
}

}  // namespace
}  // namespace pocketpc

using namespace pocketpc;

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void* process_ends) {
  if (reason == DLL_PROCESS_ATTACH) ::DisableThreadLibraryCalls(module);
  if (reason == DLL_PROCESS_DETACH && process_ends) TheSimulator().Abandon();
  return TRUE;
}

HRESULT WINAPI CeRapiInitEx(RAPIINIT* init) noexcept { return TheSimulator().Connect(init); }
HRESULT WINAPI CeRapiUninit() noexcept { return TheSimulator().Disconnect(); }
HRESULT WINAPI CeRapiGetError() noexcept { return TheSimulator().RapiError(); }
DWORD WINAPI CeGetLastError() noexcept { return TheSimulator().LastError(); }

HANDLE WINAPI CeCreateFile(const WCHAR* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES*,
                           DWORD disposition, DWORD attributes, HANDLE) noexcept {
  return TheSimulator().Serve(L"CeCreateFile", kNoHandle, [&](Call& call) {
    call.Path(path)
        .Text(L"access", AccessText(access))
        .Text(L"share", ShareText(share))
        .Text(L"disposition", DispositionText(disposition));
    const FileStore::Opened opened =
        call.Begin().files.Create(path, access, share, disposition, attributes);
    TheSimulator().SetLastError(opened.code);
    call.Handle(opened.handle);
    if (opened.code != ERROR_SUCCESS) call.Number(L"error", opened.code);
    return opened.handle;
  });
}

BOOL WINAPI CeReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read,
                       OVERLAPPED* overlapped) noexcept {
  if (read) *read = 0;
  return ServeBool(L"CeReadFile", [&](Call& call) {
    call.Handle(file).Number(L"size", size);
    Device& device = call.Begin();
    Check(read && !overlapped && (buffer || size == 0), ERROR_INVALID_PARAMETER);
    const DWORD bytes = device.files.Read(file, buffer, size);
    if (device.link.Transfer(bytes) < bytes) device.link.Lose();
    *read = bytes;
    call.Number(L"bytes", bytes);
  });
}

BOOL WINAPI CeWriteFile(HANDLE file, const void* data, DWORD size, DWORD* written,
                        OVERLAPPED* overlapped) noexcept {
  if (written) *written = 0;
  return ServeBool(L"CeWriteFile", [&](Call& call) {
    call.Handle(file).Number(L"size", size);
    Device& device = call.Begin();
    Check(written && !overlapped && (data || size == 0), ERROR_INVALID_PARAMETER);
    const auto passed = static_cast<DWORD>(device.link.Transfer(size));
    const DWORD bytes = device.files.Write(file, data, passed);
    call.Number(L"bytes", bytes);
    if (passed < size) device.link.Lose();
    *written = bytes;
    Check(bytes == size || (bytes != 0 && device.settings.short_writes), ERROR_DISK_FULL);
  });
}

DWORD WINAPI CeSetFilePointer(HANDLE file, LONG low, LONG* high, DWORD method) noexcept {
  return TheSimulator().Serve(L"CeSetFilePointer", kAllBits, [&](Call& call) {
    // Without the high half, the low one has a sign.
    const int64_t distance =
        high ? static_cast<int64_t>(static_cast<uint64_t>(*high) << 32 | static_cast<DWORD>(low))
             : low;
    call.Handle(file).Number(L"distance", distance).Number(L"method", method);
    const int64_t position = call.Begin().files.SetPointer(file, distance, method);
    // The low half alone may look like a failure.
    TheSimulator().SetLastError(ERROR_SUCCESS);
    call.Number(L"position", position);
    if (high) *high = static_cast<LONG>(position >> 32);
    return static_cast<DWORD>(position);
  });
}

BOOL WINAPI CeSetEndOfFile(HANDLE file) noexcept {
  return ServeBool(L"CeSetEndOfFile", [&](Call& call) {
    FileStore& files = call.Handle(file).Begin().files;
    files.SetEnd(file);
    call.Number(L"size", files.Size(file));
  });
}

DWORD WINAPI CeGetFileSize(HANDLE file, DWORD* high) noexcept {
  return TheSimulator().Serve(L"CeGetFileSize", kAllBits, [&](Call& call) {
    const int64_t size = call.Handle(file).Begin().files.Size(file);
    TheSimulator().SetLastError(ERROR_SUCCESS);
    call.Number(L"size", size);
    if (high) *high = static_cast<DWORD>(size >> 32);
    return static_cast<DWORD>(size);
  });
}

BOOL WINAPI CeGetFileTime(HANDLE file, FILETIME* creation, FILETIME* access,
                          FILETIME* write) noexcept {
  return ServeBool(L"CeGetFileTime", [&](Call& call) {
    call.Handle(file).Begin().files.GetTimes(file, creation, access, write);
  });
}

BOOL WINAPI CeSetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access,
                          const FILETIME* write) noexcept {
  return ServeBool(L"CeSetFileTime", [&](Call& call) {
    call.Handle(file).Begin().files.SetTimes(file, creation, access, write);
  });
}

BOOL WINAPI CeCloseHandle(HANDLE file) noexcept {
  return ServeBool(L"CeCloseHandle",
                   [&](Call& call) { call.Handle(file).Begin().files.Close(file); });
}

BOOL WINAPI CeDeleteFile(const WCHAR* path) noexcept {
  return ServeBool(L"CeDeleteFile",
                   [&](Call& call) { call.Path(path).Begin().files.Delete(path); });
}

BOOL WINAPI CeMoveFile(const WCHAR* from, const WCHAR* to) noexcept {
  return ServeBool(L"CeMoveFile",
                   [&](Call& call) { call.Path(from).Path(to).Begin().files.Move(from, to); });
}

BOOL WINAPI CeCopyFile(const WCHAR* from, const WCHAR* to, BOOL fail_if_exists) noexcept {
  return ServeBool(L"CeCopyFile", [&](Call& call) {
    call.Path(from).Path(to).Begin().files.Copy(from, to, fail_if_exists != FALSE);
  });
}

BOOL WINAPI CeCreateDirectory(const WCHAR* path, SECURITY_ATTRIBUTES*) noexcept {
  return ServeBool(L"CeCreateDirectory",
                   [&](Call& call) { call.Path(path).Begin().files.CreateFolder(path); });
}

DWORD WINAPI CeGetFileAttributes(const WCHAR* path) noexcept {
  return TheSimulator().Serve(L"CeGetFileAttributes", kAllBits, [&](Call& call) {
    const DWORD attributes = call.Path(path).Begin().files.Attributes(path);
    call.Number(L"attributes", attributes);
    return attributes;
  });
}

BOOL WINAPI CeSetFileAttributes(const WCHAR* path, DWORD attributes) noexcept {
  return ServeBool(L"CeSetFileAttributes", [&](Call& call) {
    call.Path(path).Number(L"attributes", attributes).Begin().files.SetAttributes(path, attributes);
  });
}

HANDLE WINAPI CeFindFirstFile(const WCHAR* pattern, CE_FIND_DATA* found) noexcept {
  return TheSimulator().Serve(L"CeFindFirstFile", kNoHandle, [&](Call& call) {
    FileStore& files = call.Path(pattern).Begin().files;
    Check(found != nullptr, ERROR_INVALID_PARAMETER);
    const HANDLE find = files.FindFirst(pattern, *found);
    call.Handle(find).Path(found->cFileName);
    return find;
  });
}

BOOL WINAPI CeFindNextFile(HANDLE find, CE_FIND_DATA* found) noexcept {
  return ServeBool(L"CeFindNextFile", [&](Call& call) {
    FileStore& files = call.Handle(find).Begin().files;
    Check(found != nullptr, ERROR_INVALID_PARAMETER);
    files.FindNext(find, *found);
    call.Path(found->cFileName);
  });
}

BOOL WINAPI CeFindClose(HANDLE find) noexcept {
  return ServeBool(L"CeFindClose",
                   [&](Call& call) { call.Handle(find).Begin().files.CloseFind(find); });
}

DWORD WINAPI CeGetTempPath(DWORD size, WCHAR* buffer) noexcept {
  return TheSimulator().Serve(L"CeGetTempPath", kNothing, [&](Call& call) -> DWORD {
    const std::wstring& path = call.Number(L"size", size).Begin().settings.temp_path;
    const auto length = static_cast<DWORD>(path.size());
    call.Path(path.c_str());
    // Too small: what it must have, the NUL included.
    if (size <= length) return length + 1;
    Check(buffer != nullptr, ERROR_INVALID_PARAMETER);
    std::wmemcpy(buffer, path.c_str(), length + 1);
    return length;
  });
}

BOOL WINAPI CeGetStoreInformation(STORE_INFORMATION* information) noexcept {
  return ServeBool(L"CeGetStoreInformation", [&](Call& call) {
    const Device& device = call.Begin();
    Check(information != nullptr, ERROR_INVALID_PARAMETER);
    constexpr uint64_t kMax = 0xFFFFFFFF;
    information->dwStoreSize = static_cast<DWORD>(std::min(device.settings.disk_size, kMax));
    information->dwFreeSize = static_cast<DWORD>(std::min(device.files.free(), kMax));
    call.Number(L"size", information->dwStoreSize).Number(L"free", information->dwFreeSize);
  });
}

LONG WINAPI CeRegOpenKeyEx(HKEY key, const WCHAR* sub_key, DWORD, REGSAM, HKEY* opened) noexcept {
  return TheSimulator().Serve(L"CeRegOpenKeyEx", kCode, [&](Call& call) -> LONG {
    DeviceRegistry& registry = SayKey(call, key).Path(sub_key).Begin().registry;
    Check(opened != nullptr, ERROR_INVALID_PARAMETER);
    *opened = registry.Open(key, sub_key);
    SayKey(call, *opened);
    return ERROR_SUCCESS;
  });
}

LONG WINAPI CeRegQueryValueEx(HKEY key, const WCHAR* name, DWORD* reserved, DWORD* type, BYTE* data,
                              DWORD* size) noexcept {
  return TheSimulator().Serve(L"CeRegQueryValueEx", kCode, [&](Call& call) -> LONG {
    SayKey(call, key).Path(name);
    if (data && size) call.Number(L"size", *size);
    DeviceRegistry& registry = call.Begin().registry;
    Check(!reserved && (size || !data), ERROR_INVALID_PARAMETER);
    const RegistryValue& value = registry.Value(key, name);
    const auto needed = static_cast<DWORD>(value.data.size());
    call.Number(L"type", value.type).Number(L"bytes", needed);
    if (type) *type = value.type;
    if (!size) return ERROR_SUCCESS;
    const bool fits = !data || *size >= needed;
    *size = needed;
    Check(fits, ERROR_MORE_DATA);
    if (data && needed != 0) std::memcpy(data, value.data.data(), needed);
    return ERROR_SUCCESS;
  });
}

LONG WINAPI CeRegCloseKey(HKEY key) noexcept {
  return TheSimulator().Serve(L"CeRegCloseKey", kCode, [&](Call& call) -> LONG {
    SayKey(call, key).Begin().registry.Close(key);
    return ERROR_SUCCESS;
  });
}

#pragma once

// The remote API as the Windows CE reference documents it: what rapi.dll exports, undecorated and
// __stdcall. Paths and other texts are UTF-16. A function that fails returns FALSE,
// INVALID_HANDLE_VALUE or 0xFFFFFFFF; CeRapiGetError then says whether the link failed, and only if
// it didn't, CeGetLastError has the device's reason.

#include <windows.h>

// cbSize is the structure's size: 12 bytes in a 32-bit program, 24 in a 64-bit one.
struct RAPIINIT {
  DWORD cbSize;
  HANDLE heRapiInit;   // set by CeRapiInitEx; signalled when hrRapiInit is final
  HRESULT hrRapiInit;  // lives, with the record, until CeRapiUninit
};

struct CE_FIND_DATA {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwOID;
  WCHAR cFileName[MAX_PATH];
};
static_assert(sizeof(CE_FIND_DATA) == 560);

// In bytes.
struct STORE_INFORMATION {
  DWORD dwStoreSize;
  DWORD dwFreeSize;
};

extern "C" {

HRESULT WINAPI CeRapiInitEx(RAPIINIT* init) noexcept;
HRESULT WINAPI CeRapiUninit() noexcept;
HRESULT WINAPI CeRapiGetError() noexcept;
DWORD WINAPI CeGetLastError() noexcept;

HANDLE WINAPI CeCreateFile(const WCHAR* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES*,
                           DWORD disposition, DWORD attributes, HANDLE) noexcept;
BOOL WINAPI CeReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, OVERLAPPED*) noexcept;
BOOL WINAPI CeWriteFile(HANDLE file, const void* data, DWORD size, DWORD* written,
                        OVERLAPPED*) noexcept;
DWORD WINAPI CeSetFilePointer(HANDLE file, LONG low, LONG* high, DWORD method) noexcept;
BOOL WINAPI CeSetEndOfFile(HANDLE file) noexcept;
DWORD WINAPI CeGetFileSize(HANDLE file, DWORD* high) noexcept;
BOOL WINAPI CeGetFileTime(HANDLE file, FILETIME* creation, FILETIME* access,
                          FILETIME* write) noexcept;
BOOL WINAPI CeSetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access,
                          const FILETIME* write) noexcept;
BOOL WINAPI CeCloseHandle(HANDLE file) noexcept;

BOOL WINAPI CeDeleteFile(const WCHAR* path) noexcept;
BOOL WINAPI CeMoveFile(const WCHAR* from, const WCHAR* to) noexcept;
BOOL WINAPI CeCopyFile(const WCHAR* from, const WCHAR* to, BOOL fail_if_exists) noexcept;
BOOL WINAPI CeCreateDirectory(const WCHAR* path, SECURITY_ATTRIBUTES*) noexcept;
DWORD WINAPI CeGetFileAttributes(const WCHAR* path) noexcept;
BOOL WINAPI CeSetFileAttributes(const WCHAR* path, DWORD attributes) noexcept;
HANDLE WINAPI CeFindFirstFile(const WCHAR* pattern, CE_FIND_DATA* found) noexcept;
BOOL WINAPI CeFindNextFile(HANDLE find, CE_FIND_DATA* found) noexcept;
BOOL WINAPI CeFindClose(HANDLE find) noexcept;
DWORD WINAPI CeGetTempPath(DWORD size, WCHAR* buffer) noexcept;
BOOL WINAPI CeGetStoreInformation(STORE_INFORMATION* information) noexcept;

LONG WINAPI CeRegOpenKeyEx(HKEY key, const WCHAR* sub_key, DWORD, REGSAM, HKEY* opened) noexcept;
LONG WINAPI CeRegQueryValueEx(HKEY key, const WCHAR* name, DWORD* reserved, DWORD* type, BYTE* data,
                              DWORD* size) noexcept;
LONG WINAPI CeRegCloseKey(HKEY key) noexcept;

}  // extern "C"

#pragma once

#include <memory>
#include <string>

#include "base/Win32.h"

namespace pylon {

// The Windows CE remote API as "rapi.dll" exports it, with the names, layouts and prototypes of the
// Windows CE reference; texts are UTF-16.
//
// A function that fails returns FALSE, INVALID_HANDLE_VALUE or 0xFFFFFFFF. CeRapiGetError then says
// whether the link failed; only when it didn't, CeGetLastError is the device's own reason. The
// registry's functions return their error.

struct RAPIINIT {
  DWORD cbSize;        // of the record: 12 bytes in a 32-bit program, 24 in a 64-bit one
  HANDLE heRapiInit;   // signalled when the device has answered; the library's own
  HRESULT hrRapiInit;  // its result
};
static_assert(sizeof(RAPIINIT) == (sizeof(void*) == 8 ? 24 : 12));

// Each function: result, name, parameters.
#define PYLON_RAPI_FUNCTIONS(F)                                                                \
  F(HRESULT, CeRapiInitEx, (RAPIINIT*))                                                        \
  F(HRESULT, CeRapiUninit, ())                                                                 \
  F(HRESULT, CeRapiGetError, ())                                                               \
  F(DWORD, CeGetLastError, ())                                                                 \
  F(HANDLE, CeCreateFile, (LPCWSTR, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE)) \
  F(BOOL, CeReadFile, (HANDLE, void*, DWORD, DWORD*, OVERLAPPED*))                             \
  F(BOOL, CeWriteFile, (HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*))                      \
  F(DWORD, CeSetFilePointer, (HANDLE, LONG, LONG*, DWORD))                                     \
  F(BOOL, CeSetEndOfFile, (HANDLE))                                                            \
  F(DWORD, CeGetFileSize, (HANDLE, DWORD*))                                                    \
  F(BOOL, CeGetFileTime, (HANDLE, FILETIME*, FILETIME*, FILETIME*))                            \
  F(BOOL, CeSetFileTime, (HANDLE, FILETIME*, FILETIME*, FILETIME*))                            \
  F(BOOL, CeCloseHandle, (HANDLE))                                                             \
  F(BOOL, CeDeleteFile, (LPCWSTR))                                                             \
  F(BOOL, CeMoveFile, (LPCWSTR, LPCWSTR))                                                      \
  F(BOOL, CeCopyFile, (LPCWSTR, LPCWSTR, BOOL))                                                \
  F(BOOL, CeCreateDirectory, (LPCWSTR, SECURITY_ATTRIBUTES*))                                  \
  F(DWORD, CeGetFileAttributes, (LPCWSTR))                                                     \
  F(BOOL, CeSetFileAttributes, (LPCWSTR, DWORD))                                               \
  F(LONG, CeRegOpenKeyEx, (HKEY, LPCWSTR, DWORD, REGSAM, HKEY*))                               \
  F(LONG, CeRegQueryValueEx, (HKEY, LPCWSTR, DWORD*, DWORD*, BYTE*, DWORD*))                   \
  F(LONG, CeRegCloseKey, (HKEY))

// A loaded rapi.dll with its functions, bound once. The library stays loaded as long as the object
// lives.
class RapiLibrary {
 public:
  // The real one, of the system's folder and nowhere else, for an empty path; else the one at the
  // whole path. Null, and the cause as a sentence, when there is no such library, it has not the
  // width of this program, or lacks a function.
  static std::unique_ptr<RapiLibrary> Load(const std::u16string& path, std::u16string& cause);

  RapiLibrary(const RapiLibrary&) = delete;
  RapiLibrary& operator=(const RapiLibrary&) = delete;

#define PYLON_RAPI_POINTER(result, name, parameters) result(WINAPI* name) parameters = nullptr;
  PYLON_RAPI_FUNCTIONS(PYLON_RAPI_POINTER)
#undef PYLON_RAPI_POINTER

 private:
  RapiLibrary() = default;
  // The first function that is missing, or null.
  const char* Bind() noexcept;

  Dll module_;
};

}  // namespace pylon

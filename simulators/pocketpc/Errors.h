#pragma once

#include <windows.h>

namespace pocketpc {

// Why a call failed. Either ends the call, goes to the log and is what the error functions answer.

// The device refuses: a Windows error number, for CeGetLastError.
struct DeviceError {
  DWORD code;
};

// The call doesn't reach the device: for CeRapiGetError.
struct LinkError {
  HRESULT result;
};

inline constexpr HRESULT kNotConnected = static_cast<HRESULT>(0x800708CA);
inline constexpr HRESULT kBadSettings = static_cast<HRESULT>(0x8007064A);
inline constexpr HRESULT kAlreadyInitialized = static_cast<HRESULT>(0x80041001);

// What Windows last said, as the device's own answer.
[[noreturn]] inline void ThrowLastError() { throw DeviceError{::GetLastError()}; }

inline void Check(bool condition, DWORD error) {
  if (!condition) throw DeviceError{error};
}

inline void CheckWindows(bool succeeded) {
  if (!succeeded) ThrowLastError();
}

}  // namespace pocketpc

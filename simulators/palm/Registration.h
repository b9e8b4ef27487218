#pragma once

#include <optional>
#include <string>

#include "base/Com.h"

namespace pylon::palm {

// The suite's type library: the one that programs look for.
inline constexpr GUID kLibraryId = {
    0x6FD7A7A0, 0xFA1F, 0x11D2, {0xAC, 0x32, 0x00, 0x60, 0x08, 0xE3, 0xF0, 0xA2}};
inline constexpr WORD kLibraryMajor = 1;
inline constexpr WORD kLibraryMinor = 0;

// Registers this program as the suite, with the first or the second order of its library: for all
// users when it runs elevated, else for this one. Another suite that is there is never replaced:
// SuiteError, and nothing has changed. The simulator registered elsewhere is.
void Register(bool second);
// What the simulator registered; another suite stays.
void Unregister();

// Whether the library that this program registered is the second; nothing when it is not this
// program that is registered.
std::optional<bool> RegisteredSecond();

}  // namespace pylon::palm

#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace pylon::palm {

// The results with which the suite's calls fail.
inline constexpr uint32_t kFailed = 0x80004005;       // E_FAIL
inline constexpr uint32_t kUnexpected = 0x8000FFFF;   // E_UNEXPECTED
inline constexpr uint32_t kRefused = 0x80070005;      // E_ACCESSDENIED
inline constexpr uint32_t kMemoryFull = 0x8007000E;   // E_OUTOFMEMORY
inline constexpr uint32_t kNoSession = 0x80070015;    // HRESULT_FROM_WIN32(ERROR_NOT_READY)
inline constexpr uint32_t kBadArgument = 0x80070057;  // E_INVALIDARG
inline constexpr uint32_t kLinkLost = 0x800704D4;  // HRESULT_FROM_WIN32(ERROR_CONNECTION_ABORTED)
inline constexpr uint32_t kNotFound = 0x80030002;  // STG_E_FILENOTFOUND
inline constexpr uint32_t kExists = 0x80030050;    // STG_E_FILEALREADYEXISTS

// A call to the simulated handheld that fails: its HRESULT and words for people.
struct SuiteError {
  uint32_t result;
  std::u16string description;
};

}  // namespace pylon::palm

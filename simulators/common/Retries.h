#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>

// Records that something was tried again only because the test platform had failed to do it. The
// file that PYLON_RETRIES names gets a line, so that a run of the tests can report how often that
// was needed; without PYLON_RETRIES nothing is recorded.
inline void RecordRetry(const char* what) {
  const wchar_t* const file = ::_wgetenv(L"PYLON_RETRIES");
  if (file) std::ofstream(std::filesystem::path(file), std::ios::app) << what << '\n';
}

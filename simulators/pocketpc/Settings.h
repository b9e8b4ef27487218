#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "DeviceRegistry.h"

namespace pocketpc {

enum class ConnectFault { kNone, kError, kRefused, kNoAnswer };

struct LostAt {
  std::wstring function;
  uint64_t number = 1;  // of its calls, from 1
};

// What the INI file says; README.md describes each setting.
struct Settings {
  std::wstring ini;     // full path; the file may be missing
  std::wstring folder;  // full path
  uint64_t disk_size = 32 << 20;
  int64_t clock_offset = 0;  // in seconds
  std::wstring temp_path = L"\\Temp\\";
  uint32_t connect_delay = 0;  // in milliseconds
  uint32_t call_delay = 0;     // in milliseconds
  uint64_t bandwidth = 0;      // in bytes a second; 0: no limit
  std::wstring log;            // full path
  ConnectFault connect = ConnectFault::kNone;
  std::optional<uint64_t> lost_after_calls;
  std::optional<uint64_t> lost_after_bytes;
  std::optional<LostAt> lost_at;
  uint32_t lost_error = 0x80072775;  // WSAEDISCON, as an HRESULT
  std::wstring unreadable_file;      // device paths; empty: none
  std::wstring locked_file;
  bool short_writes = false;
  RegistryValues registry;

  // One line for each thing wrong in the file. The settings are of use only when there is none, but
  // for ini and log.
  std::vector<std::wstring> mistakes;
};

// Reads rapi.ini beside the module, or the file that PYLON_SIMULATED_POCKETPC names.
Settings ReadSettings(HMODULE module);

}  // namespace pocketpc

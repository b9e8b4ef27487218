#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../common/LinkFaults.h"
#include "DeviceRegistry.h"

namespace pocketpc {

enum class ConnectFault { kNone, kError, kRefused, kNoAnswer };

// What the INI file says; README.md describes each setting.
struct Settings {
  std::wstring ini;     // full path; the file may be missing
  std::wstring folder;  // full path
  uint64_t disk_size = 32 << 20;
  int64_t clock_offset = 0;  // in seconds
  std::wstring temp_path = L"\\Temp\\";
  uint32_t connect_delay = 0;  // in milliseconds
  simulator::LinkSettings link;
  std::wstring log;  // full path
  ConnectFault connect = ConnectFault::kNone;
  uint32_t lost_error = 0x80072775;  // WSAEDISCON, as an HRESULT
  std::wstring unreadable_file;      // device paths; empty: none
  std::wstring locked_file;
  bool short_writes = false;
  RegistryValues registry;

  // One line for each thing wrong in the file. The settings are of use only when there is none,
  // except ini and log.
  std::vector<std::wstring> mistakes;
};

// Reads rapi.ini beside the module, or the file that PYLON_SIMULATED_POCKETPC names.
Settings ReadSettings(HMODULE module);

}  // namespace pocketpc

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "setup/LogText.h"

namespace pylon {

// The log of a conduit for one device.
struct LogFile {
  std::u16string device;  // its folder
  std::u16string path;
  uint64_t written = 0;  // a FILETIME's 64 bits
};

// Those of a conduit, as a sync names them, the last written first.
std::vector<LogFile> LogFilesOf(std::u16string_view program_folder, std::u16string_view app_id);

// Reads its end while a sync may go on writing it. The system's error, 0 for none.
unsigned long ReadLog(const std::u16string& path, const AnsiCodePage& code_page, LogText& log);

}  // namespace pylon

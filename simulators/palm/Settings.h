#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "../common/LinkFaults.h"
#include "base/Date.h"

namespace pylon::palm {

struct BusyRecord {
  std::u16string database;
  uint32_t id = 0;
};

// What the INI file says; README.md describes each setting.
struct Settings {
  std::filesystem::path ini;  // full path; the file may be missing
  std::filesystem::path folder;
  std::u16string user_name = u"Palm User";
  int32_t user_id = 1001;
  std::optional<Date> clock;  // nothing: the PC's
  int32_t sync_type = 0;
  std::vector<uint32_t> conduits;  // creators of those that run; empty: all
  std::filesystem::path call_log;
  std::filesystem::path session_log;
  simulator::LinkSettings link;
  std::optional<bool> second_library;
  bool ids_as_long = false;
  bool names_as_variants = false;
  bool answers = true;
  std::optional<BusyRecord> busy_record;
  std::u16string read_only_database;  // empty: none
  std::optional<uint64_t> full_after_bytes;

  // One line for each thing wrong in the file. The settings are of use only when there is none,
  // except ini and the logs.
  std::vector<std::u16string> mistakes;
};

// Reads the file, or handheld.ini beside the program when the path is empty.
Settings ReadSettings(const std::filesystem::path& ini);

}  // namespace pylon::palm

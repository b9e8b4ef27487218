#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "tests/support/PdbTesting.h"

namespace pylon::testing {

// The hex dumps of a page of the documentation: lines of eight digits of offset, a colon and up to
// 16 bytes. One begins at each offset 0; a line that is left out repeats the one before it.
inline std::vector<Bytes> DumpsOfPage(const std::string& path) {
  std::ifstream page(path);
  std::vector<Bytes> dumps;
  Bytes row;
  for (std::string line; std::getline(page, line);) {
    if (line.size() < 11 || line.find_first_not_of("0123456789abcdef") != 8 || line[8] != ':') {
      continue;
    }
    if (line.starts_with("00000000")) dumps.emplace_back();
    Bytes& dump = dumps.back();
    const Bytes before = row;
    row = FromHex(line.substr(10, 47));
    while (dump.size() < std::stoul(line, nullptr, 16)) {
      dump.insert(dump.end(), before.begin(), before.end());
    }
    dump.insert(dump.end(), row.begin(), row.end());
  }
  return dumps;
}

}  // namespace pylon::testing

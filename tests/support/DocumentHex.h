#pragma once

#include <fstream>
#include <string>

#include "tests/support/PdbTesting.h"

namespace pylon::testing {

// The hex dump of a page of the documentation: lines of eight digits of offset, a colon and up to
// 16 bytes.
inline Bytes BytesOfPage(const std::string& path) {
  std::ifstream page(path);
  Bytes bytes;
  for (std::string line; std::getline(page, line);) {
    if (line.size() < 11 || line.find_first_not_of("0123456789abcdef") != 8 || line[8] != ':') {
      continue;
    }
    const Bytes row = FromHex(line.substr(10, 47));
    bytes.insert(bytes.end(), row.begin(), row.end());
  }
  return bytes;
}

}  // namespace pylon::testing

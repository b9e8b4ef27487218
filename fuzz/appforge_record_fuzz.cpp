// Drives a record and a plain reference that keeps every value as text through the same calls: any
// schema, any bytes decoded, any values set, everything read and encoded after each.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "tests/appforge/TextRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto difference = pylon::testing::FirstDifference(std::as_bytes(std::span(data, size)));
  if (difference) {
    std::fprintf(stderr, "%s\n", difference->c_str());
    std::abort();
  }
  return 0;
}

// Decodes any bytes into a record of any schema and sets any values in it; after each step it shows
// the same as a record that has its texts.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "tests/appforge/RecordProperty.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto difference = pylon::testing::FirstDifference(std::as_bytes(std::span(data, size)));
  if (difference) {
    std::fprintf(stderr, "%s\n", difference->c_str());
    std::abort();
  }
  return 0;
}

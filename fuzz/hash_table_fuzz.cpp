// Drives the hash table and a plain map with the same operations, drawn from the input.

#include <cstddef>
#include <cstdint>
#include <span>

#include "tests/support/HashTableModel.h"

namespace {

class Draw {
 public:
  explicit Draw(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  bool empty() const { return bytes_.empty(); }
  size_t operator()(size_t below) {
    if (bytes_.empty()) return 0;
    const size_t drawn = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return drawn % below;
  }

 private:
  std::span<const uint8_t> bytes_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Draw draw({data, size});
  pylon::testing::HashTableModel model([&draw](size_t below) { return draw(below); });
  while (!draw.empty()) model.Step();
  model.CompareAll();
  return 0;
}

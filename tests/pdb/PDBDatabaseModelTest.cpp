// The fuzz target's comparison with a plain vector, over random inputs.

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

TEST(PDBDatabaseModel, AgreesWithAVectorWhateverIsDone) {
  for (uint32_t seed = 1; seed <= 2000; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::vector<uint8_t> input(1 + random() % 600);
    for (uint8_t& byte : input) byte = static_cast<uint8_t>(random());
    input[0] |= 1;  // a file of records
    ASSERT_NO_THROW(LLVMFuzzerTestOneInput(input.data(), input.size()));
  }
}

// Reads any bytes as an index file, or as the records of one: it is either an index, which writes
// the same entries again, or it is set aside as it is.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "pdb/CSyncIndex.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

constexpr char16_t kIndex[] = u"C:\\data\\PC\\Test.si";

void Check(bool holds) {
  if (!holds) std::abort();
}

void ReadAsIndex(const Bytes& bytes) {
  testing::MemoryDisk folder;
  const testing::FixedClock clock;
  // Without a log, a damaged file is an error.
  const auto log = std::make_shared<testing::CollectingLog>();
  const CSyncIndex::Surroundings surroundings{
      folder.Factory(), AnsiCodePage::Windows1252(), clock, log, {}, u"C:\\data", u"PC"};
  folder.files[kIndex] = bytes;
  CSyncIndex index(surroundings);
  index.SetDatabase({}, u"Test");
  index.Remove(u"key");
  const bool aside = folder.files.contains(std::u16string(kIndex) + u".damaged");
  Check(aside != folder.files.contains(kIndex));
  if (aside) Check(folder.files[std::u16string(kIndex) + u".damaged"] == bytes);
  try {
    index.Add(u"key", 7);
  } catch (const AutomationError& error) {
    Check(error.number() == static_cast<int32_t>(ErrorNumber::kOverflow));
    return;
  }
  index.CloseIndex();
  const Bytes written = folder.files[kIndex];
  // The written file reads back, and writes the same bytes.
  Check(index.UniqueId(u"key") == 7);
  index.SetUniqueId(u"key", 8);
  index.SetUniqueId(u"key", 7);
  Check(index.Changed());
  index.CloseIndex();
  Check(folder.files[kIndex] == written);
}

// An index file whose records are the rest of the input in pieces.
Bytes FileOfRecords(ByteSpan bytes) {
  testing::FileImage image;
  image.type = "INDX";
  image.creator = "PYL1";
  while (!bytes.empty()) {
    const size_t size = std::min(std::to_integer<size_t>(bytes[0]), bytes.size() - 1);
    const ByteSpan record = bytes.subspan(1, size);
    image.records.push_back({0, 0, {record.begin(), record.end()}});
    bytes = bytes.subspan(1 + size);
  }
  return image.Build();
}

}  // namespace
}  // namespace pylon

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  if (!bytes.empty() && bytes[0] == std::byte{0}) {
    pylon::ReadAsIndex(pylon::FileOfRecords(bytes.subspan(1)));
  } else {
    pylon::ReadAsIndex({bytes.begin(), bytes.end()});
  }
  return 0;
}

// Opens any bytes as a PDB file, or a file built of records from the input, and holds the database
// to what it shows: a file that was only read stays as it is, and what was changed, removed and
// added is what the saved file gives back.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

#include "base/AutomationError.h"
#include "pdb/PDBFormat.h"
#include "tests/support/PdbTesting.h"

namespace pylon {
namespace {

using testing::BlockOf;
using testing::DatabaseFile;
using testing::Put;
using testing::ReadAll;
using testing::Record;

void Check(bool holds) {
  if (!holds) throw std::logic_error("the database is not what it should be");
}

struct Content {
  std::vector<Record> records;
  Bytes app_info, sort_info;
};

Content ReadContent(PDBDatabase& database) {
  Content content;
  content.records = ReadAll(database);
  content.app_info = BlockOf(database.ReadAppInfoBlock());
  content.sort_info = BlockOf(database.ReadSortInfoBlock());
  return content;
}

// Drives changes from the input's own bytes, the same for the same input.
class Choices {
 public:
  explicit Choices(ByteSpan bytes) : bytes_(bytes) {}
  uint32_t Draw(uint32_t below) {
    if (at_ < bytes_.size()) state_ ^= std::to_integer<uint32_t>(bytes_[at_++]);
    state_ = state_ * 1664525u + 1013904223u;
    return (state_ >> 8) % below;
  }

 private:
  ByteSpan bytes_;
  size_t at_ = 0;
  uint32_t state_ = 1;
};

void Change(PDBDatabase& database, Content& content, Choices& choices) {
  std::vector<Record>& records = content.records;
  for (uint32_t steps = choices.Draw(20); steps > 0; --steps) {
    const auto at = records.empty() ? 0 : choices.Draw(static_cast<uint32_t>(records.size()));
    const int32_t index = static_cast<int32_t>(at) + 1;
    Record record;
    record.data = Bytes(choices.Draw(40), std::byte(steps));
    record.category = static_cast<int16_t>(choices.Draw(8));
    record.attributes = static_cast<int32_t>(choices.Draw(16)) << 4;
    switch (choices.Draw(5)) {
      case 0: {
        const auto asked = static_cast<int32_t>(choices.Draw(2) ? 0 : choices.Draw(kMaxUniqueId));
        if (asked == 0 || !database.ById(asked)) record.id = asked;
        const int32_t given = Put(database, 0, record);
        Check(given == record.id || record.id == 0);
        record.id = given;
        records.push_back(record);
        break;
      }
      case 1:
        if (records.empty()) break;
        record.id = Put(database, index, record);
        records[at] = record;
        break;
      case 2: {
        if (records.empty()) break;
        const std::optional<pylon::Record> read = database.ByIndex(index);
        Check(read.has_value());
        database.Remove(read->id);  // of records that share an id, the one just read
        records.erase(records.begin() + at);
        break;
      }
      case 3:
        database.RemoveWithDeleteFlag();
        std::erase_if(records, [](const Record& r) { return (r.attributes & eDelete) != 0; });
        break;
      case 4:
        (choices.Draw(2) ? content.app_info : content.sort_info) = record.data;
        database.WriteAppInfoBlock(content.app_info);
        database.WriteSortInfoBlock(content.sort_info);
        break;
    }
  }
}

// An id finds the first of the records that share it.
void FindAll(PDBDatabase& database, const std::vector<Record>& records) {
  for (const Record& record : records) {
    if (record.id == 0) continue;
    const std::optional<pylon::Record> found = database.ById(record.id);
    const auto first = std::ranges::find(records, record.id, &Record::id);
    Check(found && found->index == first - records.begin() + 1);
  }
}

// An id of 0 is one that the save may give; all others stay.
void Compare(Content expected, const Content& saved, eDatabaseForType database_for) {
  Check(saved.records.size() == expected.records.size());
  for (size_t i = 0; i < saved.records.size(); ++i) {
    Record& record = expected.records[i];
    if (record.id == 0 && !record.data.empty() && database_for != dftPalmHotSync) {
      record.id = saved.records[i].id;
      Check(record.id != 0);
      Check(std::ranges::count(saved.records, record.id, &Record::id) == 1);
    }
    Check(saved.records[i] == record);
  }
  for (Bytes* block : {&expected.app_info, &expected.sort_info}) {
    block->resize(BlockArea(block->size(), database_for));
  }
  Check(saved.app_info == expected.app_info);
  Check(saved.sort_info == expected.sort_info);
}

// Takes numbers and bytes off the front of the input; past its end they are 0 and short.
class Source {
 public:
  explicit Source(ByteSpan rest) : rest_(rest) {}
  bool empty() const { return rest_.empty(); }
  Bytes Take(size_t size) {
    const ByteSpan taken = rest_.first(std::min(size, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return {taken.begin(), taken.end()};
  }
  uint32_t Number(size_t width) {
    uint32_t value = 0;
    for (const std::byte byte : Take(width)) value = value << 8 | std::to_integer<uint32_t>(byte);
    return value;
  }

 private:
  ByteSpan rest_;
};

Bytes ImageOfRecords(ByteSpan input, eDatabaseForType database_for) {
  Source source(input);
  testing::FileImage image;
  image.little = database_for == dftPalmVFS;
  image.gap = source.Number(1) % 4;
  image.app_info = source.Take(source.Number(1));
  image.sort_info = source.Take(source.Number(1));
  image.seed = source.Number(4);
  image.next_id = source.Number(4);
  while (!source.empty()) {
    testing::FileImage::Entry entry;
    entry.attributes = static_cast<uint8_t>(source.Number(1));
    entry.id = source.Number(1) % 2 ? source.Number(3) : source.Number(1);
    entry.data = source.Take(source.Number(1));
    image.records.push_back(std::move(entry));
  }
  return image.Build();
}

void Run(ByteSpan input) {
  if (input.empty()) return;
  const auto choice = std::to_integer<int>(input[0]);
  const auto database_for = static_cast<eDatabaseForType>(choice / 2 % 6);
  const ByteSpan rest = input.subspan(1);
  const Bytes image =
      choice % 2 ? ImageOfRecords(rest, database_for) : Bytes(rest.begin(), rest.end());
  DatabaseFile file(image);
  const auto database = file.Database(database_for);
  try {
    if (!database->OpenDatabase()) {
      Check(!file.log->lines.empty() && file.bytes() == image);
      return;
    }
    Content content = ReadContent(*database);
    database->CloseDatabase();
    Check(file.bytes() == image);

    Check(database->OpenDatabase());
    Choices choices(image);
    Change(*database, content, choices);
    database->SetPDBDatabaseName(u"Changed");  // so that there is something to save
    const Content changed = ReadContent(*database);
    FindAll(*database, changed.records);
    database->CloseDatabase();
    Check(database->OpenDatabase());
    Compare(content, ReadContent(*database), database_for);
    Compare(changed, ReadContent(*database), database_for);
  } catch (const AutomationError& error) {
    Check(error.number() == 6);  // blocks too large, ids that have run out
    database->Abandon();
    Check(file.bytes() == image);
  }
}

}  // namespace
}  // namespace pylon

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  pylon::Run(std::as_bytes(std::span(data, size)));
  return 0;
}

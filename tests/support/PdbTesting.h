#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "base/Date.h"
#include "base/LogSink.h"
#include "base/Text.h"
#include "pdb/PDBByteStream.h"
#include "pdb/PDBDatabasePC.h"
#include "tests/support/MemoryDisk.h"

namespace pylon::testing {

// "48 65 6C" and back.
inline Bytes FromHex(std::string_view hex) {
  Bytes bytes;
  for (size_t i = 0; i < hex.size();) {
    if (hex[i] == ' ' || hex[i] == '\n') {
      ++i;
      continue;
    }
    bytes.push_back(static_cast<std::byte>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
    i += 2;
  }
  return bytes;
}
inline std::string ToHex(ByteSpan bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string hex;
  for (const std::byte byte : bytes) {
    if (!hex.empty()) hex += ' ';
    hex += kDigits[std::to_integer<int>(byte >> 4)];
    hex += kDigits[std::to_integer<int>(byte & std::byte{15})];
  }
  return hex;
}
inline Bytes Ascii(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

inline PDBByteStream StreamOf(ByteSpan bytes) {
  PDBByteStream stream;
  stream.Fill(bytes);
  return stream;
}
inline Bytes BlockOf(ByteSpan bytes) { return {bytes.begin(), bytes.end()}; }
inline Bytes BlockOf(const PDBByteStream& stream) { return BlockOf(stream.BlockBytes()); }

class FixedClock final : public Clock {
 public:
  Date Now() const override { return now; }
  Date now = 45000.5;  // 2023-03-15 12:00
};

class CollectingLog final : public LogSink {
 public:
  void UpdateLog(std::u16string_view line) noexcept override { lines.push_back(ToUtf8(line)); }
  std::vector<std::string> lines;
};

// A record as callers see it.
struct Record {
  int32_t id = 0;
  int16_t category = 0;
  int32_t attributes = 0;
  Bytes data;

  bool operator==(const Record&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Record& r) {
    return out << "{id " << r.id << ", category " << r.category << ", attributes " << r.attributes
               << ", data " << ToHex(r.data) << "}";
  }
};

// The record that was read last, with its data in a stream as clients get it.
struct Reader {
  bool Next(PDBDatabase& database) { return Take(database.Next()); }
  bool NextModified(PDBDatabase& database) { return Take(database.NextModified()); }
  bool ByIndex(PDBDatabase& database, int32_t at) { return Take(database.ByIndex(at)); }
  bool ById(PDBDatabase& database, int32_t unique_id) { return Take(database.ById(unique_id)); }

  int32_t index = 0, id = 0, attributes = 0;
  int16_t category = 0;
  PDBByteStream stream;

 private:
  bool Take(const std::optional<pylon::Record>& record) {
    if (!record) return false;
    index = record->index;
    id = record->id;
    category = record->category;
    attributes = record->attributes;
    stream.Fill(record->data);
    return true;
  }
};

inline std::vector<Record> ReadAll(PDBDatabase& database) {
  std::vector<Record> records;
  database.SetIterationIndex(1);
  while (records.size() <= 65'535) {  // should it find no end
    const std::optional<pylon::Record> r = database.Next();
    if (!r) break;
    records.push_back({r->id, r->category, r->attributes, BlockOf(r->data)});
  }
  return records;
}

// Writes the record and returns the id that it has then.
inline int32_t Put(PDBDatabase& database, int32_t index, const Record& r) {
  return database.Update(index, r.id, r.category, r.attributes, r.data);
}

// A PDB file put together field by field, apart from the code under test.
struct FileImage {
  struct Entry {
    uint8_t attributes = 0;
    uint32_t id = 0;
    Bytes data;
  };

  std::string name = "Test";
  uint16_t attributes = 0, version = 0;
  uint32_t created = 0, modified = 0, backed_up = 0, modification_number = 0;
  std::string type = "DATA", creator = "test";
  uint32_t seed = 0, next_id = 0;
  Bytes app_info, sort_info;
  std::vector<Entry> records;
  size_t gap = 0;  // bytes behind the record list
  bool little = false;

  Bytes Build() const {
    Bytes out;
    const auto number = [&](uint64_t value, int width) {
      for (int i = 0; i < width; ++i) {
        out.push_back(static_cast<std::byte>(value >> 8 * (little ? i : width - 1 - i)));
      }
    };
    const auto text = [&](std::string_view value, size_t width) {
      const Bytes bytes = Ascii(value);
      out.insert(out.end(), bytes.begin(), bytes.end());
      out.resize(out.size() + width - bytes.size());
    };
    text(name, 32);
    number(attributes, 2);
    number(version, 2);
    for (const uint32_t field : {created, modified, backed_up, modification_number}) {
      number(field, 4);
    }
    size_t offset = 78 + 8 * records.size() + gap;
    for (const Bytes* block : {&app_info, &sort_info}) {
      number(block->empty() ? 0 : offset, 4);
      offset += block->size();
    }
    text(type, 4);
    text(creator, 4);
    number(seed, 4);
    number(next_id, 4);
    number(records.size(), 2);
    for (const Entry& record : records) {
      number(offset, 4);
      number(record.attributes, 1);
      number(record.id, 3);
      offset += record.data.size();
    }
    out.resize(out.size() + gap);
    const auto append = [&](const Bytes& bytes) {
      out.insert(out.end(), bytes.begin(), bytes.end());
    };
    append(app_info);
    append(sort_info);
    for (const Entry& record : records) append(record.data);
    return out;
  }
};

// One file "C:\pdb\Test.pdb" in memory and databases over it.
class DatabaseFile {
 public:
  static constexpr char16_t kPath[] = u"C:\\pdb\\Test.pdb";

  DatabaseFile() = default;
  explicit DatabaseFile(const Bytes& bytes) { folder.files[kPath] = bytes; }
  explicit DatabaseFile(const FileImage& image) : DatabaseFile(image.Build()) {}

  // Not open yet.
  std::unique_ptr<PDBDatabasePC> Database(eDatabaseForType database_for = dftWindows) {
    auto database = std::make_unique<PDBDatabasePC>(folder.Factory()(), AnsiCodePage::Windows1252(),
                                                    clock, log);
    database->SetPDBFilePath(kPath);
    database->SetDatabaseFor(database_for);
    return database;
  }
  std::unique_ptr<PDBDatabasePC> Open(eDatabaseForType database_for = dftWindows) {
    auto database = Database(database_for);
    database->OpenDatabase();
    return database;
  }
  Bytes& bytes() { return folder.files[kPath]; }
  bool exists() const { return folder.files.contains(kPath); }

  MemoryDisk folder;
  FixedClock clock;
  std::shared_ptr<CollectingLog> log = std::make_shared<CollectingLog>();
};

}  // namespace pylon::testing

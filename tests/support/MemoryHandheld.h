#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/Types.h"
#include "hotsync/Handheld.h"

namespace pylon::testing {

// A handheld in memory with the faults of a real one. Outlives its open databases.
class MemoryHandheld final : public Handheld {
 public:
  struct Database {
    std::u16string creator = u"test", type = u"DATA";
    Date created = 45000, modified = 45000;
    std::vector<pylon::Record> records;  // indexes are given when they are read
    Bytes app_info, sort_info;
    int32_t last_id = 0;
    bool read_only = false;
    bool locked = false;     // can't be opened
    std::set<int32_t> busy;  // records that an application has in hand
    bool open = false;
  };

  std::u16string user = u"Handheld";
  Date now = 45001.25;
  std::map<std::u16string, Database> databases;
  std::vector<std::string> log;
  std::vector<std::string> calls;  // over the link, in order
  int calls_to_live = std::numeric_limits<int>::max();
  // The next call of this name raises this error, once, before it does anything.
  std::string fault;
  int32_t fault_number = 0;
  std::function<void()> during_call;  // other work that comes in during the next call

  // How many calls there were since this was asked last; of that name only when one is given.
  int TakeCalls(std::string_view name = {}) {
    const std::vector<std::string> made = std::exchange(calls, {});
    return static_cast<int>(std::ranges::count_if(
        made, [&](const std::string& call) { return name.empty() || call == name; }));
  }

  std::u16string UserName() override {
    Call("UserName");
    return user;
  }
  Date DateTime() override {
    Call("DateTime");
    return now;
  }
  void AddLogEntry(std::u16string_view text) override {
    Call("AddLogEntry");
    log.push_back(ToUtf8(text));
  }

  std::vector<std::u16string> DatabaseNames() override {
    Call("DatabaseNames");
    std::vector<std::u16string> names;
    for (const auto& [name, database] : databases) names.push_back(name);
    return names;
  }
  std::optional<HandheldDatabaseInfo> DatabaseInfo(std::u16string_view name) override {
    Call("DatabaseInfo");
    const auto found = databases.find(std::u16string(name));
    if (found == databases.end()) return std::nullopt;
    const Database& database = found->second;
    return HandheldDatabaseInfo{database.creator, database.type, database.created,
                                database.modified};
  }
  std::unique_ptr<HandheldDatabase> OpenDatabase(std::u16string_view name) override {
    Call("OpenDatabase");
    const auto found = databases.find(std::u16string(name));
    if (found == databases.end()) return nullptr;
    if (found->second.locked || found->second.open) Raise(70, u"the database is in use");
    return std::make_unique<OpenOne>(*this, found->second);
  }
  std::unique_ptr<HandheldDatabase> CreateDatabase(std::u16string_view name,
                                                   std::u16string_view creator,
                                                   std::u16string_view type) override {
    Call("CreateDatabase");
    const auto [at, is_new] = databases.try_emplace(std::u16string(name));
    if (!is_new) Raise(58, u"the name is taken");
    at->second.creator = creator;
    at->second.type = type;
    return std::make_unique<OpenOne>(*this, at->second);
  }
  bool DeleteDatabase(std::u16string_view name) override {
    Call("DeleteDatabase");
    const auto found = databases.find(std::u16string(name));
    if (found == databases.end()) return false;
    if (found->second.open || found->second.read_only) Raise(70, u"the database is in use");
    databases.erase(found);
    return true;
  }

  bool IsLost() const noexcept override { return calls_to_live < 0; }

 private:
  class OpenOne final : public HandheldDatabase {
   public:
    OpenOne(MemoryHandheld& handheld, Database& database)
        : handheld_(handheld), database_(database) {
      database_.open = true;
    }
    ~OpenOne() override { database_.open = false; }
    OpenOne(const OpenOne&) = delete;
    OpenOne& operator=(const OpenOne&) = delete;

    int32_t RecordCount() override {
      handheld_.Call("RecordCount");
      return static_cast<int32_t>(records().size());
    }
    std::optional<pylon::Record> ReadByIndex(int32_t index) override {
      handheld_.Call("ReadByIndex");
      if (index < 1 || index > static_cast<int32_t>(records().size())) return std::nullopt;
      return At(static_cast<size_t>(index) - 1);
    }
    std::optional<pylon::Record> ReadById(int32_t id) override {
      handheld_.Call("ReadById");
      const auto found = Find(id);
      if (found == records().end()) return std::nullopt;
      return At(static_cast<size_t>(found - records().begin()));
    }
    std::optional<pylon::Record> ReadNextModified(int32_t index) override {
      handheld_.Call("ReadNextModified");
      for (auto i = static_cast<size_t>(index) - 1; i < records().size(); ++i) {
        if (records()[i].attributes & eDirty) return At(i);
      }
      return std::nullopt;
    }
    int32_t Write(int32_t id, int16_t category, int32_t attributes, ByteSpan data) override {
      handheld_.Call("Write");
      RequireWritable(id);
      auto record = Find(id);
      if (id == 0) {
        record = records().insert(records().end(), pylon::Record{});
        record->id = ++database_.last_id;
      } else if (record == records().end()) {
        handheld_.Raise(51, u"there is no such record");
      }
      record->category = category;
      record->attributes = attributes;
      record->data = Bytes(data.begin(), data.end());
      return record->id;
    }
    bool Remove(int32_t id) override {
      handheld_.Call("Remove");
      RequireWritable(id);
      const auto found = Find(id);
      if (found == records().end()) return false;
      records().erase(found);
      return true;
    }
    void RemoveAll() override {
      handheld_.Call("RemoveAll");
      RequireWritable(0);
      records().clear();
    }
    void ResetModifiedFlags() override {
      handheld_.Call("ResetModifiedFlags");
      RequireWritable(0);
      for (pylon::Record& record : records()) {
        record.attributes &= ~eDirty;
      }
    }

    Bytes ReadAppInfoBlock() override {
      handheld_.Call("ReadAppInfoBlock");
      return database_.app_info;
    }
    void WriteAppInfoBlock(ByteSpan block) override {
      handheld_.Call("WriteAppInfoBlock");
      RequireWritable(0);
      database_.app_info.assign(block.begin(), block.end());
    }
    Bytes ReadSortInfoBlock() override {
      handheld_.Call("ReadSortInfoBlock");
      return database_.sort_info;
    }
    void WriteSortInfoBlock(ByteSpan block) override {
      handheld_.Call("WriteSortInfoBlock");
      RequireWritable(0);
      database_.sort_info.assign(block.begin(), block.end());
    }

   private:
    std::vector<pylon::Record>& records() { return database_.records; }
    std::vector<pylon::Record>::iterator Find(int32_t id) {
      return std::ranges::find(records(), id, &pylon::Record::id);
    }
    pylon::Record At(size_t index) {
      pylon::Record record = records()[index];
      if (database_.busy.contains(record.id)) handheld_.Raise(70, u"the record is busy");
      record.index = static_cast<int32_t>(index) + 1;
      return record;
    }
    void RequireWritable(int32_t id) {
      if (database_.read_only) handheld_.Raise(70, u"the database is read-only");
      if (database_.busy.contains(id)) handheld_.Raise(70, u"the record is busy");
    }

    MemoryHandheld& handheld_;
    Database& database_;
  };

  [[noreturn]] static void Raise(int32_t number, std::u16string description) {
    throw AutomationError(number, u"Handheld", std::move(description));
  }
  void Call(const char* name) {
    calls.emplace_back(name);
    if (calls_to_live <= 0) {
      calls_to_live = -1;
      Raise(57, u"the link is gone");
    }
    --calls_to_live;
    if (during_call) std::exchange(during_call, nullptr)();
    if (fault != name) return;
    fault.clear();
    Raise(fault_number, u"on demand");
  }
};

}  // namespace pylon::testing

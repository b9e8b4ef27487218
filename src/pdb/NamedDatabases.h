#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/AutomationError.h"
#include "base/Failure.h"
#include "base/LogSink.h"

namespace pylon {

// The databases that a file system was asked for, by exact name and in that order.
template <class Database>
class NamedDatabases {
 public:
  using Pointer = std::shared_ptr<Database>;

  int32_t count() const { return static_cast<int32_t>(entries_.size()); }
  // 1-based; null out of range.
  Pointer At(int32_t index) const {
    if (index < 1 || index > count()) return nullptr;
    return entries_[static_cast<size_t>(index) - 1]->database;
  }
  Pointer Find(std::u16string_view name) const {
    const auto found = std::ranges::find(entries_, name, &Entry::name);
    return found == entries_.end() ? nullptr : (*found)->database;
  }
  const Pointer& Add(std::u16string_view name, Pointer database) {
    entries_.push_back(std::make_shared<Entry>(Entry{std::u16string(name), std::move(database)}));
    return entries_.back()->database;
  }
  void Rename(std::u16string_view name, std::u16string_view new_name) {
    const auto found = std::ranges::find(entries_, name, &Entry::name);
    if (found != entries_.end()) (*found)->name = new_name;
  }
  void Drop(const Pointer& database) {
    std::erase_if(entries_, [&](const auto& entry) { return entry->database == database; });
  }

  // Closes every database. False when one could not be saved: the log says so, and `failures` gets
  // it once. A database that is still open after that is not tried again.
  bool CloseAll(LogSink& log, Failures& failures) const noexcept {
    try {
      // A copy: closing a device's file pumps messages, during which the list may change.
      return NamedDatabases(*this).End(log, failures);
    } catch (const std::bad_alloc&) {
      log.UpdateLog(kNoMemory);
      return false;
    }
  }
  // The same for a list that nothing else can reach.
  bool End(LogSink& log, Failures& failures) noexcept {
    bool all = true;
    for (const auto& entry : entries_) {
      if (entry->given_up && entry->database->IsOpen()) {
        all = false;
        continue;
      }
      try {
        entry->database->CloseDatabase();
      } catch (const AutomationError& error) {
        all = false;
        entry->given_up = true;
        log.UpdateLog(error.description());
        try {
          failures.push_back(
              entry->database->SaveFailure().value_or(ToFailure(error, FailureKind::kUnsaved)));
        } catch (const std::bad_alloc&) {
          // The log has it.
        }
      } catch (...) {
        all = false;
        log.UpdateLog(kNoMemory);
      }
    }
    return all;
  }
  template <class Action>
  void ForEach(Action&& action) const {
    for (const auto& entry : entries_) action(*entry->database);
  }

 private:
  static constexpr std::u16string_view kNoMemory = u"A database could not be closed: out of memory";

  struct Entry {
    std::u16string name;  // as given by the caller
    Pointer database;
    bool given_up = false;  // closing it has failed: the end doesn't copy it all once more
  };

  std::vector<std::shared_ptr<Entry>> entries_;  // not null; copies of the list share them
};

}  // namespace pylon

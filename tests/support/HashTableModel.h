#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>

#include "pdb/CHashTable.h"

namespace pylon::testing {

// A hash table beside a plain map that gets the same operations. `draw(n)` chooses from 0 to n - 1.
// Few different keys, many of one hash, make chains that lose nodes in the middle.
template <class Draw>
class HashTableModel {
 public:
  explicit HashTableModel(Draw draw) : draw_(std::move(draw)) {
    table_.SetSize(1 + static_cast<int32_t>(draw_(40)), static_cast<int32_t>(draw_(20)),
                   1 + static_cast<int32_t>(draw_(9)));
  }

  // Throws when the two differ.
  void Step() {
    const std::u16string key = Key();
    const auto choice = draw_(100);
    if (choice < 55) {
      const auto value = static_cast<int32_t>(draw_(1000));
      table_.Add(key, value);
      map_[key] = value;
    } else if (choice < 99) {
      Check(table_.Remove(key) == (map_.erase(key) > 0));
    } else if (draw_(20) == 0) {
      table_.RemoveAll();
      map_.clear();
    }
    const auto found = map_.find(key);
    Check(table_.Exists(key) == (found != map_.end()));
    const auto* const value = std::get_if<int32_t>(&table_.Item(key));
    Check(found == map_.end() ? !value : value && *value == found->second);
    Check(table_.Count() == static_cast<int32_t>(map_.size()));
  }

  void CompareAll() const {
    const auto keys = table_.Keys();
    const auto values = table_.Values();
    Check(keys.size() == map_.size() && values.size() == map_.size());
    for (size_t i = 0; i < keys.size(); ++i) {
      const auto found = map_.find(std::u16string(keys[i]));
      Check(found != map_.end() && values[i] == TaggedValue(found->second));
    }
  }

 private:
  static void Check(bool same) {
    if (!same) throw std::logic_error("table and map differ");
  }

  std::u16string Key() {
    std::u16string key(1 + draw_(draw_(4) == 0 ? 30 : 4), u'a');
    for (char16_t& c : key) c = static_cast<char16_t>(u'a' + draw_(4));
    if (draw_(3) == 0) key += key;  // words that cancel each other
    return key;
  }

  Draw draw_;
  CHashTable table_;
  std::map<std::u16string, int32_t> map_;
};

}  // namespace pylon::testing

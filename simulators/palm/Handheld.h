#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Database.h"
#include "base/Bytes.h"
#include "base/Date.h"

namespace pylon::palm {

// The handheld's memory: the databases of one folder on the PC, a PDB file each. Names are told
// apart by case, as on a handheld; files that are no databases are left alone.
//
// What is changed stays in memory until Save. Errors are SuiteErrors.
class Handheld {
 public:
  using Note = std::function<void(std::u16string_view line)>;

  // Makes the folder when it is missing. `note` is told of files that can't be read.
  Handheld(std::filesystem::path folder, const Note& note);

  std::vector<std::u16string> Names() const;
  // Null when there is none. It is the handheld's own, and stays valid until it is removed.
  Database* Find(std::u16string_view name);
  Database& Add(Database database);  // kExists when the name is taken
  bool Remove(std::u16string_view name);

  // Writes the database's file when it is behind, whole or not at all.
  void Save(std::u16string_view name);
  // Of all databases. Goes on after a failure and raises the first.
  void SaveAll();

 private:
  struct Entry {
    Database database;
    std::filesystem::path file;
  };

  void Load(const std::filesystem::path& file, const Note& note);
  std::filesystem::path NewFile(std::u16string_view name) const;
  static void Save(Entry& entry);

  const std::filesystem::path folder_;
  std::map<std::u16string, Entry, std::less<>> entries_;
};

}  // namespace pylon::palm

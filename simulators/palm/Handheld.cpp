#include "Handheld.h"

#include <algorithm>
#include <fstream>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "SuiteError.h"
#include "base/Text.h"

namespace pylon::palm {
namespace {

constexpr uint64_t kLargestFile = 0xFFFF'FFFF;  // as far as the offsets in it reach

bool IsDatabaseFile(const std::filesystem::path& path) {
  const std::u16string extension = path.extension().u16string();
  return EqualsIgnoringCase(extension, u".pdb") || EqualsIgnoringCase(extension, u".prc");
}

Bytes ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : -1;
  if (size < 0) throw SuiteError{kFailed, u"The file can't be opened"};
  Bytes bytes;
  if (static_cast<uint64_t>(size) > std::min<uint64_t>(kLargestFile, bytes.max_size())) {
    throw SuiteError{kFailed, u"The file is too large for a database"};
  }
  bytes.resize(static_cast<size_t>(size));
  file.seekg(0);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
  if (!file) throw SuiteError{kFailed, u"The file can't be read"};
  return bytes;
}

void WriteFile(const std::filesystem::path& path, const Bytes& bytes) {
  std::filesystem::path new_path = path;
  new_path += ".new";
  std::ofstream file(new_path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  file.close();
  std::error_code error;
  if (file) std::filesystem::rename(new_path, path, error);
  if (!file || error) {
    throw SuiteError{kFailed, u"The file " + path.u16string() + u" can't be written"};
  }
}

// A name that every PC file system takes.
std::u16string FileName(std::u16string_view name) {
  std::u16string text(name);
  for (char16_t& c : text) {
    if (c < u' ' || std::u16string_view(u"\\/:*?\"<>|").find(c) != std::u16string_view::npos) {
      c = u'_';
    }
  }
  return text;
}

}  // namespace

Handheld::Handheld(std::filesystem::path folder, const Note& note) : folder_(std::move(folder)) {
  std::error_code error;
  std::filesystem::create_directories(folder_, error);
  if (!std::filesystem::is_directory(folder_)) {
    throw SuiteError{kFailed, u"The folder " + folder_.u16string() + u" can't be made"};
  }
  std::vector<std::filesystem::path> files;
  for (const auto& file : std::filesystem::directory_iterator(folder_)) {
    if (file.is_regular_file() && IsDatabaseFile(file.path())) files.push_back(file.path());
  }
  std::ranges::sort(files);
  for (const std::filesystem::path& file : files) Load(file, note);
}

void Handheld::Load(const std::filesystem::path& file, const Note& note) {
  try {
    Database database = Database::Parse(ReadFile(file));
    std::u16string name = database.Name();
    if (Find(name)) throw SuiteError{kExists, u"There is another database " + name};
    if (database.changed()) note(file.filename().u16string() + u": records without an id got one");
    entries_.emplace(std::move(name), Entry{std::move(database), file});
  } catch (const SuiteError& error) {
    note(file.filename().u16string() + u": left alone. " + error.description);
  } catch (const std::bad_alloc&) {
    note(file.filename().u16string() + u": left alone. The PC's memory does not hold it");
  }
}

std::vector<std::u16string> Handheld::Names() const {
  std::vector<std::u16string> names;
  names.reserve(entries_.size());
  for (const auto& [name, entry] : entries_) names.push_back(name);
  return names;
}

Database* Handheld::Find(std::u16string_view name) {
  const auto found = entries_.find(name);
  return found == entries_.end() ? nullptr : &found->second.database;
}

std::filesystem::path Handheld::NewFile(std::u16string_view name) const {
  const std::u16string stem = FileName(name);
  std::filesystem::path file = folder_ / (stem + u".pdb");
  const auto taken = [&] {
    return std::filesystem::exists(file) || std::ranges::any_of(entries_, [&](const auto& entry) {
             return EqualsIgnoringCase(entry.second.file.u16string(), file.u16string());
           });
  };
  for (int64_t number = 2; taken(); ++number) {
    file = folder_ / (stem + u" (" + ToText(number) + u").pdb");
  }
  return file;
}

Database& Handheld::Add(Database database) {
  std::u16string name = database.Name();
  if (Find(name)) throw SuiteError{kExists, u"There is a database " + name + u" already"};
  std::filesystem::path file = NewFile(name);
  const auto added = entries_.emplace(std::move(name), Entry{std::move(database), std::move(file)});
  return added.first->second.database;
}

bool Handheld::Remove(std::u16string_view name) {
  const auto found = entries_.find(name);
  if (found == entries_.end()) return false;
  std::error_code error;
  std::filesystem::remove(found->second.file, error);
  if (error) {
    throw SuiteError{kFailed, u"The file " + found->second.file.u16string() + u" can't be deleted"};
  }
  entries_.erase(found);
  return true;
}

void Handheld::Save(std::u16string_view name) {
  const auto found = entries_.find(name);
  if (found != entries_.end()) Save(found->second);
}

void Handheld::SaveAll() {
  std::optional<SuiteError> failure;
  for (auto& [name, entry] : entries_) {
    try {
      Save(entry);
    } catch (const SuiteError& error) {
      if (!failure) failure = error;
    }
  }
  if (failure) throw SuiteError(*failure);
}

void Handheld::Save(Entry& entry) {
  if (!entry.database.changed()) return;
  try {
    WriteFile(entry.file, entry.database.Build());
  } catch (const std::bad_alloc&) {
    throw SuiteError{kFailed, u"The PC's memory does not hold " + entry.file.u16string()};
  }
  entry.database.SetSaved();
}

}  // namespace pylon::palm

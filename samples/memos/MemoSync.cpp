#include "MemoSync.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <iterator>
#include <random>
#include <set>
#include <utility>

namespace memos {
namespace {

namespace fs = std::filesystem;
using com::Error;

constexpr std::u16string_view kDatabase = u"MemoDB";
constexpr std::u16string_view kCreator = u"memo";
constexpr std::u16string_view kSection = u"Memos";
constexpr std::u16string_view kDefaultFolder = u"Memos";
constexpr std::u16string_view kArchive = u"Archive";
// The log is written in the code page: a character that it lacks becomes '?' and four hex digits.
std::u16string Escaped(std::u16string_view text, const SystemText& system) {
  std::u16string result;
  for (const char16_t c : text) {
    if (system.Encode({&c, 1})) {
      result += c;
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "?%04X", static_cast<unsigned>(c));
      result += *FromUtf8(escape);
    }
  }
  return result;
}

}  // namespace

MemoSync::MemoSync(_oSyncInfo* sync) : session_(sync, kSection) {}

void MemoSync::Run() {
  FindFolder();
  OpenDatabase();
  ReadRecords();
  ListFolder();
  ReadIndex();
  ReadFolder();
  const std::vector<Step> steps = MakePlan(files_, records_, history_);
  try {
    Apply(steps);
  } catch (...) {
    Save();
    throw;
  }
  ClearMarks();
  Save();
  Log(u"Memos: " + Decimal(count_.added) + u" added, " + Decimal(count_.updated) + u" updated, " +
      Decimal(count_.removed) + u" removed. Files: " + Decimal(count_.written) + u" new, " +
      Decimal(count_.rewritten) + u" updated, " + Decimal(count_.moved) + u" moved, " +
      Decimal(count_.deleted) + u" deleted, " + Decimal(count_.skipped) + u" skipped, " +
      Decimal(count_.conflicts) + u" in conflict.");
}

void MemoSync::FindFolder() {
  std::u16string setting = session_.Setting(u"Folder", kDefaultFolder);
  if (setting.empty()) setting = kDefaultFolder;
  folder_path_ = FolderPath(session_.app_folder(), setting);
  const std::u16string folder = folder_path_.u16string();
  std::error_code error;
  // A folder that is away must not look like one whose files were all deleted.
  if (!fs::is_directory(folder_path_, error)) {
    throw Error(com::kPathNotFound, u"The folder of the memos is missing: " + folder +
                                        u". Make it, or name another one as Folder in the section "
                                        u"Memos of " +
                                        (session_.app_folder() / u"AppStore.ini").u16string() +
                                        u".");
  }
  if (Contains(folder_path_, FolderPath(session_.app_folder(), {}))) {
    throw Error(com::kPathAccess,
                u"The folder of the memos must not hold the conduit's own files: " + folder);
  }
  folder_.emplace(folder_path_);
  archive_.emplace(session_.app_folder() / kArchive);
  pause_ = std::max(std::wcstol(com::Wide(session_.Setting(u"Pause", u"0")), nullptr, 10), 0L);
}

void MemoSync::OpenDatabase() {
  if (!database_.Open(session_, kDatabase)) database_.Create(session_, kDatabase, kCreator);
}

void MemoSync::ReadRecords() {
  const long count = database_.Count();
  session_.Phase(u"Reading the memos", static_cast<size_t>(count));
  categories_.emplace(sample::BytesOf(database_.ReadAppInfo()), system_);
  for (long index = 1; index <= count; ++index) {
    MemoRecord record;
    record.content = MemoOfRecord(database_.Read(index, record));
    record.secret = (record.attributes & eSecret) != 0;
    record.title = system_.FoldCase(NameFor(system_.Decode(record.content)));
    records_.push_back(std::move(record));
    session_.Progress();
  }
}

void MemoSync::ListFolder() {
  folder_->Sweep();
  archive_->Sweep();
  try {
    files_ = folder_->List(left_out_);
  } catch (const fs::filesystem_error& error) {
    throw Error(com::kPathAccess, u"The folder of the memos can't be read: " +
                                      error.path1().u16string() + u": " +
                                      system_.Decode(error.code().message()));
  }
  for (const fs::path& folder : left_out_) {
    Log(u"Left out: " + folder.u16string() + u" (only one level of folders becomes categories)");
  }
}

void MemoSync::ReadIndex() {
  const auto to_key = [](std::u16string_view path, const SystemText& system) {
    return system.FoldCase(path);
  };
  index_.emplace(*database_, folder_path_.u16string(), system_, to_key);
  std::vector<std::u16string> paths;
  std::ranges::transform(files_, std::back_inserter(paths), PathOf);
  history_ = index_->Read(paths, records_, categories_->SyncMark());
  if (files_.empty() && !history_.records.empty()) {
    Log(u"The folder of the memos is empty: what the database holds is written to it.");
    history_ = {};
  }
}

void MemoSync::ReadFolder() {
  // A memo whose file has vanished may have been moved too deep.
  if (history_.records.size() > history_.ids.size()) {
    std::ranges::move(folder_->ListLeftOut(left_out_), std::back_inserter(files_));
  }
  session_.Phase(u"Reading the text files", files_.size());
  std::set<int> in_use;
  for (const MemoRecord& record : records_) in_use.insert(record.category);
  std::vector<MemoFile*> without;
  for (MemoFile& file : files_) {
    const std::u16string path = PathOf(file);
    session_.Progress(path);
    folder_->Read(file, system_);
    if (file.place == MemoFile::Place::kTooDeep) {
      if (file.problem.empty()) file.problem = u"only one level of folders becomes categories";
      continue;
    }
    // A file that lies where it did has not left its category, whatever that is called now.
    const auto known = history_.ids.find(path);
    const auto category = known != history_.ids.end() ? history_.records.at(known->second).category
                                                      : categories_->Find(file.folder);
    if (category) {
      file.category = *category;
      in_use.insert(*category);
    } else if (file.problem.empty()) {
      without.push_back(&file);
    }
  }
  // Once all categories are known that are in use.
  for (MemoFile* const file : without) {
    auto category = categories_->Find(file->folder);
    if (!category) {
      auto added = categories_->Add(file->folder, in_use);
      category = added.category;
      file->problem = std::move(added.problem);
    }
    if (category) {
      file->category = *category;
      in_use.insert(*category);
    } else {
      file->place = MemoFile::Place::kNoCategory;
    }
  }
}

void MemoSync::Apply(const std::vector<Step>& steps) {
  session_.Phase(u"Synchronising the memos", steps.size());
  for (const Step& step : steps) {
    const std::u16string what =
        step.file ? PathOf(*step.file) : FirstLine(system_.Decode(step.record->content));
    session_.Progress(what);
    try {
      Do(step);
    } catch (const FileError& error) {
      ++count_.skipped;
      if (step.record) unsettled_.insert(step.record);
      Log(u"Skipped: " + what + u" (" + error.reason + u")");
    }
    for (const ULONGLONG start = ::GetTickCount64();
         ::GetTickCount64() - start < static_cast<ULONGLONG>(pause_);) {
      // Setting the text lets the window take a click on Cancel.
      session_.ShowDetail(what);
      session_.StopIfCancelled();
      ::Sleep(20);
    }
  }
}

void MemoSync::Do(const Step& step) {
  switch (step.action) {
    case Step::Action::kMerge:
      return Merge(step);
    case Step::Action::kConflict:
      return Conflict(step);
    case Step::Action::kRemove:
      return Remove(*step.record);
    case Step::Action::kDelete:
      folder_->Delete(*step.file);
      ++count_.deleted;
      Log(u"File deleted: " + PathOf(*step.file) + u" (its memo was deleted)");
      history_.ids.erase(PathOf(*step.file));
      return;
    case Step::Action::kArchive:
      return Archive(*step.record);
    case Step::Action::kSkip:
      throw FileError{step.file->problem};
  }
}

void MemoSync::Remove(const MemoRecord& record) {
  database_.Remove(record.id);
  ++count_.removed;
  Log(u"Removed: " + FirstLine(system_.Decode(record.content)) + u" (its file is gone)");
  history_.records.erase(record.id);
}

void MemoSync::Archive(const MemoRecord& record) {
  const std::u16string text = system_.Decode(record.content);
  archive_->Keep(NameFor(text), WriteMemo(record.content, system_));
  Log(u"Archived: " + FirstLine(text));
  MemoRecord archived = record;
  archived.attributes &= ~eArchive;  // once is enough, should this sync be cancelled
  Store(archived);
}

void MemoSync::Merge(const Step& step) {
  MemoRecord record;
  if (step.record) {
    record = *step.record;
  } else if (step.secret) {
    record.attributes = eSecret;
  }
  if (history_.records.size() >= History::kMaxRecords && !history_.records.contains(record.id)) {
    throw FileError{u"the sync index has room for " + Decimal(History::kMaxRecords) + u" memos"};
  }
  MemoFile file;
  if (step.file) {
    file = *step.file;
    PlaceFile(file, step);
  } else {
    file.folder = categories_->Folder(step.category);
    file.name = folder_->Create(file.folder, NameFor(system_.Decode(*step.memo)),
                                WriteMemo(*step.memo, system_));
    ++count_.written;
    Log(u"New file: " + PathOf(file));
  }

  if (!step.record || record.content != *step.memo || record.category != step.category) {
    record.content = *step.memo;
    record.category = step.category;
    record.attributes &= ~(eDirty | eDelete);
    Store(record);
    ++(step.record ? count_.updated : count_.added);
    Log((step.record ? u"Updated: " : u"Added: ") + PathOf(file));
  }
  if (step.file) history_.ids.erase(PathOf(*step.file));
  // Databases for a HotSync install hold no ids: their records are found by their text.
  if (record.id != 0) {
    history_.ids[PathOf(file)] = record.id;
    history_.records[record.id] = {ChecksumOf(*step.memo), step.category};
  }
}

// Gives the file the memo, then the name and the folder that go with it.
void MemoSync::PlaceFile(MemoFile& file, const Step& step) {
  std::u16string stem = fs::path(file.name).stem().u16string();
  if (file.content != *step.memo) {
    folder_->Replace(file, WriteMemo(*step.memo, system_));
    ++count_.rewritten;
    Log(u"File updated: " + PathOf(file));
    // A name that was made of the first line goes with it; one that the user chose stays.
    const std::u16string name = NameFor(system_.Decode(*step.memo));
    if (step.action == Step::Action::kMerge && file.title != system_.FoldCase(name) &&
        IsNameOrNumbered(stem, NameFor(system_.Decode(file.content)))) {
      stem = name;
    }
  }
  std::u16string folder = categories_->Folder(step.category);
  // Two categories may have names that make the same folder.
  if (categories_->Find(file.folder) == step.category ||
      system_.FoldCase(folder) == system_.FoldCase(file.folder)) {
    folder = file.folder;
  }
  if (folder == file.folder && stem == fs::path(file.name).stem().u16string()) return;
  const std::u16string from = PathOf(file);
  folder_->Move(file, folder, stem);
  ++count_.moved;
  Log(u"File moved: " + from + u" to " + PathOf(file));
}

// The copy comes first: at no moment is the PC's text nowhere.
void MemoSync::Conflict(const Step& step) {
  MemoFile copy = *step.file;
  copy.name = step.copy ? step.copy->name
                        : folder_->Copy(copy, ConflictName(fs::path(copy.name).stem().u16string()));
  try {
    Merge(step);
  } catch (const FileError&) {
    // A file that stays locked would else get one copy more by each sync.
    try {
      if (!step.copy && folder_->IsUnchanged(*step.file)) folder_->Delete(copy);
    } catch (const FileError&) {
      // The next sync takes the copy for its own.
    }
    throw;
  }
  ++count_.conflicts;
  Log(u"Conflict: \"" + FirstLine(system_.Decode(*step.memo)) +
      u"\" was changed on both sides; the handheld's text goes to " + PathOf(*step.file) +
      u", the PC's to " + PathOf(copy));
  if (!step.copy) {
    Merge(
        {Step::Action::kMerge, &copy, nullptr, &copy.content, copy.category, nullptr, step.secret});
  }
}

// Writes the record with its final NUL; a new one gets its id.
void MemoSync::Store(MemoRecord& record) { database_.Write(record, record.content + '\0'); }

// Takes the handheld's marks for what is done now.
void MemoSync::ClearMarks() {
  if (unsettled_.empty()) database_.ClearAllMarks();
  for (const MemoRecord& record : records_) {
    if (unsettled_.contains(&record)) continue;
    if (record.deleted) history_.records.erase(record.id);
    if (!unsettled_.empty()) database_.ClearMarks(record);
  }
  std::erase_if(history_.ids,
                [&](const auto& entry) { return !history_.records.contains(entry.second); });
}

void MemoSync::Save() {
  if (!index_->KnowsRecords(history_)) {
    std::random_device random;
    const unsigned char old = categories_->SyncMark();
    unsigned char mark = old;
    while (mark == old || mark == 0) mark = static_cast<unsigned char>(random());
    categories_->SetSyncMark(mark);
  }
  if (categories_->changed()) database_.WriteAppInfo(categories_->app_info());
  index_->Write(history_, categories_->SyncMark());
  database_.Close();
}

void MemoSync::Log(std::u16string_view text) const { session_.Log(Escaped(text, system_)); }

}  // namespace memos

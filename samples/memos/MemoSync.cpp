#include "MemoSync.h"

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <iterator>
#include <random>
#include <set>
#include <utility>

namespace memos {
namespace {

namespace fs = std::filesystem;
using com::Bstr;
using com::Check;
using com::Error;

constexpr std::u16string_view kDatabase = u"MemoDB";
constexpr std::u16string_view kCreator = u"memo";
constexpr std::u16string_view kSection = u"Memos";
constexpr std::u16string_view kDefaultFolder = u"Memos";
constexpr std::u16string_view kArchive = u"Archive";
constexpr ULONGLONG kShowEvery = 50;  // milliseconds

std::u16string Number(long long value) { return *FromUtf8(std::to_string(value)); }

}  // namespace

MemoSync::MemoSync(_oSyncInfo* sync)
    : sync_(sync), stream_(com::Create<_PDBByteStream>(__uuidof(PDBByteStream))) {
  Check(sync_->get_ConduitInfo(&conduit_));
  Bstr folder;
  Check(conduit_->get_AppFolder(&folder));
  app_folder_ = folder.Text();
  // In Pylon's own process this is a direct pointer, not a second process.
  Check(::CoCreateInstance(__uuidof(PDBByteStream), nullptr, CLSCTX_ALL, __uuidof(_PDBByteStream),
                           reinterpret_cast<void**>(stream_.InOut())));
}

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
  Log(u"Memos: " + Number(count_.added) + u" added, " + Number(count_.updated) + u" updated, " +
      Number(count_.removed) + u" removed. Files: " + Number(count_.written) + u" new, " +
      Number(count_.rewritten) + u" updated, " + Number(count_.moved) + u" moved, " +
      Number(count_.deleted) + u" deleted, " + Number(count_.skipped) + u" skipped, " +
      Number(count_.conflicts) + u" in conflict.");
}

// ---- Reading

void MemoSync::FindFolder() {
  std::u16string setting = Setting(u"Folder", kDefaultFolder);
  if (setting.empty()) setting = kDefaultFolder;
  folder_path_ = FolderPath(app_folder_, setting);
  const std::u16string folder = folder_path_.u16string();
  std::error_code error;
  // A folder that is away must not look like one whose files were all deleted.
  if (!fs::is_directory(folder_path_, error)) {
    throw Error(com::kPathNotFound, u"The folder of the memos is missing: " + folder +
                                        u". Make it, or name another one as Folder in the section "
                                        u"Memos of " +
                                        (app_folder_ / u"AppStore.ini").u16string() + u".");
  }
  if (Contains(folder_path_, FolderPath(app_folder_, {}))) {
    throw Error(com::kPathAccess,
                u"The folder of the memos must not hold the conduit's own files: " + folder);
  }
  folder_.emplace(folder_path_);
  archive_.emplace(app_folder_ / kArchive);
  pause_ = std::max(std::wcstol(com::Wide(Setting(u"Pause", u"0")), nullptr, 10), 0L);
}

void MemoSync::OpenDatabase() {
  com::Ptr<PDBFileSystem> files;
  Check(sync_->get_FileSystem(&files));
  const Bstr name(kDatabase);
  VARIANT_BOOL done = VARIANT_FALSE;
  Check(files->OpenDatabase(name, database_.InOut(), &done));
  if (done) return;

  // It is not created when it is there: damaged, in use or out of reach.
  VARIANT variant;
  variant.vt = VT_BSTR;
  variant.bstrVal = name;
  Check(files->CreateDatabase(variant, database_.InOut(), &done));
  if (!done) {
    throw Error(com::kDeviceError, u"The database MemoDB can't be opened. The log says why.");
  }
  Check(database_->put_CreatorId(Bstr(kCreator)));
}

void MemoSync::ReadRecords() {
  long count = 0;
  Check(database_->get_RecordCount(&count));
  Phase(u"Reading the memos", static_cast<size_t>(count));
  categories_.emplace(ReadAppInfo(), system_);

  for (long index = 1; index <= count; ++index) {
    MemoRecord record;
    record.index = index;
    short category = 0;
    eRecordAttribute attributes{};
    VARIANT_BOOL read = VARIANT_FALSE;
    Check(database_->ReadNextByIndex(index, &record.id, &category, &attributes, stream_.InOut(),
                                     &read));
    if (!read) throw Error(com::kDeviceError, u"Record " + Number(index) + u" can't be read.");
    com::ByteArray bytes;
    Check(stream_->get_ByteArray(&bytes));
    long length = 0;
    Check(stream_->get_length(&length));
    record.category = category;
    record.attributes = attributes;
    record.dirty = (attributes & eDirty) != 0;
    record.deleted = (attributes & eDelete) != 0;
    record.secret = (attributes & eSecret) != 0;
    record.archived = record.deleted && (attributes & eArchive) != 0;
    record.memo = MemoOfRecord(bytes.bytes().substr(0, static_cast<size_t>(length)));
    record.title = system_.FoldCase(NameFor(system_.Decode(record.memo)));
    records_.push_back(std::move(record));
    Progress({});
  }
}

std::string MemoSync::ReadAppInfo() {
  Check(database_->ReadAppInfoBlock(stream_.InOut()));
  com::ByteArray bytes;
  Check(stream_->get_ByteArray(&bytes));
  long length = 0;
  Check(stream_->get_length(&length));
  return std::string(bytes.bytes().substr(0, static_cast<size_t>(length)));
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
  index_.emplace(*database_.get(), Stamp(), system_);
  history_ = index_->Read(files_, records_, categories_->SyncMark());
  if (files_.empty() && !history_.memos.empty()) {
    Log(u"The folder of the memos is empty: what the database holds is written to it.");
    history_ = {};
  }
}

void MemoSync::ReadFolder() {
  // A memo whose file has vanished may have been moved too deep.
  if (history_.memos.size() > history_.ids.size()) {
    std::ranges::move(folder_->ListLeftOut(left_out_), std::back_inserter(files_));
  }
  Phase(u"Reading the text files", files_.size());
  std::set<int> in_use;
  for (const MemoRecord& record : records_) in_use.insert(record.category);
  std::vector<MemoFile*> without;
  for (MemoFile& file : files_) {
    const std::u16string path = PathOf(file);
    Progress(path);
    folder_->Read(file, system_);
    if (file.place == MemoFile::Place::kTooDeep) {
      if (file.problem.empty()) file.problem = u"only one level of folders becomes categories";
      continue;
    }
    // A file that lies where it did has not left its category, whatever that is called now.
    const auto known = history_.ids.find(path);
    const auto category = known != history_.ids.end() ? history_.memos.at(known->second).category
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

// Tells one pair of folder and database from another. A database on a handheld has no path.
std::string MemoSync::Stamp() const {
  DATE created = 0;
  Bstr path;
  Check(database_->CreateDateTime(&created));
  (void)database_->get_PDBFilePath(&path);
  return std::to_string(std::lround(created)) + " " +
         ToUtf8(system_.FoldCase(path.Text() + u" " + folder_path_.u16string()));
}

// ---- Doing

void MemoSync::Apply(const std::vector<Step>& steps) {
  Phase(u"Synchronising the memos", steps.size());
  for (const Step& step : steps) {
    const std::u16string what =
        step.file ? PathOf(*step.file) : FirstLine(system_.Decode(step.record->memo));
    Progress(what);
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
      Check(sync_->UpdateStatusDetail(Bstr(what)));
      StopIfCancelled();
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
  Check(database_->Remove(record.id));
  ++count_.removed;
  Log(u"Removed: " + FirstLine(system_.Decode(record.memo)) + u" (its file is gone)");
  history_.memos.erase(record.id);
}

void MemoSync::Archive(const MemoRecord& record) {
  const std::u16string text = system_.Decode(record.memo);
  archive_->Keep(NameFor(text), WriteFileText(record.memo, system_));
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
  if (history_.memos.size() >= History::kMaxMemos && !history_.memos.contains(record.id)) {
    throw FileError{u"the sync index has room for " + Number(History::kMaxMemos) + u" memos"};
  }
  MemoFile file;
  if (step.file) {
    file = *step.file;
    PlaceFile(file, step);
  } else {
    file.folder = categories_->Folder(step.category);
    file.name = folder_->Create(file.folder, NameFor(system_.Decode(*step.memo)),
                                WriteFileText(*step.memo, system_));
    ++count_.written;
    Log(u"New file: " + PathOf(file));
  }

  if (!step.record || record.memo != *step.memo || record.category != step.category) {
    record.memo = *step.memo;
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
    history_.memos[record.id] = {ChecksumOf(*step.memo), step.category};
  }
}

// Gives the file the memo, then the name and the folder that go with it.
void MemoSync::PlaceFile(MemoFile& file, const Step& step) {
  std::u16string stem = fs::path(file.name).stem().u16string();
  if (file.memo != *step.memo) {
    folder_->Replace(file, WriteFileText(*step.memo, system_));
    ++count_.rewritten;
    Log(u"File updated: " + PathOf(file));
    // A name that was made of the first line goes with it; one that the user chose stays.
    const std::u16string name = NameFor(system_.Decode(*step.memo));
    if (step.action == Step::Action::kMerge && file.title != system_.FoldCase(name) &&
        IsNameOrNumbered(stem, NameFor(system_.Decode(file.memo)))) {
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
    Merge({Step::Action::kMerge, &copy, nullptr, &copy.memo, copy.category, nullptr, step.secret});
  }
}

// Writes the record; a new one gets its id.
void MemoSync::Store(MemoRecord& record) {
  // The final NUL, and the spare byte that a stream has behind its record.
  const com::ByteArray bytes(record.memo + std::string(2, '\0'));
  Check(stream_->put_ByteArray(bytes.get()));
  short category = static_cast<short>(record.category);
  auto attributes = static_cast<eRecordAttribute>(record.attributes);
  Check(database_->Update(record.index, &record.id, &category, &attributes, stream_.InOut()));
}

// Takes the handheld's marks for what is done now.
void MemoSync::ClearMarks() {
  if (unsettled_.empty()) {
    Check(database_->RemoveWithDeleteFlag());
    Check(database_->ResetModifyFlags());
  }
  for (const MemoRecord& record : records_) {
    const bool settled = !unsettled_.contains(&record);
    if (settled && record.deleted) history_.memos.erase(record.id);
    if (!settled || unsettled_.empty() || record.id == 0) continue;
    if (record.deleted) {
      Check(database_->Remove(record.id));
    } else if (record.dirty) {
      long index = 0;
      short category = 0;
      eRecordAttribute attributes{};
      VARIANT_BOOL read = VARIANT_FALSE;
      Check(database_->ReadNextById(&index, record.id, &category, &attributes, stream_.InOut(),
                                    &read));
      if (!read || !(attributes & eDirty)) continue;  // removed, or stored, since it was read
      long id = record.id;
      attributes = static_cast<eRecordAttribute>(attributes & ~eDirty);
      Check(database_->Update(index, &id, &category, &attributes, stream_.InOut()));
    }
  }
  std::erase_if(history_.ids,
                [&](const auto& entry) { return !history_.memos.contains(entry.second); });
}

void MemoSync::Save() {
  if (!index_->KnowsRecords(history_)) {
    std::random_device random;
    const unsigned char old = categories_->SyncMark();
    unsigned char mark = old;
    while (mark == old || mark == 0) mark = static_cast<unsigned char>(random());
    categories_->SetSyncMark(mark);
  }
  if (categories_->changed()) {
    // A block has no spare byte: the array is taken whole.
    const com::ByteArray bytes(categories_->app_info());
    Check(stream_->put_ByteArray(bytes.get()));
    Check(database_->WriteAppInfoBlock(stream_.InOut()));
  }
  index_->Write(history_, categories_->SyncMark());
  Check(database_->CloseDatabase());
}

// ---- Pylon's window, log and settings

std::u16string MemoSync::Setting(std::u16string_view key, std::u16string_view default_value) const {
  Bstr value;
  Check(conduit_->GetSettings(Bstr(kSection), Bstr(key), Bstr(default_value), &value));
  return value.Text();
}

void MemoSync::Phase(std::u16string_view text, size_t steps) {
  StopIfCancelled();  // a new main text clears the flag
  Check(sync_->UpdateStatusMain(Bstr(text)));
  Check(sync_->UpdateStatusMaxBar(static_cast<long>(steps) + 1));
  steps_to_show_ = 0;
}

void MemoSync::Progress(std::u16string_view detail) {
  StopIfCancelled();
  ++steps_to_show_;
  // More often than the eye follows, painting takes longer than the work.
  const ULONGLONG now = ::GetTickCount64();
  if (now - shown_at_ < kShowEvery) return;
  shown_at_ = now;
  if (!detail.empty()) Check(sync_->UpdateStatusDetail(Bstr(detail)));
  Check(sync_->UpdateStatusIncrementBar(std::exchange(steps_to_show_, 0)));
  StopIfCancelled();
}

void MemoSync::StopIfCancelled() const {
  VARIANT_BOOL cancelled = VARIANT_FALSE;
  Check(sync_->get_CancelSync(&cancelled));
  if (cancelled) throw Error(com::kUserInterrupt, u"The sync was cancelled.");
}

// The log is written in the code page.
void MemoSync::Log(std::u16string_view text) const {
  Check(sync_->UpdateLog(Bstr(Escaped(text, system_))));
}

}  // namespace memos

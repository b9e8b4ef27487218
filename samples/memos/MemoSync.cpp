#include "MemoSync.h"

#include <algorithm>
#include <cmath>
#include <cwchar>
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
constexpr ULONGLONG kShowEvery = 50;  // milliseconds

std::u16string Number(long long value) { return *FromUtf8(std::to_string(value)); }

std::u16string PathIn(const std::u16string& folder, const std::u16string& name) {
  return folder.empty() ? name : folder + u"\\" + name;
}

bool Contains(const fs::path& outer, fs::path inner) {
  for (std::error_code error; !inner.empty(); inner = inner.parent_path()) {
    if (fs::equivalent(outer, inner, error)) return true;
    if (inner == inner.parent_path()) break;
  }
  return false;
}

}  // namespace

MemoSync::MemoSync(_oSyncInfo* sync) : sync_(sync) {
  Check(sync_->get_ConduitInfo(&conduit_));
  Bstr folder;
  Check(conduit_->get_AppFolder(&folder));
  app_folder_ = folder.Text();
  // In Pylon's own process this is a direct pointer, not a second process.
  Check(::CoCreateInstance(__uuidof(PDBByteStream), nullptr, CLSCTX_ALL, __uuidof(_PDBByteStream),
                           reinterpret_cast<void**>(&stream_)));
}

void MemoSync::Run() {
  FindFolder();
  OpenDatabase();
  ReadRecords();
  ReadFolder();
  ReadHistoryFile();
  const std::vector<Step> steps = MakePlan(files_, records_, history_);
  try {
    Apply(steps);
  } catch (...) {
    Save();
    throw;
  }
  Check(database_->RemoveWithDeleteFlag());
  Check(database_->ResetModifyFlags());
  Save();
  Log(u"Memos: " + Number(count_.added) + u" added, " + Number(count_.updated) + u" updated, " +
      Number(count_.removed) + u" removed. Files: " + Number(count_.written) + u" new, " +
      Number(count_.rewritten) + u" updated, " + Number(count_.moved) + u" moved, " +
      Number(count_.deleted) + u" deleted, " + Number(count_.skipped) + u" skipped, " +
      Number(count_.conflicts) + u" in conflict.");
}

// ---- Reading

void MemoSync::FindFolder() {
  folder_path_ = app_folder_ / Setting(u"Folder", u"Memos");
  const std::u16string folder = folder_path_.u16string();
  std::error_code error;
  // A folder that is away must not look like one whose files were all deleted.
  if (!fs::is_directory(folder_path_, error)) {
    throw Error(com::kPathNotFound, u"The folder of the memos is missing: " + folder +
                                        u". Make it, or name another one as Folder in the section "
                                        u"Memos of " +
                                        (app_folder_ / u"AppStore.ini").u16string() + u".");
  }
  if (Contains(folder_path_, app_folder_)) {
    throw Error(com::kPathAccess,
                u"The folder of the memos must not hold the conduit's own files: " + folder);
  }
  folder_.emplace(folder_path_);
  pause_ = std::max(std::wcstol(com::Wide(Setting(u"Pause", u"0")), nullptr, 10), 0L);
}

void MemoSync::OpenDatabase() {
  com::Ptr<PDBFileSystem> files;
  Check(sync_->get_FileSystem(&files));
  const Bstr name(kDatabase);
  VARIANT_BOOL done = VARIANT_FALSE;
  Check(files->OpenDatabase(name, &database_, &done));
  if (done) return;

  // Creating would put an empty database in the place of one that is damaged or in use.
  Bstr path;
  std::error_code error;
  if (database_) Check(database_->get_PDBFilePath(&path));
  if (path && fs::exists(path.Text(), error)) {
    throw Error(com::kDeviceError, path.Text() + u" can't be opened. The log says why.");
  }
  VARIANT variant;
  variant.vt = VT_BSTR;
  variant.bstrVal = name;
  Check(files->CreateDatabase(variant, &database_, &done));
  if (!done) {
    throw Error(com::kDeviceError, u"The database MemoDB can't be created. The log says why.");
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
    Check(database_->ReadNextByIndex(index, &record.id, &category, &attributes, &stream_, &read));
    if (!read) throw Error(com::kDeviceError, u"Record " + Number(index) + u" can't be read.");
    com::ByteArray bytes;
    Check(stream_->get_ByteArray(&bytes));
    long length = 0;
    Check(stream_->get_length(&length));
    record.category = category;
    record.attributes = attributes;
    record.dirty = (attributes & eDirty) != 0;
    record.deleted = (attributes & eDelete) != 0;
    record.archived = record.deleted && (attributes & eArchive) != 0;
    record.memo = MemoOfRecord(bytes.bytes().substr(0, static_cast<size_t>(length)));
    record.title = system_.FoldCase(NameFor(system_.Decode(record.memo)));
    records_.push_back(std::move(record));
    Progress({});
  }
}

std::string MemoSync::ReadAppInfo() {
  Check(database_->ReadAppInfoBlock(&stream_));
  com::ByteArray bytes;
  Check(stream_->get_ByteArray(&bytes));
  long length = 0;
  Check(stream_->get_length(&length));
  return std::string(bytes.bytes().substr(0, static_cast<size_t>(length)));
}

void MemoSync::ReadFolder() {
  std::vector<std::u16string> left_out;
  try {
    files_ = folder_->List(left_out);
  } catch (const fs::filesystem_error& error) {
    throw Error(com::kPathAccess, u"The folder of the memos can't be read: " +
                                      error.path1().u16string() + u": " +
                                      system_.Decode(error.code().message()));
  }
  Phase(u"Reading the text files", files_.size());
  for (const std::u16string& folder : left_out) {
    Log(u"Left out: " + folder + u" (only one level of folders becomes categories)");
  }
  for (MemoFile& file : files_) {
    Progress(PathIn(file.folder, file.name));
    auto category = categories_->Find(file.folder);
    folder_->Read(file, system_);
    if (!category && file.problem.empty()) category = categories_->Add(file.folder);
    if (!category && file.problem.empty()) {
      file.memo.clear();
      file.problem =
          u"its folder can't become a category: there are 15, with names of up to 15 bytes";
    }
    file.category = category.value_or(0);
  }
}

void MemoSync::ReadHistoryFile() {
  com::Ptr<_CDevice> device;
  Bstr name;
  Check(sync_->get_Device(&device));
  Check(device->get_DeviceName(&name));
  char hash[17];
  std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(HashOf(Stamp())));
  history_path_ = app_folder_ / NameFor(name.Text()) / ("Memos-" + std::string(hash) + ".list");

  std::error_code error;
  if (!fs::exists(history_path_, error)) return;
  History history;
  try {
    history = ReadHistory(ReadBytes(history_path_), Stamp());
  } catch (const FileError& failure) {
    throw Error(com::kPathAccess, history_path_.u16string() + u": " + failure.reason);
  }
  if (files_.empty() && !history.empty()) {
    Log(u"The folder of the memos is empty: what the database holds is written to it.");
    return;
  }
  for (const MemoRecord& record : records_) {
    const auto known = history.find(record.id);
    if (known == history.end()) continue;
    known->second.category = categories_->Find(known->second.folder).value_or(0);
    history_.insert(history.extract(known));
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
    const std::u16string what = step.file ? PathIn(step.file->folder, step.file->name)
                                          : NameFor(system_.Decode(step.record->memo));
    Progress(what);
    try {
      Do(step);
    } catch (const FileError& error) {
      ++count_.skipped;
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
    case Step::Action::kRemove: {
      const auto known = history_.find(step.record->id);
      Check(database_->Remove(step.record->id));
      ++count_.removed;
      Log(u"Removed: " + PathIn(known->second.folder, known->second.name) + u" (its file is gone)");
      history_.erase(known);
      return;
    }
    case Step::Action::kDelete:
      folder_->Delete(*step.file);
      ++count_.deleted;
      Log(u"File deleted: " + PathIn(step.file->folder, step.file->name) +
          u" (its memo was deleted)");
      history_.erase(step.record->id);
      return;
    case Step::Action::kArchive: {
      const std::u16string title = NameFor(system_.Decode(*step.memo));
      Folder(app_folder_ / u"Archive").Create({}, title, WriteFileText(*step.memo, system_));
      Log(u"Archived: " + title);
      MemoRecord archived = *step.record;
      archived.attributes &= ~eArchive;  // once is enough, should this sync be cancelled
      Store(archived);
      return;
    }
    case Step::Action::kSkip:
      throw FileError{step.file->problem};
  }
}

void MemoSync::Merge(const Step& step) {
  MemoFile file = step.file ? *step.file : MemoFile{};
  const std::u16string folder = categories_->Folder(step.category);
  if (!step.file) {
    file.folder = folder;
    file.name = folder_->Create(folder, NameFor(system_.Decode(*step.memo)),
                                WriteFileText(*step.memo, system_));
    ++count_.written;
    Log(u"New file: " + PathIn(file.folder, file.name));
  } else {
    if (file.category != step.category) {
      const std::u16string from = PathIn(file.folder, file.name);
      file.name = folder_->Move(file, folder);
      file.folder = folder;
      ++count_.moved;
      Log(u"File moved: " + from + u" to " + PathIn(file.folder, file.name));
    }
    if (file.memo != *step.memo) {
      folder_->Replace(file, WriteFileText(*step.memo, system_));
      ++count_.rewritten;
      Log(u"File updated: " + PathIn(file.folder, file.name));
    }
  }

  MemoRecord record = step.record ? *step.record : MemoRecord{};
  if (!step.record || record.memo != *step.memo || record.category != step.category) {
    record.memo = *step.memo;
    record.category = step.category;
    record.attributes &= ~(eDirty | eDelete);
    Store(record);
    ++(step.record ? count_.updated : count_.added);
    Log((step.record ? u"Updated: " : u"Added: ") + PathIn(file.folder, file.name));
  }
  // Databases for a HotSync install hold no ids: their records are found by their text.
  if (record.id != 0) {
    history_[record.id] = {HashOf(*step.memo), step.category, file.folder, file.name};
  }
}

void MemoSync::Conflict(const Step& step) {
  const std::u16string folder = categories_->Folder(step.category);
  const std::u16string name =
      folder_->Create(folder, NameFor(system_.Decode(*step.memo)) + u" (conflict)",
                      WriteFileText(*step.memo, system_));
  ++count_.conflicts;
  Log(u"Conflict: " + PathIn(step.file->folder, step.file->name) +
      u" differs from the handheld's "
      u"memo, which is now in " +
      PathIn(folder, name));
  if (step.record->id != 0) {
    history_[step.record->id] = {HashOf(*step.memo), step.category, folder, name};
  }
}

// Writes the record; a new one gets its id.
void MemoSync::Store(MemoRecord& record) {
  // The final NUL, and the spare byte that a stream has behind its record.
  const com::ByteArray bytes(record.memo + std::string(2, '\0'));
  Check(stream_->put_ByteArray(bytes.get()));
  short category = static_cast<short>(record.category);
  auto attributes = static_cast<eRecordAttribute>(record.attributes);
  Check(database_->Update(record.index, &record.id, &category, &attributes, &stream_));
}

void MemoSync::Save() {
  if (categories_->changed()) {
    // A block has no spare byte: the array is taken whole.
    const com::ByteArray bytes(categories_->app_info());
    Check(stream_->put_ByteArray(bytes.get()));
    Check(database_->WriteAppInfoBlock(&stream_));
  }
  const std::string stamp = Stamp();
  Check(database_->CloseDatabase());
  const std::string history = WriteHistory(history_, stamp);
  try {
    std::error_code error;
    fs::create_directories(history_path_.parent_path(), error);
    if (!fs::exists(history_path_, error) || ReadBytes(history_path_) != history) {
      WriteBytes(history_path_, history);
    }
  } catch (const FileError& failure) {
    throw Error(com::kPathAccess, history_path_.u16string() + u": " + failure.reason);
  }
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

void MemoSync::Log(std::u16string_view text) const { Check(sync_->UpdateLog(Bstr(text))); }

}  // namespace memos

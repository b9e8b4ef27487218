#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/AutomationError.h"
#include "base/Bytes.h"
#include "base/Date.h"
#include "base/LogSink.h"
#include "base/MessageLoop.h"
#include "files/IPCFile.h"
#include "pdb/CHashTable.h"

namespace pylon {

class PdbFile;

// A conduit's own keys and the unique ids of the records that hold them, kept from sync to sync in
// a file for each database and device:
//
//   base folder \ device name \ database name.si
//
// docs/sync-index.md describes the file. It is read when an entry is first asked for or changed,
// and held open until CloseIndex; a database closes its index once its own data is safe, so that an
// index never speaks of records that were not saved.
//
// A damaged file is set aside as "name.si.damaged", or with a number behind that when there is one
// already; the log says so and the index is empty. One that can't be read, because another program
// has it open or the disk fails, raises error 57 instead: an index that looked empty would make a
// conduit add again what is there. Without a log the damage is raised as error 57, once.
//
// Keys have 1 to 32,767 characters, each one byte in the ANSI code page; others raise error 1001.
// They count with their case. Reading yields to the message loop; a member called during it raises
// error 5, except closing, which makes the call that reads fail with that error.
class CSyncIndex {
 public:
  struct Surroundings {
    FileFactory files;  // on the PC's disks
    const AnsiCodePage& code_page;
    const Clock& clock;
    std::shared_ptr<LogSink> log;     // may be null
    std::weak_ptr<MessageLoop> loop;  // may be empty
    std::u16string base_folder;       // empty: the folder of the database
    std::u16string device_name;       // made fit for a path
  };
  static constexpr int32_t kMaxEntries = 65'535;  // the limit of a database

  // Code page and clock outlive the index.
  explicit CSyncIndex(Surroundings surroundings);
  ~CSyncIndex();

  // Not for components. The index belongs to one database, which is named before anything else.
  void SetDatabase(std::u16string_view folder, std::u16string_view name);
  bool IsFor(std::u16string_view folder, std::u16string_view name) const;
  bool HasLog() const { return has_log_; }
  void Load();  // reads the file if it isn't in memory
  // The database has another name or folder now, and what is in memory goes with it, to be written
  // there; the old file stays, or is deleted after that.
  enum class OldFile { kStays, kGoes };
  void MoveTo(std::u16string_view folder, std::u16string_view name, OldFile old_file);
  void StartAfresh();  // empty, whatever the file says
  void Discard();      // forgets changes and releases the file

  bool SyncIndexExists() const;  // the file
  // Whether entries differ from the file's. Storing the id that a key has already changes nothing,
  // nor does removing a key that isn't there.
  bool Changed() const { return changed_; }
  int32_t UniqueId(std::u16string_view PrimaryKey);  // 0 for an unknown key
  // Both replace the id of a key that is there; error 6 for entry 65,536.
  void SetUniqueId(std::u16string_view PrimaryKey, int32_t UniqueId) { Add(PrimaryKey, UniqueId); }
  void Add(std::u16string_view PrimaryKey, int32_t UniqueId);
  void Remove(std::u16string_view PrimaryKey);
  void Clear();
  // Writes the entries if they changed and releases the file; what comes later reads it again. A
  // file that can't be written raises error 57 after a line in the log; the old one is then still
  // there, and the entries stay in memory, changed.
  void CloseIndex();

 private:
  enum class State { kUnread, kReading, kInMemory };

  std::u16string BaseFolder(std::u16string_view folder) const;
  std::u16string Path() const;
  std::unique_ptr<IPCFile> File() const;
  std::unique_ptr<PdbFile> IndexFile() const;
  AutomationError Failure(std::u16string_view step, std::u16string_view reason) const;
  void RequireKey(std::u16string_view key) const;

  void Read();
  std::u16string ReadEntries(PdbFile& file, CHashTable& entries) const;
  std::u16string SetAside(std::u16string_view damage) const;
  void Write();
  void WriteEntries();
  void DeleteObsolete();
  void Release();

  Surroundings with_;  // the log is not null
  bool has_log_;
  std::u16string folder_;
  std::u16string name_;
  State state_ = State::kUnread;
  bool close_wanted_ = false;  // while it is read
  bool changed_ = false;
  bool had_file_ = false;    // when it was read
  std::u16string obsolete_;  // the file under an old name, to be deleted
  CHashTable entries_;
  std::unique_ptr<PdbFile> file_;  // open from reading on; null when there was none
};

// Makes the index of one database; SetDatabase follows.
using SyncIndexFactory = std::function<std::shared_ptr<CSyncIndex>()>;

}  // namespace pylon

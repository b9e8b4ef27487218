#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "base/AutomationError.h"
#include "base/Bytes.h"
#include "base/Date.h"
#include "files/IPCFile.h"
#include "pdb/PDBFormat.h"
#include "pdb/RecordTable.h"

namespace pylon {

// A PDB file and what it holds: header, AppInfo and SortInfo blocks, records. docs/pdb-format.md
// describes the format.
//
// Opening reads header and record list, one read each, and keeps the file open, so that nobody else
// changes it meanwhile. The first access to the bytes of a record or block reads all the rest in
// one piece. Changes stay in memory until Save, which writes the whole file under another name (the
// file's own followed by ".new") and puts it in the place of the old one: at no moment is there
// half a file.
//
// A device's file pumps messages while it is opened, saved or deleted (see "Re-entry" in
// docs/developing.md); the owner makes sure that nothing else is called until then. Owns its file
// object; borrows the code page.
class PdbFile {
 public:
  PdbFile(std::unique_ptr<IPCFile> file, const AnsiCodePage& code_page);
  PdbFile(const PdbFile&) = delete;
  PdbFile& operator=(const PdbFile&) = delete;

  // The file's name. Another path or name concerns what is opened or saved next.
  std::u16string Path() const { return file_->FullFileName(); }
  void SetPath(std::u16string_view path) { file_->SetFullFileName(path); }
  std::u16string Folder() const { return file_->FilePath(); }
  std::u16string Name() const { return file_->FileName(); }
  std::u16string NameNoExt() const { return file_->FileNameNoExt(); }
  bool Exists() const { return file_->FileExists(); }

  // Decides the byte order, how the file is read and how it is written, and how blocks are padded.
  eDatabaseForType database_for() const { return database_for_; }
  void SetDatabaseFor(eDatabaseForType value) { database_for_ = value; }

  enum class Outcome { kOpened, kMissing, kUnreadable, kDamaged, kAppInfoTooLarge };
  struct Opening {
    Outcome outcome = Outcome::kOpened;
    std::u16string reason;  // when it was not opened; Line makes a sentence of it
  };
  // Replaces what was in memory when the file could be opened; otherwise that stays.
  Opening Open();
  // Starts an empty database in memory, with this header's texts.
  void Create(const PDBHeader& header, Date now);
  // Makes what is in memory independent of the file, and closes that.
  void Detach();
  // Error 6 for a file of 2 GB or more, before anything is written; error 57 when it can't be
  // written, kCancelled when the user has stopped it: the old file is then still there, and what is
  // in memory as well.
  void Save(Date now);
  // Deletes the file, if there is one. Error 57 when it can't be deleted; what is open then goes on
  // as before.
  void Delete();
  // In its folder. Error 57 when an open one can't be read; false, with FailureText, when the name
  // is taken or the file can't be renamed.
  bool Rename(std::u16string_view new_name);
  // Forgets everything but the header, whose texts and dates stay known.
  void Close();

  // Its offsets and count are those last read; Save computes them again.
  PDBHeader& header() { return header_; }
  const PDBHeader& header() const { return header_; }
  RecordTable& records() { return records_; }
  const RecordTable& records() const { return records_; }
  // Views until the next change of the record or block and until Close. Error 57 when the file
  // can't be read.
  ByteSpan DataOf(const RecordEntry& entry);
  ByteSpan AppInfo() { return DataOf(app_info_); }
  ByteSpan SortInfo() { return DataOf(sort_info_); }
  void SetAppInfo(ByteSpan bytes);  // over 32,767 bytes: error 6
  void SetSortInfo(ByteSpan bytes) { SetBlock(sort_info_, bytes); }

  // Whether there is something to save.
  bool changed() const { return changed_; }
  void MarkChanged() { changed_ = true; }

  // The words of the file's last failure; empty when there is none.
  std::u16string FailureText() const;
  // "Database ", the path and a reason, for the log and for errors.
  std::u16string Line(std::u16string_view reason) const;

 private:
  // An AppInfo or SortInfo block: in the file, or given by the caller.
  struct Block {
    uint32_t offset = 0;  // in the file, when not changed
    uint32_t size = 0;
    bool changed = false;
    Bytes data;  // when changed
  };
  // Where things go in a new file, in file order.
  struct Layout {
    size_t app_info = 0;
    size_t sort_info = 0;
    size_t records = 0;
    size_t end = 0;
  };
  struct Found;

  AutomationError DeviceError(std::u16string_view path, std::u16string_view what) const;
  static std::u16string AppInfoOverflow(size_t size);
  static Opening Damaged(std::u16string_view what);
  Opening Unreadable(std::u16string_view what) const;

  Opening Read(Found& found);
  Opening ReadList(Found& found);
  static Opening LocateBlocks(Found& found);
  bool ReadAt(Bytes& bytes, size_t offset, size_t size);
  void Forget();
  bool NeedsBody() const;
  void LoadBody();
  ByteSpan FromBody(uint32_t offset, uint32_t size);
  ByteSpan DataOf(const Block& block);
  void SetBlock(Block& block, ByteSpan bytes);

  Layout PlanLayout() const;
  size_t WriteTo(IPCFile& file, const Layout& layout);
  void ReplaceFile(const Layout& layout);

  std::unique_ptr<IPCFile> file_;  // open from Open until its body is no longer needed
  const AnsiCodePage* code_page_;
  eDatabaseForType database_for_ = dftPalmHotSync;

  PDBHeader header_;
  Block app_info_;
  Block sort_info_;
  RecordTable records_;
  bool changed_ = false;

  bool body_loaded_ = false;
  Bytes body_;                // the file from body_offset_ on
  uint32_t body_offset_ = 0;  // end of the record list
  uint32_t file_size_ = 0;
};

}  // namespace pylon

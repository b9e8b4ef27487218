#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "base/AnsiCodePage.h"
#include "base/AutomationError.h"
#include "base/Date.h"
#include "base/LogSink.h"
#include "hotsync/Handheld.h"
#include "pdb/IndexOwner.h"
#include "pdb/PDBDatabase.h"
#include "pdb/RecordCursor.h"

namespace pylon {

// A database on a handheld, for the length of the handheld's session with the PC.
//
// Every change is on the handheld when the call returns, and stays there whatever comes later:
// CloseDatabase has nothing to save but the sync index. docs/handheld.md says what else a conduit
// meets here and not on the PC.
//
// The link is slow, so it is asked as little as can be. A record costs one exchange to read, and
// one to write or remove when it was read or written since the database was opened, else two. The
// cursor costs none. That rests on one invariant: as long as a session lasts, the handheld's
// applications do nothing and only this object changes the database, where new records go to the
// end. So the number of records, and which id is at which index, are remembered; after a change
// that failed they are asked for again.
//
// Errors of the handheld reach the caller as they are: 57 when the link is lost, 70 when it
// refuses, 7 when its memory is full, 51 for others. None leaves anything half done here.
//
// Shares the handheld; EndSession lets go of it. The code page outlives the database.
class PDBDatabasePalm final : public PDBDatabase {
 public:
  // The largest piece of its memory that a handheld gives to a record or block.
  static constexpr size_t kMaxChunk = 65'505;

  // `log` may be null. Without `indexes` it keeps no sync index.
  PDBDatabasePalm(std::shared_ptr<Handheld> handheld, const AnsiCodePage& code_page,
                  std::shared_ptr<LogSink> log, SyncIndexFactory indexes = {});

  // Given by the file system, unchecked; what is not possible is refused when it matters. `folder`,
  // on the PC, is for what is kept there beside the database: the sync index.
  void SetUp(std::u16string_view creator_id, eDatabaseForType database_for,
             std::u16string_view name, std::u16string_view folder);

  // Empty: there is no file. Anything else raises error 445.
  std::u16string PDBFilePath() const override { return {}; }
  void SetPDBFilePath(std::u16string_view path) override;
  // Names the database that is opened or created next; error 445 for another name while one is
  // open, as handhelds rename none.
  std::u16string PDBDatabaseName() const override { return name_; }
  void SetPDBDatabaseName(std::u16string_view name) override;
  // Of the open database, else of the one that is created next. A database that was just created
  // takes another as long as nothing was written to it; an older one raises error 445. When the
  // handheld refuses, it stays what it was, with its old creator.
  std::u16string CreatorId() const override;
  void SetCreatorId(std::u16string_view id) override;
  eDatabaseForType DatabaseFor() const override { return database_for_; }

  // False, and a line in the log, when there is no such database.
  bool OpenDatabase() override;
  // Raises nothing but what closing the sync index does; the link may be lost already. What the
  // handheld was given before is on it, and the index speaks of that.
  void CloseDatabase() override;
  // When there is none, nothing happens. When the handheld refuses, the database stays open, if it
  // was, with the cursor at the first record.
  void RemoveDatabase() override;
  // Of the type "DATA". One that exists is emptied, its records first and then its blocks: at no
  // moment is it gone, and it keeps its creator, type and dates. False as well, with a line in the
  // log, without a creator id of four characters.
  bool CreateDatabase() override;

  RecordData ReadAppInfoBlock() override;
  void WriteAppInfoBlock(ByteSpan block) override;  // over kMaxChunk: error 6
  RecordData ReadSortInfoBlock() override;
  void WriteSortInfoBlock(ByteSpan block) override;  // over kMaxChunk: error 6

  // Takes what is outside 0 .. record count + 1 as the nearer end.
  int32_t IterationIndex() const override;
  void SetIterationIndex(int32_t index) override;
  bool BOF() const override;
  bool EOF_() const override;

  std::optional<Record> Next() override;
  std::optional<Record> ByIndex(int32_t index) override;
  std::optional<Record> ById(int32_t id) override;
  // The handheld looks for it, so only modified records travel. It goes by eDirty, which handhelds
  // give to what the user deletes too; Next meets what is marked eDelete without it.
  std::optional<Record> NextModified() override;
  void Remove(int32_t unique_id) override;
  void RemoveAll() override;
  // Those that are dirty too, and those that were met here in any way.
  void RemoveWithDeleteFlag() override;
  // Takes eDirty from records marked eDelete as well; RemoveWithDeleteFlag still finds them as long
  // as the database is open.
  void ResetModifyFlags() override;
  int32_t RecordCount() const override;
  // The handheld gives the ids: a new record gets another than unique_id says, and one that is not
  // that of the record at the index raises error 5; a record to which the handheld has given none
  // can't be replaced, error 51. The busy bit is not written. More than kMaxChunk bytes raise
  // error 6.
  int32_t Update(int32_t index, int32_t unique_id, int16_t category, int32_t attributes,
                 ByteSpan data) override;
  // As the handheld reports them; 0 where it doesn't.
  Date CreateDateTime() const override;
  Date ModifyDateTime() const override;
  std::shared_ptr<CSyncIndex> SyncIndex() override;

  bool IsOpen() const override { return link_ != nullptr; }
  // Lets go of the handheld without a word to it. The database can't be opened any more.
  void EndSession() noexcept;

 private:
  using Link = std::shared_ptr<HandheldDatabase>;  // holds the handheld too

  // By value: a call over the link pumps messages, during which the database may be closed.
  Link RequireOpen() const;
  bool Refuse(std::u16string_view reason) const;
  AutomationError Error(int32_t number, std::u16string_view what) const;
  AutomationError Error(ErrorNumber number, std::u16string_view what) const;
  void RequireSize(size_t size, std::u16string_view what) const;
  bool NameIsPossible() const;
  std::optional<HandheldDatabaseInfo> Info() const;
  void TakeLink(const std::shared_ptr<Handheld>& handheld, std::unique_ptr<HandheldDatabase> link);
  void DropLink() noexcept;
  enum class IfGone { kLeave, kCreate };
  void Reopen(const std::shared_ptr<Handheld>& handheld, IfGone if_gone) noexcept;
  void Empty(HandheldDatabase& link);
  void ForgetRecords() noexcept;
  // Runs what changes the database. After a failure nobody knows how far it came.
  template <class Action>
  std::invoke_result_t<Action> Change(Action&& action);

  int32_t Count(HandheldDatabase& link) const;
  void Learn(int32_t index, int32_t id, int32_t attributes);
  void Learn(Record& record);
  void Cover(int32_t from, int32_t to);
  std::optional<int32_t> KnownIndexOf(int32_t id) const;
  std::optional<Record> ReadAt(HandheldDatabase& link, int32_t index);
  std::optional<Record> ReadById(HandheldDatabase& link, int32_t id);
  std::optional<Record> ReadNextModified(HandheldDatabase& link, int32_t from);
  int32_t IdAt(HandheldDatabase& link, int32_t index, int32_t expected);
  bool RemoveRecord(HandheldDatabase& link, int32_t id);
  void FindDeleted(HandheldDatabase& link);

  IndexOwner::Place IndexPlace() const { return {folder_, name_}; }

  std::shared_ptr<Handheld> handheld_;  // null once the session has ended
  const AnsiCodePage* code_page_;
  std::shared_ptr<LogSink> log_;  // not null
  IndexOwner index_;
  std::u16string creator_;
  eDatabaseForType database_for_ = dftPalmHotSync;
  std::u16string name_;
  std::u16string folder_;

  Link link_;                // null: closed
  bool untouched_ = false;   // created where there was none, and nothing was written yet
  bool unreadable_ = false;  // the last OpenDatabase failed otherwise than by finding none

  RecordCursor cursor_;

  // As the handheld has reported; see the invariant above.
  mutable std::optional<int32_t> count_;
  std::vector<int32_t> ids_;  // by index - 1; 0 and what is beyond the end: not known
  mutable size_t near_ = 0;   // where in ids_ the next search starts: mostly they go in order
  // Ids of the records that were last met marked eDelete. None else of the records before
  // `covered_`, and of the modified ones, is marked so.
  std::set<int32_t> deleted_;
  static constexpr int32_t kAll = std::numeric_limits<int32_t>::max();
  int32_t covered_ = 1;
};

}  // namespace pylon

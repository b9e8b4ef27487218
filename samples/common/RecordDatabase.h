#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Session.h"
#include "TwoWay.h"

namespace sample {

// A database of records as a two-way sync uses it: read whole, changed record by record, closed.
// Nothing is saved before Close. Each method may throw com::Error.
class RecordDatabase {
 public:
  RecordDatabase() : stream_(com::Create<_PDBByteStream>(__uuidof(PDBByteStream))) {}

  // False when there is none, or one that can't be opened.
  bool Open(const Session& session, std::u16string_view name);
  // Throws when there is one, which can't be opened then: it is damaged, in use or out of reach.
  void Create(const Session& session, std::u16string_view name, std::u16string_view creator);
  void Close() { com::Check(database_->CloseDatabase()); }

  PDBDatabase& operator*() const { return *database_.get(); }

  long Count() const;
  // Fills in all but the content, and returns the record's bytes. Indexes count from 1.
  std::string Read(long index, Record& record);
  // Writes into the record, or a new one, which gets its id.
  void Write(Record& record, std::string_view bytes);
  void Remove(long id) { com::Check(database_->Remove(id)); }

  // The AppInfo block, in a stream that the next call fills again.
  const com::Ptr<_PDBByteStream>& ReadAppInfo();
  void WriteAppInfo(com::Ptr<_PDBByteStream>& block);
  void WriteAppInfo(std::string_view block);

  // Takes the handheld's marks: of all records, or of those that are settled, so that the others
  // keep theirs for the next sync.
  void ClearAllMarks();
  void ClearMarks(const Record& settled);

 private:
  com::Ptr<PDBDatabase> database_;
  com::Ptr<_PDBByteStream> stream_;  // carries every record and block
};

// Gives a stream a record's bytes. They are followed by the spare byte that a stream has behind its
// record; a block has none.
void FillRecord(const com::Ptr<_PDBByteStream>& stream, std::string_view bytes);
// The bytes of the record or block in a stream that a database has filled.
std::string BytesOf(const com::Ptr<_PDBByteStream>& stream);

}  // namespace sample

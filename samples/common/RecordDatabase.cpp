#include "RecordDatabase.h"

#include "Text.h"

namespace sample {
namespace {

using com::Bstr;
using com::Check;
using com::Error;

}  // namespace

bool RecordDatabase::Open(const Session& session, std::u16string_view name) {
  VARIANT_BOOL done = VARIANT_FALSE;
  Check(session.Files()->OpenDatabase(Bstr(name), database_.InOut(), &done));
  return done != VARIANT_FALSE;
}

void RecordDatabase::Create(const Session& session, std::u16string_view name,
                            std::u16string_view creator) {
  const Bstr text(name);
  VARIANT variant;
  variant.vt = VT_BSTR;
  variant.bstrVal = text;
  VARIANT_BOOL done = VARIANT_FALSE;
  Check(session.Files()->CreateDatabase(variant, database_.InOut(), &done));
  if (!done) {
    throw Error(com::kDeviceError,
                u"The database " + std::u16string(name) + u" can't be opened. The log says why.");
  }
  Check(database_->put_CreatorId(Bstr(creator)));
}

long RecordDatabase::Count() const {
  long count = 0;
  Check(database_->get_RecordCount(&count));
  return count;
}

std::string RecordDatabase::Read(long index, Record& record) {
  short category = 0;
  eRecordAttribute attributes{};
  VARIANT_BOOL read = VARIANT_FALSE;
  Check(database_->ReadNextByIndex(index, &record.id, &category, &attributes, stream_.InOut(),
                                   &read));
  if (!read) throw Error(com::kDeviceError, u"Record " + Decimal(index) + u" can't be read.");
  record.index = index;
  record.category = category;
  record.attributes = attributes;
  record.dirty = (attributes & eDirty) != 0;
  record.deleted = (attributes & eDelete) != 0;
  record.archived = record.deleted && (attributes & eArchive) != 0;
  return BytesOf(stream_);
}

void RecordDatabase::Write(Record& record, std::string_view bytes) {
  FillRecord(stream_, bytes);
  auto category = static_cast<short>(record.category);
  auto attributes = static_cast<eRecordAttribute>(record.attributes);
  Check(database_->Update(record.index, &record.id, &category, &attributes, stream_.InOut()));
}

const com::Ptr<_PDBByteStream>& RecordDatabase::ReadAppInfo() {
  Check(database_->ReadAppInfoBlock(stream_.InOut()));
  return stream_;
}

void RecordDatabase::WriteAppInfo(com::Ptr<_PDBByteStream>& block) {
  Check(database_->WriteAppInfoBlock(block.InOut()));
}

void RecordDatabase::WriteAppInfo(std::string_view block) {
  const com::ByteArray bytes(block);
  Check(stream_->put_ByteArray(bytes.get()));
  Check(database_->WriteAppInfoBlock(stream_.InOut()));
}

void RecordDatabase::ClearAllMarks() {
  Check(database_->RemoveWithDeleteFlag());
  Check(database_->ResetModifyFlags());
}

void RecordDatabase::ClearMarks(const Record& settled) {
  if (settled.id == 0) return;
  if (settled.deleted) return Remove(settled.id);
  if (!settled.dirty) return;
  long index = 0;
  long id = settled.id;
  short category = 0;
  eRecordAttribute attributes{};
  VARIANT_BOOL read = VARIANT_FALSE;
  Check(database_->ReadNextById(&index, id, &category, &attributes, stream_.InOut(), &read));
  if (!read || !(attributes & eDirty)) return;  // removed, or written, since it was read
  attributes = static_cast<eRecordAttribute>(attributes & ~eDirty);
  Check(database_->Update(index, &id, &category, &attributes, stream_.InOut()));
}

void FillRecord(const com::Ptr<_PDBByteStream>& stream, std::string_view bytes) {
  const com::ByteArray array(std::string(bytes) + '\0');
  Check(stream->put_ByteArray(array.get()));
}

std::string BytesOf(const com::Ptr<_PDBByteStream>& stream) {
  com::ByteArray bytes;
  long length = 0;
  Check(stream->get_ByteArray(&bytes));
  Check(stream->get_length(&length));
  return std::string(bytes.bytes().substr(0, static_cast<size_t>(length)));
}

}  // namespace sample

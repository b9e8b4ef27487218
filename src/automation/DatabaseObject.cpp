#include "automation/DatabaseObject.h"

#include <optional>

#include "automation/ByteStreamObject.h"
#include "conduits/CConduitInfo.h"
#include "conduits/CDevice.h"
#include "files/ProgramFiles.h"

namespace pylon {
namespace {

// The index of a database that a client made by itself: with those of the run, if there is one in
// this process, else beside the database.
std::shared_ptr<pylon::CSyncIndex> NewIndex(Server& server) {
  pylon::CSyncIndex::Surroundings surroundings{
      server.files(), server.code_page(), server.clock(), server.run_log(), server.run(), {}, {}};
  const std::shared_ptr<oSyncInfo>& run = server.run();
  const auto device = run ? run->Device() : nullptr;
  const auto conduit = run ? run->ConduitInfo() : nullptr;
  surroundings.device_name = device ? device->DeviceName() : LoggedOnUser();
  if (conduit) surroundings.base_folder = conduit->AppFolder();
  return std::make_shared<pylon::CSyncIndex>(std::move(surroundings));
}

std::shared_ptr<pylon::PDBDatabase> NewDatabase(Server& server) {
  return std::make_shared<PDBDatabasePC>(server.files()(), server.code_page(), server.clock(),
                                         server.run_log(), [&server] { return NewIndex(server); });
}

}  // namespace

const ClassInfo DatabaseObject::kClass = {CLSID_PDBDatabasePC, u"Pylon.PDBDatabasePC"};

DatabaseObject::DatabaseObject(Server& server) : DatabaseObject(server, NewDatabase(server)) {}
DatabaseObject::DatabaseObject(Server& server, std::shared_ptr<pylon::PDBDatabase> database)
    : Object(server), database_(std::move(database)) {}
DatabaseObject::~DatabaseObject() = default;

STDMETHODIMP DatabaseObject::ReadAppInfoBlock(::_PDBByteStream** oByteStream) noexcept {
  return Do([&] {
    StreamArgument stream(server(), oByteStream);
    stream.ToFill().Fill(database_->ReadAppInfoBlock());
    stream.Return();
  });
}
STDMETHODIMP DatabaseObject::WriteAppInfoBlock(::_PDBByteStream** oByteStream) noexcept {
  return Do([&] {
    StreamArgument stream(server(), oByteStream);
    database_->WriteAppInfoBlock(stream.Given().BlockBytes());
  });
}
STDMETHODIMP DatabaseObject::ReadSortInfoBlock(::_PDBByteStream** oByteStream) noexcept {
  return Do([&] {
    StreamArgument stream(server(), oByteStream);
    stream.ToFill().Fill(database_->ReadSortInfoBlock());
    stream.Return();
  });
}
STDMETHODIMP DatabaseObject::WriteSortInfoBlock(::_PDBByteStream** oByteStream) noexcept {
  return Do([&] {
    StreamArgument stream(server(), oByteStream);
    database_->WriteSortInfoBlock(stream.Given().BlockBytes());
  });
}

template <class Read>
HRESULT DatabaseObject::ReadRecord(long* Index, long* UniqueId, short* Category,
                                   ::eRecordAttribute* Attributes, ::_PDBByteStream** stream,
                                   VARIANT_BOOL* result, Read&& read) noexcept {
  if (!Index || !UniqueId || !Category || !Attributes) return FailWith(E_POINTER);
  return GetBool(result, [&] {
    StreamArgument data(server(), stream);
    const std::optional<Record> record = read();
    if (!record) return false;
    data.ToFill().Fill(record->data);
    data.Return();
    *Index = record->index;
    *UniqueId = record->id;
    *Category = record->category;
    *Attributes = static_cast<::eRecordAttribute>(record->attributes);
    return true;
  });
}

STDMETHODIMP DatabaseObject::ReadNext(long* Index, long* UniqueId, short* Category,
                                      ::eRecordAttribute* Attributes,
                                      ::_PDBByteStream** oByteStream,
                                      VARIANT_BOOL* result) noexcept {
  return ReadRecord(Index, UniqueId, Category, Attributes, oByteStream, result,
                    [&] { return database_->Next(); });
}
STDMETHODIMP DatabaseObject::ReadNextByIndex(long Index, long* UniqueId, short* Category,
                                             ::eRecordAttribute* Attributes,
                                             ::_PDBByteStream** aData,
                                             VARIANT_BOOL* result) noexcept {
  return ReadRecord(&Index, UniqueId, Category, Attributes, aData, result,
                    [&] { return database_->ByIndex(Index); });
}
STDMETHODIMP DatabaseObject::ReadNextById(long* Index, long UniqueId, short* Category,
                                          ::eRecordAttribute* Attributes, ::_PDBByteStream** aData,
                                          VARIANT_BOOL* result) noexcept {
  return ReadRecord(Index, &UniqueId, Category, Attributes, aData, result,
                    [&] { return database_->ById(UniqueId); });
}
STDMETHODIMP DatabaseObject::ReadNextModified(long* Index, long* UniqueId, short* Category,
                                              ::eRecordAttribute* Attributes,
                                              ::_PDBByteStream** aData,
                                              VARIANT_BOOL* result) noexcept {
  return ReadRecord(Index, UniqueId, Category, Attributes, aData, result,
                    [&] { return database_->NextModified(); });
}
STDMETHODIMP DatabaseObject::Update(long Index, long* UniqueId, short* Category,
                                    ::eRecordAttribute* Attributes,
                                    ::_PDBByteStream** oByteStream) noexcept {
  if (!UniqueId || !Category || !Attributes) return FailWith(E_POINTER);
  return Do([&] {
    StreamArgument stream(server(), oByteStream);
    *UniqueId =
        database_->Update(Index, *UniqueId, *Category, *Attributes, stream.Given().RecordBytes());
  });
}
STDMETHODIMP DatabaseObject::get_SyncIndex(::_CSyncIndex** value) noexcept {
  return Get(value, [&] {
    auto index = database_->SyncIndex();
    if (!index_ || !index_->Is(*index)) {
      index_ = com::Make<SyncIndexObject>(server(), std::move(index));
    }
    return com::Ptr<::_CSyncIndex>::Share(index_.get()).Detach();
  });
}
STDMETHODIMP DatabaseObject::get_DatabaseType(BSTR* value) noexcept {
  return GetText(value, [&] { return InFile().DatabaseType(); });
}
STDMETHODIMP DatabaseObject::put_DatabaseType(BSTR value) noexcept {
  return Do([&] { InFile().SetDatabaseType(com::Text(value)); });
}
STDMETHODIMP DatabaseObject::put_DatabaseFor(::eDatabaseForType value) noexcept {
  return Do([&] { InFile().SetDatabaseFor(static_cast<eDatabaseForType>(value)); });
}

PDBDatabasePC& DatabaseObject::InFile() {
  auto* const database = dynamic_cast<PDBDatabasePC*>(database_.get());
  if (!database) throw AutomationError(ErrorNumber::kActionNotSupported);
  return *database;
}

}  // namespace pylon

#pragma once

#include <memory>

#include "automation/Object.h"
#include "automation/SyncIndexObject.h"
#include "pdb/PDBDatabase.h"
#include "pdb/PDBDatabasePC.h"

namespace pylon {

// A database as clients see it. One object a database: PDBFileSystem hands out the same one again.
class DatabaseObject final : public Object<DatabaseObject, ::_PDBDatabasePC, ::PDBDatabase> {
 public:
  static const ClassInfo kClass;

  // A database that a client creates by itself: it has no file yet.
  explicit DatabaseObject(Server& server);
  DatabaseObject(Server& server, std::shared_ptr<pylon::PDBDatabase> database);
  ~DatabaseObject();

  STDMETHODIMP get_PDBFilePath(BSTR* value) noexcept override {
    return GetText(value, [&] { return database_->PDBFilePath(); });
  }
  STDMETHODIMP put_PDBFilePath(BSTR value) noexcept override {
    return Do([&] { database_->SetPDBFilePath(com::Text(value)); });
  }
  STDMETHODIMP get_PDBDatabaseName(BSTR* value) noexcept override {
    return GetText(value, [&] { return database_->PDBDatabaseName(); });
  }
  STDMETHODIMP put_PDBDatabaseName(BSTR value) noexcept override {
    return Do([&] { database_->SetPDBDatabaseName(com::Text(value)); });
  }
  STDMETHODIMP get_CreatorId(BSTR* value) noexcept override {
    return GetText(value, [&] { return database_->CreatorId(); });
  }
  STDMETHODIMP put_CreatorId(BSTR value) noexcept override {
    return Do([&] { database_->SetCreatorId(com::Text(value)); });
  }
  STDMETHODIMP get_DatabaseFor(::eDatabaseForType* value) noexcept override {
    return Get(value, [&] { return static_cast<::eDatabaseForType>(database_->DatabaseFor()); });
  }
  STDMETHODIMP OpenDatabase(VARIANT_BOOL* result) noexcept override {
    return GetBool(result, [&] { return database_->OpenDatabase(); });
  }
  STDMETHODIMP CloseDatabase() noexcept override {
    return Do([&] { database_->CloseDatabase(); });
  }
  STDMETHODIMP RemoveDatabase() noexcept override {
    return Do([&] { database_->RemoveDatabase(); });
  }
  STDMETHODIMP CreateDatabase(VARIANT_BOOL* result) noexcept override {
    return GetBool(result, [&] { return database_->CreateDatabase(); });
  }
  STDMETHODIMP ReadAppInfoBlock(::_PDBByteStream** oByteStream) noexcept override;
  STDMETHODIMP WriteAppInfoBlock(::_PDBByteStream** oByteStream) noexcept override;
  STDMETHODIMP ReadSortInfoBlock(::_PDBByteStream** oByteStream) noexcept override;
  STDMETHODIMP WriteSortInfoBlock(::_PDBByteStream** oByteStream) noexcept override;
  STDMETHODIMP get_IterationIndex(long* value) noexcept override {
    return Get(value, [&] { return database_->IterationIndex(); });
  }
  STDMETHODIMP put_IterationIndex(long value) noexcept override {
    return Do([&] { database_->SetIterationIndex(value); });
  }
  STDMETHODIMP BOF(VARIANT_BOOL* result) noexcept override {
    return GetBool(result, [&] { return database_->BOF(); });
  }
  STDMETHODIMP EOF(VARIANT_BOOL* result) noexcept override {
    return GetBool(result, [&] { return database_->EOF_(); });
  }
  STDMETHODIMP ReadNext(long* Index, long* UniqueId, short* Category,
                        ::eRecordAttribute* Attributes, ::_PDBByteStream** oByteStream,
                        VARIANT_BOOL* result) noexcept override;
  STDMETHODIMP ReadNextByIndex(long Index, long* UniqueId, short* Category,
                               ::eRecordAttribute* Attributes, ::_PDBByteStream** aData,
                               VARIANT_BOOL* result) noexcept override;
  STDMETHODIMP ReadNextById(long* Index, long UniqueId, short* Category,
                            ::eRecordAttribute* Attributes, ::_PDBByteStream** aData,
                            VARIANT_BOOL* result) noexcept override;
  STDMETHODIMP ReadNextModified(long* Index, long* UniqueId, short* Category,
                                ::eRecordAttribute* Attributes, ::_PDBByteStream** aData,
                                VARIANT_BOOL* result) noexcept override;
  STDMETHODIMP Remove(long UniqueId) noexcept override {
    return Do([&] { database_->Remove(UniqueId); });
  }
  STDMETHODIMP RemoveAll() noexcept override {
    return Do([&] { database_->RemoveAll(); });
  }
  STDMETHODIMP RemoveWithDeleteFlag() noexcept override {
    return Do([&] { database_->RemoveWithDeleteFlag(); });
  }
  STDMETHODIMP ResetModifyFlags() noexcept override {
    return Do([&] { database_->ResetModifyFlags(); });
  }
  STDMETHODIMP get_RecordCount(long* value) noexcept override {
    return Get(value, [&] { return database_->RecordCount(); });
  }
  STDMETHODIMP Update(long Index, long* UniqueId, short* Category, ::eRecordAttribute* Attributes,
                      ::_PDBByteStream** oByteStream) noexcept override;
  STDMETHODIMP CreateDateTime(DATE* result) noexcept override {
    return Get(result, [&] { return database_->CreateDateTime(); });
  }
  STDMETHODIMP ModifyDateTime(DATE* result) noexcept override {
    return Get(result, [&] { return database_->ModifyDateTime(); });
  }
  STDMETHODIMP get_SyncIndex(::_CSyncIndex** value) noexcept override;
  STDMETHODIMP get_DatabaseType(BSTR* value) noexcept override;
  STDMETHODIMP put_DatabaseType(BSTR value) noexcept override;
  STDMETHODIMP put_DatabaseFor(::eDatabaseForType value) noexcept override;

 private:
  // Unpacks the record that `read` returns into the caller's variables; without one they stay as
  // they were, and the answer is False.
  template <class Read>
  HRESULT ReadRecord(long* Index, long* UniqueId, short* Category, ::eRecordAttribute* Attributes,
                     ::_PDBByteStream** stream, VARIANT_BOOL* result, Read&& read) noexcept;
  // The database as one in a PDB file; error 445 when it is of another kind.
  PDBDatabasePC& InFile();

  std::shared_ptr<pylon::PDBDatabase> database_;
  com::Ptr<SyncIndexObject> index_;  // made when first asked for
};

}  // namespace pylon

#include "automation/FileSystemObject.h"

namespace pylon {

const ClassInfo FileSystemObject::kClass = {IID_PDBFileSystem, u"Pylon.PDBFileSystem"};

FileSystemObject::FileSystemObject(Server& server,
                                   std::shared_ptr<pylon::PDBFileSystem> file_system)
    : Object(server), file_system_(std::move(file_system)) {}
FileSystemObject::~FileSystemObject() = default;

STDMETHODIMP FileSystemObject::OpenDatabase(BSTR FileName, ::PDBDatabase** oDatabase,
                                            VARIANT_BOOL* result) noexcept {
  if (!oDatabase) return FailWith(E_POINTER);
  return GetBool(result, [&] {
    std::shared_ptr<pylon::PDBDatabase> database;
    bool opened = false;
    try {
      opened = file_system_->OpenDatabase(com::Text(FileName), database);
    } catch (const AutomationError&) {
      Hand(database, oDatabase);  // listed all the same, and the caller may try it again
      throw;
    }
    Hand(database, oDatabase);
    return opened;
  });
}

STDMETHODIMP FileSystemObject::CreateDatabase(VARIANT FileName, ::PDBDatabase** oDatabase,
                                              VARIANT_BOOL* result) noexcept {
  if (!oDatabase) return FailWith(E_POINTER);
  return GetBool(result, [&] {
    com::Variant name;
    com::Check(::VariantChangeType(name.get(), &FileName, 0, VT_BSTR));
    std::shared_ptr<pylon::PDBDatabase> database;
    const bool created = file_system_->CreateDatabase(com::Text(V_BSTR(name.get())), database);
    Hand(database, oDatabase);
    return created;
  });
}

STDMETHODIMP FileSystemObject::MoveDatabase(BSTR FromFileName, BSTR ToFileName,
                                            VARIANT_BOOL* result) noexcept {
  return GetBool(result, [&] {
    return file_system_->MoveDatabase(com::Text(FromFileName), com::Text(ToFileName));
  });
}

STDMETHODIMP FileSystemObject::DeleteDatabase(BSTR FileName, VARIANT_BOOL* result) noexcept {
  return GetBool(result, [&] { return file_system_->DeleteDatabase(com::Text(FileName)); });
}

STDMETHODIMP FileSystemObject::DatabaseCount(long* result) noexcept {
  return Get(result, [&] { return file_system_->DatabaseCount(); });
}

STDMETHODIMP FileSystemObject::Database(long iIndex, ::PDBDatabase** result) noexcept {
  return Get(result, [&]() -> ::PDBDatabase* {
    const std::shared_ptr<pylon::PDBDatabase> database = file_system_->Database(iIndex);
    return database ? Wrap(database).Detach() : nullptr;
  });
}

com::Ptr<::PDBDatabase> FileSystemObject::Wrap(
    const std::shared_ptr<pylon::PDBDatabase>& database) {
  com::Ptr<DatabaseObject>& object = databases_[database.get()];
  if (!object) object = com::Make<DatabaseObject>(server(), database);
  return com::Ptr<::PDBDatabase>::Share(static_cast<::PDBDatabase*>(object.get()));
}

void FileSystemObject::Hand(const std::shared_ptr<pylon::PDBDatabase>& database,
                            ::PDBDatabase** target) {
  if (!database) return;
  // The caller's old one is released after it has the new one: the release may call back.
  const auto old = com::Ptr<::PDBDatabase>::Own(std::exchange(*target, Wrap(database).Detach()));
}

}  // namespace pylon

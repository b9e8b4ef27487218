#pragma once

#include <map>
#include <memory>

#include "automation/DatabaseObject.h"
#include "automation/Object.h"
#include "pdb/PDBFileSystem.h"

namespace pylon {

// The file system of a run. It has no class of its own in the library: components know it by its
// interface.
class FileSystemObject final : public Object<FileSystemObject, ::PDBFileSystem> {
 public:
  static const ClassInfo kClass;

  FileSystemObject(Server& server, std::shared_ptr<pylon::PDBFileSystem> file_system);
  ~FileSystemObject();

  STDMETHODIMP OpenDatabase(BSTR FileName, ::PDBDatabase** oDatabase,
                            VARIANT_BOOL* result) noexcept override;
  STDMETHODIMP CreateDatabase(VARIANT FileName, ::PDBDatabase** oDatabase,
                              VARIANT_BOOL* result) noexcept override;
  STDMETHODIMP MoveDatabase(BSTR FromFileName, BSTR ToFileName,
                            VARIANT_BOOL* result) noexcept override;
  STDMETHODIMP DeleteDatabase(BSTR FileName, VARIANT_BOOL* result) noexcept override;
  STDMETHODIMP DatabaseCount(long* result) noexcept override;
  STDMETHODIMP Database(long iIndex, ::PDBDatabase** result) noexcept override;

 private:
  com::Ptr<::PDBDatabase> Wrap(const std::shared_ptr<pylon::PDBDatabase>& database);
  void Hand(const std::shared_ptr<pylon::PDBDatabase>& database, ::PDBDatabase** target);

  std::shared_ptr<pylon::PDBFileSystem> file_system_;
  // The object of each database that was handed out; it keeps the database alive, so that an
  // address here never means another one.
  std::map<const pylon::PDBDatabase*, com::Ptr<DatabaseObject>> databases_;
};

}  // namespace pylon

#pragma once

#include <memory>

#include "automation/Object.h"
#include "pdb/CSyncIndex.h"

namespace pylon {

// The sync index of a database as clients see it.
class SyncIndexObject final : public Object<SyncIndexObject, ::_CSyncIndex> {
 public:
  static const ClassInfo kClass;

  SyncIndexObject(Server& server, std::shared_ptr<pylon::CSyncIndex> index)
      : Object(server), index_(std::move(index)) {}

  bool Is(const pylon::CSyncIndex& index) const noexcept { return index_.get() == &index; }

  STDMETHODIMP get_SyncIndexExists(VARIANT_BOOL* value) noexcept override;
  STDMETHODIMP get_Changed(VARIANT_BOOL* value) noexcept override;
  STDMETHODIMP get_UniqueId(BSTR PrimaryKey, long* value) noexcept override;
  STDMETHODIMP put_UniqueId(BSTR PrimaryKey, long value) noexcept override;
  STDMETHODIMP Add(BSTR PrimaryKey, long UniqueId) noexcept override;
  STDMETHODIMP Remove(BSTR PrimaryKey) noexcept override;
  STDMETHODIMP Clear() noexcept override;
  STDMETHODIMP CloseIndex() noexcept override;

 private:
  std::shared_ptr<pylon::CSyncIndex> index_;
};

}  // namespace pylon

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

  STDMETHODIMP get_SyncIndexExists(VARIANT_BOOL* value) noexcept override {
    return GetBool(value, [&] { return index_->SyncIndexExists(); });
  }
  STDMETHODIMP get_Changed(VARIANT_BOOL* value) noexcept override {
    return GetBool(value, [&] { return index_->Changed(); });
  }
  STDMETHODIMP get_UniqueId(BSTR PrimaryKey, long* value) noexcept override {
    return Get(value, [&] { return index_->UniqueId(com::Text(PrimaryKey)); });
  }
  STDMETHODIMP put_UniqueId(BSTR PrimaryKey, long value) noexcept override {
    return Do([&] { index_->SetUniqueId(com::Text(PrimaryKey), value); });
  }
  STDMETHODIMP Add(BSTR PrimaryKey, long UniqueId) noexcept override {
    return Do([&] { index_->Add(com::Text(PrimaryKey), UniqueId); });
  }
  STDMETHODIMP Remove(BSTR PrimaryKey) noexcept override {
    return Do([&] { index_->Remove(com::Text(PrimaryKey)); });
  }
  STDMETHODIMP Clear() noexcept override {
    return Do([&] { index_->Clear(); });
  }
  STDMETHODIMP CloseIndex() noexcept override {
    return Do([&] { index_->CloseIndex(); });
  }

 private:
  std::shared_ptr<pylon::CSyncIndex> index_;
};

}  // namespace pylon

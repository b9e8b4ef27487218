#pragma once

#include "base/Com.h"

namespace pylon::com {

// Owns a description that a type info handed out.
template <class T, void (STDMETHODCALLTYPE ITypeInfo::*Release)(T*)>
class Description {
 public:
  explicit Description(ITypeInfo* owner) noexcept : owner_(owner) {}
  ~Description() {
    if (value_) (owner_->*Release)(value_);
  }
  Description(const Description&) = delete;
  Description& operator=(const Description&) = delete;

  T** Receive() noexcept { return &value_; }
  const T* operator->() const noexcept { return value_; }
  const T& operator*() const noexcept { return *value_; }

 private:
  ITypeInfo* owner_;
  T* value_ = nullptr;
};

using TypeAttributes = Description<TYPEATTR, &ITypeInfo::ReleaseTypeAttr>;
using FunctionDescription = Description<FUNCDESC, &ITypeInfo::ReleaseFuncDesc>;
using VariableDescription = Description<VARDESC, &ITypeInfo::ReleaseVarDesc>;

}  // namespace pylon::com

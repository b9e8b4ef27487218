#pragma once

#include <atomic>
#include <type_traits>
#include <utility>

#include "base/Com.h"

namespace pylon::com {

// IUnknown for a class that implements `Interfaces`; IID_IUnknown and IID_IDispatch get the first
// that has it. For the automation classes, simulators and tests: this header needs no library of
// ours.
//
// An object is made with Make, holds one reference then and deletes itself with the last one. One
// that is not on the heap (a static of a DLL, a local of a test) never releases its first.
template <class First, class... Others>
class Implements : public First, public Others... {
 public:
  Implements(const Implements&) = delete;
  Implements& operator=(const Implements&) = delete;

  STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
    if (!object) return E_POINTER;
    *object = id == IID_IUnknown ? static_cast<First*>(this) : Find<First, Others...>(id);
    if (!*object) *object = FindPrivate(id);
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() noexcept override {
    const ULONG left = --references_;
    if (left == 0) {
      // A destructor may call out, and what it calls may take and drop a reference meanwhile.
      references_ = 1;
      delete this;
    }
    return left;
  }

 protected:
  Implements() noexcept = default;
  virtual ~Implements() = default;

  // An interface that is not in the list; null when there is none.
  virtual void* FindPrivate(REFIID) noexcept { return nullptr; }

 private:
  template <class Interface, class... Rest>
  void* Find(REFIID id) noexcept {
    if (id == __uuidof(Interface)) return static_cast<Interface*>(this);
    if constexpr (std::is_base_of_v<IDispatch, Interface>) {
      if (id == IID_IDispatch) return static_cast<Interface*>(this);
    }
    if constexpr (sizeof...(Rest) != 0) return Find<Rest...>(id);
    return nullptr;
  }

  std::atomic<ULONG> references_{1};
};

// The IDispatch members of a class that is called through its vtable only:
// `class Conduit : public WithoutDispatch<Implements<ISyncNotify>>`.
template <class Base>
class WithoutDispatch : public Base {
 public:
  STDMETHODIMP GetTypeInfoCount(UINT*) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override {
    return E_NOTIMPL;
  }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) noexcept override {
    return E_NOTIMPL;
  }
};

// A class object. `HRESULT create(REFIID id, void** object)` makes an instance, and `lock(bool)`
// counts the locks of clients; neither throws. See MakeClassFactory.
template <class Create, class Lock>
class ClassFactory final : public Implements<IClassFactory> {
 public:
  ClassFactory(Create create, Lock lock) : create_(std::move(create)), lock_(std::move(lock)) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) noexcept override {
    if (!object) return E_POINTER;
    *object = nullptr;
    return outer ? CLASS_E_NOAGGREGATION : create_(id, object);
  }
  STDMETHODIMP LockServer(BOOL lock) noexcept override {
    lock_(lock != FALSE);
    return S_OK;
  }

 private:
  Create create_;
  Lock lock_;
};

template <class Create, class Lock>
Ptr<IClassFactory> MakeClassFactory(Create create, Lock lock) {
  return Make<ClassFactory<Create, Lock>>(std::move(create), std::move(lock));
}
// For a class object whose locks nobody counts.
template <class Create>
Ptr<IClassFactory> MakeClassFactory(Create create) {
  return MakeClassFactory(std::move(create), [](bool) noexcept {});
}

}  // namespace pylon::com

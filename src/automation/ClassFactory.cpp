#include "automation/ClassFactory.h"

#include "automation/AppSettingsObject.h"
#include "automation/ByteStreamObject.h"
#include "automation/DatabaseObject.h"
#include "automation/DefinitionObject.h"
#include "automation/PalmSyncObject.h"
#include "automation/RecordObject.h"
#include "automation/SignatureObject.h"
#include "automation/UtilsObject.h"

namespace pylon {
namespace {

template <class T>
com::Ptr<IUnknown> Create(Server& server) {
  return com::Make<T>(server).template As<IUnknown>();
}

class ClassFactory final : public IClassFactory {
 public:
  ClassFactory(Server& server, const CreatableClass& creatable) noexcept
      : server_(server), creatable_(creatable) {}

  STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (id != IID_IUnknown && id != IID_IClassFactory) return E_NOINTERFACE;
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() noexcept override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) noexcept override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    HRESULT result = S_OK;
    const HRESULT guarded = Guard(
        creatable_.info, [&] { result = creatable_.create(server_)->QueryInterface(id, object); });
    return FAILED(guarded) ? guarded : result;
  }
  STDMETHODIMP LockServer(BOOL lock) noexcept override {
    lock ? server_.AddClient() : server_.RemoveClient();
    return S_OK;
  }

 private:
  Server& server_;
  const CreatableClass& creatable_;
  std::atomic<ULONG> references_{1};
};

}  // namespace

std::span<const CreatableClass> CreatableClasses() {
  static const CreatableClass kClasses[] = {
      {ByteStreamObject::kClass, Create<ByteStreamObject>},
      {UtilsObject::kClass, Create<UtilsObject>},
      {DatabaseObject::kClass, Create<DatabaseObject>},
      {DefinitionObject::kClass, Create<DefinitionObject>},
      {RecordObject::kClass, Create<RecordObject>},
      {SignatureObject::kClass, Create<SignatureObject>},
      {AppSettingsObject::kClass, Create<AppSettingsObject>},
      {PalmSyncObject::kClass, Create<PalmSyncObject>},
  };
  return kClasses;
}

ClassObjects::ClassObjects(Server& server, Reach reach) {
  const DWORD context = reach == Reach::kThisProcess ? CLSCTX_INPROC_SERVER : CLSCTX_LOCAL_SERVER;
  for (const CreatableClass& creatable : CreatableClasses()) {
    const auto factory = com::Make<ClassFactory>(server, creatable);
    DWORD registration = 0;
    const HRESULT result = ::CoRegisterClassObject(creatable.info.id, factory.get(), context,
                                                   REGCLS_MULTIPLEUSE, &registration);
    if (FAILED(result)) {
      Revoke();
      com::Check(result);
    }
    registrations_.push_back(registration);
    if (reach == Reach::kOtherProcesses && !factories_) {
      factories_.emplace(IID_IClassFactory, factory.get());
    }
  }
}

ClassObjects::~ClassObjects() { Revoke(); }

void ClassObjects::Revoke() noexcept {
  factories_.reset();
  for (const DWORD registration : registrations_) ::CoRevokeClassObject(registration);
  registrations_.clear();
}

}  // namespace pylon

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

com::Ptr<IClassFactory> MakeFactory(Server& server, const CreatableClass& creatable) {
  const auto create = [&server, &creatable](REFIID id, void** object) noexcept {
    HRESULT result = S_OK;
    const HRESULT guarded = Guard(
        creatable.info, [&] { result = creatable.create(server)->QueryInterface(id, object); });
    return FAILED(guarded) ? guarded : result;
  };
  return com::MakeClassFactory(
      create, [&server](bool lock) noexcept { lock ? server.AddClient() : server.RemoveClient(); });
}

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
    const auto factory = MakeFactory(server, creatable);
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

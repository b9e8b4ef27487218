#pragma once

#include <cstdint>
#include <string>

#include "Session.h"
#include "base/Com.h"

namespace pylon::palm {

// What the registered type library says of IPDClientNotify, the interface of a conduit's COM class:
// its id, and where its members stand. SuiteError when the library or a member is missing.
struct ClientNotifyLayout {
  static ClientNotifyLayout Read();

  IID id = {};
  ULONG_PTR begin_process = 0;  // offsets in the vtable, in bytes
  ULONG_PTR cfg_conduit = 0;
  ULONG_PTR configure_conduit = 0;
  ULONG_PTR get_conduit_info = 0;
};

// The modes by name; the assumed ones where the library does not have them or is not registered.
AccessModes RegisteredAccessModes();

// What GetConduitInfo may be asked, likewise.
struct ConduitInfoTypes {
  int32_t name = 0;
  int32_t mfc_version = 1;
  int32_t default_action = 2;
  int32_t version = 3;
};
ConduitInfoTypes RegisteredConduitInfoTypes();

// A conduit's object, called through the slots that the library tells. A failed call raises
// SuiteError with the conduit's own words when it left some.
class ClientNotify {
 public:
  // Makes the object, in another process or in this one.
  explicit ClientNotify(const std::u16string& prog_id);

  bool BeginProcess();  // whether it succeeded
  // The preferences that come back, for now and for good.
  struct SyncPreferences {
    int32_t temporary = 0;
    int32_t next = 0;
    int32_t preference = 0;
  };
  SyncPreferences CfgConduit(uint32_t creator, int32_t user, const std::u16string& user_name,
                             const std::u16string& path, int32_t permanent);
  int32_t ConfigureConduit(const std::u16string& path, const std::u16string& registry,
                           int32_t preference, int32_t sync_type);
  com::Variant GetConduitInfo(int32_t type, uint32_t creator, int32_t user,
                              const std::u16string& user_name);

 private:
  void Call(ULONG_PTR member, std::span<VARIANT> arguments);

  const ClientNotifyLayout layout_;
  com::Ptr<IUnknown> object_;
};

}  // namespace pylon::palm

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "automation/Library.h"
#include "automation/TypeLibrary.h"
#include "base/Com.h"

namespace pylon {

// HotSync's IPDClientNotify as its registered type library describes it: only there stand its id
// and the order of its slots. From the description comes a vtable of our own thunks.
//
// A member that we know is served when each of its parameters is of a kind that we can read, and it
// has as many as we expect: in 32-bit programs the one who is called takes the arguments off the
// stack, so a member with others would leave it corrupted. Members that we don't know answer
// E_NOTIMPL and take off what their description says. Immutable.
class ClientNotifyLayout {
 public:
  static constexpr char16_t kName[] = u"IPDClientNotify";

  using Slot = void (*)();  // cast to its real type by the caller
  enum Member { kBeginProcess, kCfgConduit, kConfigureConduit, kGetConduitInfo, kMemberCount };
  struct Argument {
    VARTYPE type;  // VT_BSTR, VT_VARIANT or an integer of up to 32 bits
    bool by_reference;
  };

  // `type_info` describes the interface. Raises error 51 that says what can't be served.
  explicit ClientNotifyLayout(com::Ptr<ITypeInfo> type_info);

  // The interface's id in a library; nothing when the library has no interface of that name.
  static std::optional<IID> IdIn(ITypeLib* library, com::Ptr<ITypeInfo>& type_info);

  const IID& id() const noexcept { return id_; }
  const Slot* vtable() const noexcept { return vtable_.data(); }
  const std::vector<Argument>& arguments(Member member) const noexcept {
    return arguments_[member];
  }
  // For calls by name; null when the interface has none.
  const DispatchTable* dispatch() const noexcept { return dispatch_.get(); }

 private:
  void ReadInterface(ITypeInfo* info, int depth);
  void Place(ITypeInfo* info, const FUNCDESC& function);
  void PlaceKnown(Member member, ITypeInfo* info, const FUNCDESC& function, size_t slot);

  IID id_ = IID_NULL;
  std::vector<Slot> vtable_;  // without gaps once it is read
  std::vector<Argument> arguments_[kMemberCount];
  std::unique_ptr<DispatchTable> dispatch_;
};

// The interface of one object: what callers hold a pointer to. Its members end in those of the
// object's dual interface; its identity and its count are the object's.
struct ClientNotifyFace {
  const ClientNotifyLayout::Slot* vtable;  // first, as COM has it
  ::_cPalmSync* object;                    // which this is a part of
  const ClientNotifyLayout* layout;
};

}  // namespace pylon

#include "ClientNotify.h"

#include <array>
#include <functional>
#include <initializer_list>
#include <utility>
#include <vector>

#include "../common/Retries.h"
#include "Registration.h"
#include "SuiteError.h"
#include "base/SystemMessage.h"
#include "base/Text.h"

namespace pylon::palm {
namespace {

[[noreturn]] void Fail(HRESULT result, const std::u16string& what) {
  std::u16string words = SystemMessage(result);
  if (words.empty()) words = u"error " + Hex(static_cast<uint32_t>(result));
  throw SuiteError{static_cast<uint32_t>(result), what + u": " + words};
}

void Check(HRESULT result, const std::u16string& what) {
  if (FAILED(result)) Fail(result, what);
}

com::Ptr<ITypeLib> LoadLibrary() {
  com::Ptr<ITypeLib> library;
  Check(::LoadRegTypeLib(kLibraryId, kLibraryMajor, kLibraryMinor, 0, library.Receive()),
        u"The suite's type library is not registered (PalmSimulator /regserver)");
  return library;
}

// The description of a type as long as this lives.
class TypeAttributes {
 public:
  explicit TypeAttributes(ITypeInfo* info) : info_(info) {
    Check(info->GetTypeAttr(&attributes_), u"The type library");
  }
  ~TypeAttributes() { info_->ReleaseTypeAttr(attributes_); }
  TypeAttributes(const TypeAttributes&) = delete;
  TypeAttributes& operator=(const TypeAttributes&) = delete;
  const TYPEATTR* operator->() const { return attributes_; }

 private:
  ITypeInfo* info_;
  TYPEATTR* attributes_ = nullptr;
};

com::Ptr<ITypeInfo> FindType(ITypeLib* library, std::u16string_view name) {
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    com::Bstr found;
    if (FAILED(library->GetDocumentation(static_cast<INT>(i), found.Receive(), nullptr, nullptr,
                                         nullptr)) ||
        com::Text(found.get()) != name) {
      continue;
    }
    com::Ptr<ITypeInfo> info;
    Check(library->GetTypeInfo(i, info.Receive()), u"The type library");
    return info;
  }
  return nullptr;
}

std::u16string NameOf(ITypeInfo* info, MEMBERID id) {
  com::Bstr name;
  UINT count = 0;
  return SUCCEEDED(info->GetNames(id, name.Receive(), 1, &count)) ? com::Text(name.get())
                                                                  : std::u16string();
}

// Takes the numbers of an enum's members from the registered library; where it does not have them
// they stay.
void ReadEnum(std::u16string_view name,
              std::initializer_list<std::pair<std::u16string_view, int32_t*>> members) try {
  const auto library = LoadLibrary();
  const com::Ptr<ITypeInfo> info = FindType(library.get(), name);
  if (!info) return;
  const TypeAttributes attributes(info.get());
  for (UINT i = 0; i < attributes->cVars; ++i) {
    VARDESC* variable = nullptr;
    Check(info->GetVarDesc(i, &variable), std::u16string(name));
    const std::u16string member = NameOf(info.get(), variable->memid);
    for (const auto& [known, value] : members) {
      if (known == member && variable->varkind == VAR_CONST) *value = V_I4(variable->lpvarValue);
    }
    info->ReleaseVarDesc(variable);
  }
} catch (const SuiteError&) {
  // The library is not registered.
}

VARIANT Long(int32_t value) {
  VARIANT variant = {};
  V_VT(&variant) = VT_I4;
  V_I4(&variant) = value;
  return variant;
}

VARIANT Reference(LONG& value) {
  VARIANT variant = {};
  V_VT(&variant) = VT_BYREF | VT_I4;
  V_I4REF(&variant) = &value;
  return variant;
}

VARIANT Borrow(const com::Bstr& text) {
  VARIANT variant = {};
  V_VT(&variant) = VT_BSTR;
  V_BSTR(&variant) = text.get();
  return variant;
}

}  // namespace

ClientNotifyLayout ClientNotifyLayout::Read() {
  const auto library = LoadLibrary();
  com::Ptr<ITypeInfo> info = FindType(library.get(), u"IPDClientNotify");
  if (!info) throw SuiteError{kFailed, u"The suite's type library has no IPDClientNotify"};
  if (TypeAttributes(info.get())->typekind == TKIND_DISPATCH) {
    // A dual interface: its vtable is that of its other half.
    HREFTYPE reference = 0;
    Check(info->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference),
          u"IPDClientNotify has no vtable");
    com::Ptr<ITypeInfo> other;
    Check(info->GetRefTypeInfo(reference, other.Receive()), u"IPDClientNotify");
    info = other;
  }
  const TypeAttributes attributes(info.get());
  ClientNotifyLayout layout;
  layout.id = attributes->guid;
  const std::pair<std::u16string_view, ULONG_PTR*> members[] = {
      {u"BeginProcess", &layout.begin_process},
      {u"CfgConduit", &layout.cfg_conduit},
      {u"ConfigureConduit", &layout.configure_conduit},
      {u"GetConduitInfo", &layout.get_conduit_info},
  };
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    FUNCDESC* function = nullptr;
    Check(info->GetFuncDesc(i, &function), u"IPDClientNotify");
    const std::u16string name = NameOf(info.get(), function->memid);
    for (const auto& [known, offset] : members) {
      if (known == name) *offset = static_cast<ULONG_PTR>(function->oVft);
    }
    info->ReleaseFuncDesc(function);
  }
  for (const auto& [known, offset] : members) {
    if (*offset == 0) {
      throw SuiteError{kFailed, u"The library's IPDClientNotify has no " + std::u16string(known)};
    }
  }
  return layout;
}

AccessModes RegisteredAccessModes() {
  AccessModes modes;
  ReadEnum(
      u"EAccessModes",
      {{u"eRead", &modes.read}, {u"eWrite", &modes.write}, {u"eShowSecret", &modes.show_secret}});
  return modes;
}

ConduitInfoTypes RegisteredConduitInfoTypes() {
  ConduitInfoTypes types;
  ReadEnum(u"EConduitInfo", {{u"eConduitName", &types.name},
                             {u"eMfcVersion", &types.mfc_version},
                             {u"eDefaultAction", &types.default_action},
                             {u"eConduitVersion", &types.version}});
  return types;
}

ClientNotify::ClientNotify(const std::u16string& prog_id) : layout_(ClientNotifyLayout::Read()) {
  CLSID id = {};
  Check(::CLSIDFromProgID(Wide(prog_id), &id), prog_id + u" is not registered");
  com::Ptr<IUnknown> object;
  HRESULT result = E_FAIL;
  // A server of the last session that ends at this moment takes the call with it; COM starts
  // another one the next time.
  for (int tries = 3; FAILED(result) && result != REGDB_E_CLASSNOTREG && tries > 0; --tries) {
    if (tries < 3) {
      RecordRetry("PalmSimulator: creating the conduit's object");
      ::Sleep(300);
    }
    result = ::CoCreateInstance(id, nullptr, CLSCTX_LOCAL_SERVER | CLSCTX_INPROC_SERVER,
                                IID_IUnknown, reinterpret_cast<void**>(object.Receive()));
  }
  Check(result, prog_id + u" can't be created");
  Check(object->QueryInterface(layout_.id, reinterpret_cast<void**>(object_.Receive())),
        prog_id + u" has no IPDClientNotify");
}

void ClientNotify::Call(ULONG_PTR member, std::span<VARIANT> arguments) {
  std::vector<VARTYPE> types;
  std::vector<VARIANT*> pointers;
  for (VARIANT& argument : arguments) {
    types.push_back(V_VT(&argument));
    pointers.push_back(&argument);
  }
  ::SetErrorInfo(0, nullptr);
  com::Variant result;
  Check(::DispCallFunc(object_.get(), member, CC_STDCALL, VT_ERROR, static_cast<UINT>(types.size()),
                       types.data(), pointers.data(), result.get()),
        u"The conduit can't be called");
  const HRESULT answer = V_ERROR(result.get());
  if (SUCCEEDED(answer)) return;
  com::Ptr<IErrorInfo> info;
  com::Bstr description;
  if (::GetErrorInfo(0, info.Receive()) == S_OK &&
      SUCCEEDED(info->GetDescription(description.Receive())) &&
      ::SysStringLen(description.get()) > 0) {
    throw SuiteError{static_cast<uint32_t>(answer), com::Text(description.get())};
  }
  Fail(answer, u"The conduit failed");
}

bool ClientNotify::BeginProcess() {
  VARIANT_BOOL failed = VARIANT_TRUE;
  VARIANT argument = {};
  V_VT(&argument) = VT_BYREF | VT_BOOL;
  V_BOOLREF(&argument) = &failed;
  Call(layout_.begin_process, {&argument, 1});
  return failed == VARIANT_FALSE;
}

ClientNotify::SyncPreferences ClientNotify::CfgConduit(uint32_t creator, int32_t user,
                                                       const std::u16string& user_name,
                                                       const std::u16string& path,
                                                       int32_t permanent) {
  const com::Bstr name(user_name);
  const com::Bstr folder(path);
  LONG temporary = permanent;
  LONG next = permanent;
  LONG preference = permanent;
  std::array arguments = {Long(static_cast<int32_t>(creator)),
                          Long(user),
                          Borrow(name),
                          Borrow(folder),
                          Long(permanent),
                          Reference(temporary),
                          Reference(next),
                          Reference(preference)};
  Call(layout_.cfg_conduit, arguments);
  return {static_cast<int32_t>(temporary), static_cast<int32_t>(next),
          static_cast<int32_t>(preference)};
}

int32_t ClientNotify::ConfigureConduit(const std::u16string& path, const std::u16string& registry,
                                       int32_t preference, int32_t sync_type) {
  const com::Bstr folder(path);
  const com::Bstr key(registry);
  LONG chosen = preference;
  std::array arguments = {Borrow(folder), Borrow(key), Reference(chosen), Long(sync_type)};
  Call(layout_.configure_conduit, arguments);
  return static_cast<int32_t>(chosen);
}

com::Variant ClientNotify::GetConduitInfo(int32_t type, uint32_t creator, int32_t user,
                                          const std::u16string& user_name) {
  const com::Bstr name(user_name);
  com::Variant info;
  VARIANT result = {};
  V_VT(&result) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&result) = info.get();
  std::array arguments = {Long(type), Long(static_cast<int32_t>(creator)), Long(user), Borrow(name),
                          result};
  Call(layout_.get_conduit_info, arguments);
  return info;
}

}  // namespace pylon::palm

#include "automation/ClientNotify.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <span>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/TypeDescription.h"

namespace pylon {
namespace {

using Layout = ClientNotifyLayout;
using Slot = Layout::Slot;

constexpr size_t kUnknownSlots = 3;
constexpr size_t kDispatchSlots = 7;
constexpr size_t kMostSlots = 64;
constexpr size_t kMostWords = 32;

// One argument as it lies on the stack or in a register: every kind that we serve takes one.
using Word = uintptr_t;

// The arguments of a known member, in the order of its parameters.
enum class Kind { kNumber, kText, kBool, kValue };  // the last two are answers
constexpr Kind kBeginProcess[] = {Kind::kBool};
constexpr Kind kCfgConduit[] = {Kind::kNumber, Kind::kNumber, Kind::kText,   Kind::kText,
                                Kind::kNumber, Kind::kNumber, Kind::kNumber, Kind::kNumber};
constexpr Kind kConfigureConduit[] = {Kind::kText, Kind::kText, Kind::kNumber, Kind::kNumber};
constexpr Kind kGetConduitInfo[] = {Kind::kNumber, Kind::kNumber, Kind::kNumber, Kind::kText,
                                    Kind::kValue};

// The arguments of one call of a known member.
class Arguments {
 public:
  Arguments(const std::vector<Layout::Argument>& types, std::span<const Word> words) noexcept
      : types_(types), words_(words) {}

  // Without a pointer where one belongs nothing can be read.
  bool complete() const noexcept {
    for (size_t i = 0; i < types_.size(); ++i) {
      if (types_[i].by_reference && !words_[i]) return false;
    }
    return true;
  }
  long Number(size_t i) const noexcept {
    switch (types_[i].type) {
      case VT_I1:
        return Read<int8_t>(i);
      case VT_UI1:
        return Read<uint8_t>(i);
      case VT_I2:
      case VT_BOOL:
        return Read<int16_t>(i);
      case VT_UI2:
        return Read<uint16_t>(i);
      default:
        return Read<long>(i);
    }
  }
  BSTR Text(size_t i) const noexcept { return Read<BSTR>(i); }
  VARIANT* Value(size_t i) const noexcept { return reinterpret_cast<VARIANT*>(words_[i]); }
  // Gives a number back where it came by reference.
  void SetNumber(size_t i, long value) const noexcept {
    if (!types_[i].by_reference) return;
    switch (types_[i].type) {
      case VT_I1:
      case VT_UI1:
        Write(i, static_cast<int8_t>(value));
        break;
      case VT_I2:
      case VT_UI2:
      case VT_BOOL:
        Write(i, static_cast<int16_t>(value));
        break;
      default:
        Write(i, value);
    }
  }

 private:
  template <class T>
  T Read(size_t i) const noexcept {
    T value;
    // A value is in the low end of its word; the bits above it are undefined.
    std::memcpy(&value,
                types_[i].by_reference ? reinterpret_cast<const void*>(words_[i]) : &words_[i],
                sizeof(value));
    return value;
  }
  template <class T>
  void Write(size_t i, T value) const noexcept {
    std::memcpy(reinterpret_cast<void*>(words_[i]), &value, sizeof(value));
  }

  const std::vector<Layout::Argument>& types_;
  std::span<const Word> words_;
};

HRESULT Deliver(ClientNotifyFace* face, Layout::Member member,
                std::span<const Word> words) noexcept {
  ::_cPalmSync* const object = face->object;
  // The call may drop the last reference; the layout goes with the object.
  const auto held = com::Ptr<::_cPalmSync>::Share(object);
  const Arguments given(face->layout->arguments(member), words);
  if (!given.complete()) return E_POINTER;
  switch (member) {
    case Layout::kBeginProcess: {
      VARIANT_BOOL failed = VARIANT_TRUE;
      const HRESULT result = object->BeginProcess(&failed);
      // A failed call clears its answer, and False would be success.
      given.SetNumber(0, FAILED(result) ? VARIANT_TRUE : failed);
      return result;
    }
    case Layout::kCfgConduit: {
      std::array<long, 3> sync = {given.Number(5), given.Number(6), given.Number(7)};
      const HRESULT result =
          object->CfgConduit(given.Number(0), given.Number(1), given.Text(2), given.Text(3),
                             given.Number(4), &sync[0], &sync[1], &sync[2]);
      for (size_t i = 0; i < sync.size(); ++i) given.SetNumber(5 + i, sync[i]);
      return result;
    }
    case Layout::kConfigureConduit: {
      long preference = given.Number(2);
      const HRESULT result =
          object->ConfigureConduit(given.Text(0), given.Text(1), &preference, given.Number(3));
      given.SetNumber(2, preference);
      return result;
    }
    case Layout::kGetConduitInfo:
      return object->GetConduitInfo(given.Number(0), given.Number(1), given.Number(2),
                                    given.Text(3), given.Value(4));
    case Layout::kMemberCount:
      break;
  }
  return E_NOTIMPL;
}

// The thunks. Each known member's takes as many words as it has parameters.
template <Layout::Member member, class... Words>
HRESULT STDMETHODCALLTYPE Known(ClientNotifyFace* face, Words... words) noexcept {
  const std::array<Word, sizeof...(words)> list = {words...};
  return Deliver(face, member, list);
}
template <size_t>
using WordAt = Word;
template <Layout::Member member, size_t... places>
Slot KnownThunk(std::index_sequence<places...>) noexcept {
  return reinterpret_cast<Slot>(&Known<member, WordAt<places>...>);
}

struct KnownMember {
  const char16_t* name;
  std::span<const Kind> kinds;
  Slot thunk;
};
template <Layout::Member member, size_t count>
KnownMember Describe(const char16_t* name, const Kind (&kinds)[count]) noexcept {
  return {name, kinds, KnownThunk<member>(std::make_index_sequence<count>())};
}
// In the order of Member.
const std::array<KnownMember, Layout::kMemberCount> kMembers = {
    Describe<Layout::kBeginProcess>(u"BeginProcess", kBeginProcess),
    Describe<Layout::kCfgConduit>(u"CfgConduit", kCfgConduit),
    Describe<Layout::kConfigureConduit>(u"ConfigureConduit", kConfigureConduit),
    Describe<Layout::kGetConduitInfo>(u"GetConduitInfo", kGetConduitInfo),
};

template <class... Words>
HRESULT STDMETHODCALLTYPE NotImplemented(ClientNotifyFace*, Words...) noexcept {
  return E_NOTIMPL;
}
template <size_t... places>
Slot UnknownThunk(std::index_sequence<places...>) noexcept {
  return reinterpret_cast<Slot>(&NotImplemented<WordAt<places>...>);
}
template <size_t... counts>
std::array<Slot, sizeof...(counts)> UnknownThunks(std::index_sequence<counts...>) noexcept {
  return {UnknownThunk(std::make_index_sequence<counts>())...};
}
// By the number of words to take off the stack, without the object's own.
const std::array<Slot, kMostWords + 1> kUnknownMembers =
    UnknownThunks(std::make_index_sequence<kMostWords + 1>());

HRESULT STDMETHODCALLTYPE QueryInterface(ClientNotifyFace* face, REFIID id,
                                         void** object) noexcept {
  return face->object->QueryInterface(id, object);
}
ULONG STDMETHODCALLTYPE AddRef(ClientNotifyFace* face) noexcept { return face->object->AddRef(); }
ULONG STDMETHODCALLTYPE Release(ClientNotifyFace* face) noexcept { return face->object->Release(); }
// The library's dispatch ids are not those of the object's dual interface.
HRESULT STDMETHODCALLTYPE GetTypeInfoCount(ClientNotifyFace*, UINT* count) noexcept {
  if (!count) return E_POINTER;
  *count = 1;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE GetTypeInfo(ClientNotifyFace* face, UINT index, LCID,
                                      ITypeInfo** type_info) noexcept {
  if (!type_info) return E_POINTER;
  *type_info = nullptr;
  if (index != 0) return DISP_E_BADINDEX;
  *type_info = com::Ptr<ITypeInfo>::Share(face->layout->dispatch()->type_info()).Detach();
  return S_OK;
}
HRESULT STDMETHODCALLTYPE GetIDsOfNames(ClientNotifyFace* face, REFIID id, LPOLESTR* names,
                                        UINT count, LCID, DISPID* members) noexcept {
  if (id != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  return face->layout->dispatch()->type_info()->GetIDsOfNames(names, count, members);
}
HRESULT STDMETHODCALLTYPE Invoke(ClientNotifyFace* face, DISPID member, REFIID id, LCID locale,
                                 WORD flags, DISPPARAMS* arguments, VARIANT* result,
                                 EXCEPINFO* exception, UINT* bad_argument) noexcept {
  const auto held = com::Ptr<::_cPalmSync>::Share(face->object);
  return face->layout->dispatch()->Invoke(face, id, member, locale, flags, arguments, result,
                                          exception, bad_argument);
}

[[noreturn]] void ThrowUnusable(std::u16string_view member, std::u16string_view why) {
  throw AutomationError(ErrorNumber::kInternal,
                        u"Pylon can't serve HotSync's " + std::u16string(Layout::kName) + u"." +
                            std::u16string(member) + u": " + std::u16string(why));
}

std::u16string NameOf(ITypeInfo* info, MEMBERID member) {
  com::Bstr name;
  com::Check(info->GetDocumentation(member, name.Receive(), nullptr, nullptr, nullptr));
  return com::Text(name.get());
}

// A type without names for others: an enum is a long, an alias what it stands for. VT_USERDEFINED
// stays for structures, whose size `size` then is, and for interfaces, which have none.
struct PlainType {
  VARTYPE type = VT_EMPTY;
  size_t size = 0;  // in bytes, of a VT_USERDEFINED
};
PlainType Resolve(ITypeInfo* info, const TYPEDESC& type, int depth = 0) {
  constexpr int kMostAliases = 8;
  if (type.vt != VT_USERDEFINED || depth > kMostAliases) return {type.vt, 0};
  com::Ptr<ITypeInfo> named;
  com::Check(info->GetRefTypeInfo(type.hreftype, named.Receive()));
  com::TypeAttributes attributes(named.get());
  com::Check(named->GetTypeAttr(attributes.Receive()));
  switch (attributes->typekind) {
    case TKIND_ENUM:
      return {VT_I4, 0};
    case TKIND_ALIAS:
      return Resolve(named.get(), attributes->tdescAlias, depth + 1);
    case TKIND_RECORD:
    case TKIND_UNION:
      return {VT_USERDEFINED, attributes->cbSizeInstance};
    default:
      return {VT_USERDEFINED, 0};
  }
}

bool IsNumber(VARTYPE type) noexcept {
  switch (type) {
    case VT_I1:
    case VT_UI1:
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_ERROR:
      return true;
    default:
      return false;
  }
}

// Stack words of a parameter in a 32-bit program; nothing for a type that no member passes.
std::optional<size_t> WordsOf(ITypeInfo* info, const TYPEDESC& type) {
  constexpr size_t kWord = 4;
  const PlainType plain = Resolve(info, type);
  switch (plain.type) {
    case VT_R4:
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
    case VT_PTR:
    case VT_SAFEARRAY:
    case VT_LPSTR:
    case VT_LPWSTR:
      return 1;
    case VT_R8:
    case VT_CY:
    case VT_DATE:
    case VT_I8:
    case VT_UI8:
      return 2;
    case VT_VARIANT:
    case VT_DECIMAL:
      return 4;
    case VT_USERDEFINED:
      if (plain.size != 0) return (plain.size + kWord - 1) / kWord;
      return std::nullopt;
    default:
      if (IsNumber(plain.type)) return 1;
      return std::nullopt;
  }
}

}  // namespace

static_assert(offsetof(ClientNotifyFace, vtable) == 0);

std::optional<IID> ClientNotifyLayout::IdIn(ITypeLib* library, com::Ptr<ITypeInfo>& type_info) {
  const UINT count = library->GetTypeInfoCount();
  for (UINT i = 0; i < count; ++i) {
    com::Ptr<ITypeInfo> info;
    com::Check(library->GetTypeInfo(i, info.Receive()));
    com::TypeAttributes attributes(info.get());
    com::Check(info->GetTypeAttr(attributes.Receive()));
    const TYPEKIND kind = attributes->typekind;
    if (kind != TKIND_INTERFACE && kind != TKIND_DISPATCH) continue;
    if (NameOf(info.get(), MEMBERID_NIL) != kName) continue;
    type_info = info;
    return attributes->guid;
  }
  return std::nullopt;
}

ClientNotifyLayout::ClientNotifyLayout(com::Ptr<ITypeInfo> type_info) {
  com::TypeAttributes attributes(type_info.get());
  com::Check(type_info->GetTypeAttr(attributes.Receive()));
  id_ = attributes->guid;
  com::Ptr<ITypeInfo> members = type_info;
  if (attributes->typekind == TKIND_DISPATCH) {
    // The library lists a dual interface by its dispatch side; the slots are those of the other.
    HREFTYPE reference = 0;
    if (FAILED(type_info->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference))) {
      ThrowUnusable(u"*", u"it has no slots.");
    }
    com::Check(type_info->GetRefTypeInfo(reference, members.Receive()));
  }
  ReadInterface(members.get(), 0);
  for (size_t i = 0; i < vtable_.size(); ++i) {
    if (!vtable_[i])
      ThrowUnusable(u"*", u"its slot " + ToText(static_cast<int64_t>(i)) + u" is missing.");
  }
  if (arguments_[kBeginProcess].empty())
    ThrowUnusable(kMembers[kBeginProcess].name, u"it is missing.");
  if (vtable_[kUnknownSlots] == reinterpret_cast<Slot>(&GetTypeInfoCount)) {
    dispatch_ = std::make_unique<DispatchTable>(std::move(type_info));
  }
}

void ClientNotifyLayout::ReadInterface(ITypeInfo* info, int depth) {
  com::TypeAttributes attributes(info);
  com::Check(info->GetTypeAttr(attributes.Receive()));
  if (attributes->guid == IID_IUnknown || attributes->guid == IID_IDispatch) {
    const Slot slots[kDispatchSlots] = {
        reinterpret_cast<Slot>(&QueryInterface), reinterpret_cast<Slot>(&AddRef),
        reinterpret_cast<Slot>(&Release),        reinterpret_cast<Slot>(&GetTypeInfoCount),
        reinterpret_cast<Slot>(&GetTypeInfo),    reinterpret_cast<Slot>(&GetIDsOfNames),
        reinterpret_cast<Slot>(&Invoke),
    };
    vtable_.assign(slots,
                   slots + (attributes->guid == IID_IUnknown ? kUnknownSlots : kDispatchSlots));
    return;
  }
  constexpr int kMostBases = 8;
  HREFTYPE reference = 0;
  com::Ptr<ITypeInfo> base;
  if (depth > kMostBases || FAILED(info->GetRefTypeOfImplType(0, &reference)) ||
      FAILED(info->GetRefTypeInfo(reference, base.Receive()))) {
    ThrowUnusable(u"*", u"it does not lead to IUnknown.");
  }
  ReadInterface(base.get(), depth + 1);
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    com::FunctionDescription function(info);
    com::Check(info->GetFuncDesc(i, function.Receive()));
    Place(info, *function);
  }
}

void ClientNotifyLayout::Place(ITypeInfo* info, const FUNCDESC& function) {
  const std::u16string name = NameOf(info, function.memid);
  const auto offset = static_cast<size_t>(static_cast<uint16_t>(function.oVft));
  const size_t slot = offset / sizeof(Slot);
  if (offset % sizeof(Slot) != 0 || slot >= kMostSlots) ThrowUnusable(name, u"its slot is none.");
  if (slot >= vtable_.size()) vtable_.resize(slot + 1);
  if (vtable_[slot]) ThrowUnusable(name, u"its slot is taken.");
  const VARTYPE returned = function.elemdescFunc.tdesc.vt;
  if (function.callconv != CC_STDCALL || (returned != VT_HRESULT && returned != VT_VOID)) {
    ThrowUnusable(name, u"it is called in another way.");
  }
  for (size_t i = 0; i < kMembers.size(); ++i) {
    if (EqualsIgnoringCase(name, kMembers[i].name)) {
      PlaceKnown(static_cast<Member>(i), info, function, slot);
      return;
    }
  }
  size_t words = 0;
  for (SHORT i = 0; i < function.cParams; ++i) {
    const std::optional<size_t> size = WordsOf(info, function.lprgelemdescParam[i].tdesc);
    if (!size) ThrowUnusable(name, u"parameter " + ToText(i + 1) + u" is of an unknown type.");
    words += *size;
  }
  if (words > kMostWords) ThrowUnusable(name, u"it has too many parameters.");
  vtable_[slot] = kUnknownMembers[words];
}

void ClientNotifyLayout::PlaceKnown(Member member, ITypeInfo* info, const FUNCDESC& function,
                                    size_t slot) {
  const KnownMember& known = kMembers[member];
  const auto count = static_cast<size_t>(function.cParams);
  if (count != known.kinds.size()) {
    ThrowUnusable(known.name, u"it has " + ToText(function.cParams) +
                                  u" parameters where Pylon knows " +
                                  ToText(static_cast<int64_t>(known.kinds.size())) + u".");
  }
  std::vector<Argument> arguments;
  for (size_t i = 0; i < count; ++i) {
    const TYPEDESC& type = function.lprgelemdescParam[i].tdesc;
    Argument argument = {Resolve(info, type).type, false};
    if (argument.type == VT_PTR) argument = {Resolve(info, *type.lptdesc).type, true};
    bool fits = false;
    switch (known.kinds[i]) {
      case Kind::kNumber:
        fits = IsNumber(argument.type);
        break;
      case Kind::kText:
        fits = argument.type == VT_BSTR;
        break;
      case Kind::kBool:
        fits = argument.by_reference && IsNumber(argument.type);
        break;
      case Kind::kValue:
        fits = argument.by_reference && argument.type == VT_VARIANT;
        break;
    }
    if (!fits) {
      ThrowUnusable(known.name, u"parameter " + ToText(static_cast<int64_t>(i) + 1) +
                                    u" is of another type than Pylon knows.");
    }
    arguments.push_back(argument);
  }
  if (!arguments_[member].empty()) ThrowUnusable(known.name, u"it is there twice.");
  arguments_[member] = std::move(arguments);
  vtable_[slot] = known.thunk;
}

}  // namespace pylon

#include "automation/TypeLibrary.h"

#include <cstring>
#include <new>

#include "base/TypeDescription.h"

namespace pylon {
namespace {

using com::FunctionDescription;
using com::TypeAttributes;

// Follows references by variant to the value that the caller holds.
VARIANT* Dereference(VARIANT* value) noexcept {
  while (V_VT(value) == (VT_BYREF | VT_VARIANT)) value = V_VARIANTREF(value);
  return value;
}

bool IsMissing(const VARIANT& value) noexcept {
  return V_VT(&value) == VT_ERROR && V_ERROR(&value) == DISP_E_PARAMNOTFOUND;
}

}  // namespace

// One late-bound call: the arguments in the order of the parameters, in the parameters' types.
class DispatchTable::Call {
 public:
  Call(const Function& function, LCID locale) noexcept : function_(function), locale_(locale) {}

  HRESULT Convert(const DISPPARAMS& given, UINT* bad_argument) {
    const size_t count = function_.parameters.size();
    arguments_.resize(count);
    sources_.assign(count, nullptr);
    if (const HRESULT placed = Place(given, bad_argument); FAILED(placed)) return placed;
    for (size_t i = 0; i < count; ++i) {
      const VARIANT* const source = sources_[i];
      const HRESULT converted = ConvertOne(i);
      if (SUCCEEDED(converted)) continue;
      if (bad_argument && source) *bad_argument = static_cast<UINT>(source - given.rgvarg);
      return converted;
    }
    return S_OK;
  }

  HRESULT Run(void* object, VARIANT* result) {
    std::vector<VARTYPE> types;
    std::vector<VARIANT> values(arguments_.size() + 1);
    std::vector<VARIANTARG*> pointers;
    types.reserve(values.size());
    pointers.reserve(values.size());
    const auto pass = [&](VARTYPE type, VARIANT value) {
      values[types.size()] = value;
      pointers.push_back(&values[types.size()]);
      types.push_back(type);
    };
    const auto pass_pointer = [&](void* target) {
      VARIANT reference;
      V_VT(&reference) = VT_BYREF | VT_I4;
      V_BYREF(&reference) = target;
      pass(VT_BYREF | VT_I4, reference);
    };

    for (size_t i = 0; i < arguments_.size(); ++i) {
      const Parameter& parameter = function_.parameters[i];
      VARIANT* const value = arguments_[i].get();
      if (!parameter.by_reference) {
        pass(parameter.type, *value);
      } else {
        pass_pointer(parameter.type == VT_VARIANT ? static_cast<void*>(value) : &V_BYREF(value));
      }
    }
    com::Variant returned;
    if (function_.result) {
      const VARTYPE type = function_.result->type;
      pass_pointer(type == VT_VARIANT ? static_cast<void*>(returned.get())
                                      : &V_BYREF(returned.get()));
    }

    VARIANT outcome;
    ::VariantInit(&outcome);
    const HRESULT called =
        ::DispCallFunc(object, function_.slot, CC_STDCALL, VT_ERROR,
                       static_cast<UINT>(types.size()), types.data(), pointers.data(), &outcome);
    if (FAILED(called)) return called;
    if (FAILED(V_ERROR(&outcome))) {
      member_failed_ = true;
      return V_ERROR(&outcome);
    }
    if (function_.result && function_.result->type != VT_VARIANT) {
      V_VT(returned.get()) = function_.result->type;
    }
    const HRESULT written = WriteBack();
    if (SUCCEEDED(written) && result) *result = returned.Detach();
    return written;
  }

  bool member_failed() const noexcept { return member_failed_; }

 private:
  // Finds the caller's value for each parameter.
  HRESULT Place(const DISPPARAMS& given, UINT* bad_argument) {
    if (given.cArgs > arguments_.size() || given.cNamedArgs > given.cArgs) {
      return DISP_E_BADPARAMCOUNT;
    }
    const UINT positional = given.cArgs - given.cNamedArgs;
    for (UINT i = 0; i < positional; ++i) sources_[i] = &given.rgvarg[given.cArgs - 1 - i];
    for (UINT i = 0; i < given.cNamedArgs; ++i) {
      const DISPID name = given.rgdispidNamedArgs[i];
      const size_t place =
          name == DISPID_PROPERTYPUT ? arguments_.size() - 1 : static_cast<size_t>(name);
      if (place >= arguments_.size() || sources_[place]) {
        if (bad_argument) *bad_argument = i;
        return DISP_E_PARAMNOTFOUND;
      }
      sources_[place] = &given.rgvarg[i];
    }
    return S_OK;
  }

  HRESULT ConvertOne(size_t i) {
    const Parameter& parameter = function_.parameters[i];
    VARIANT* source = sources_[i] ? Dereference(sources_[i]) : nullptr;
    if (source && IsMissing(*source)) source = sources_[i] = nullptr;
    com::Variant missing;
    if (!source) {
      if (parameter.default_value) {
        source = const_cast<VARIANT*>(parameter.default_value->get());
      } else if (parameter.optional) {
        V_VT(missing.get()) = VT_ERROR;
        V_ERROR(missing.get()) = DISP_E_PARAMNOTFOUND;
        source = missing.get();
      } else {
        return DISP_E_PARAMNOTOPTIONAL;
      }
    }
    VARIANT* const target = arguments_[i].get();
    if (parameter.type == VT_VARIANT) {
      // By reference a typed variable, an array too, goes as it is: the member works on it itself.
      return parameter.by_reference ? ::VariantCopy(target, source)
                                    : ::VariantCopyInd(target, source);
    }
    if (parameter.type == VT_DISPATCH) return ConvertObject(*source, parameter, target);
    return ::VariantChangeTypeEx(target, source, locale_, 0, parameter.type);
  }

  static HRESULT ConvertObject(const VARIANT& source, const Parameter& parameter,
                               VARIANT* target) noexcept {
    IUnknown* object = nullptr;
    switch (V_VT(&source)) {
      case VT_EMPTY:
      case VT_NULL:
        break;
      case VT_DISPATCH:
      case VT_UNKNOWN:
        object = V_UNKNOWN(&source);
        break;
      case VT_BYREF | VT_DISPATCH:
      case VT_BYREF | VT_UNKNOWN:
        object = *V_UNKNOWNREF(&source);
        break;
      default:
        return DISP_E_TYPEMISMATCH;
    }
    IDispatch* converted = nullptr;
    if (object && FAILED(object->QueryInterface(parameter.interface_id,
                                                reinterpret_cast<void**>(&converted)))) {
      return DISP_E_TYPEMISMATCH;
    }
    V_VT(target) = VT_DISPATCH;
    V_DISPATCH(target) = converted;
    return S_OK;
  }

  HRESULT WriteBack() {
    for (size_t i = 0; i < arguments_.size(); ++i) {
      if (!function_.parameters[i].by_reference || !sources_[i]) continue;
      if (V_ISBYREF(arguments_[i].get())) continue;
      const bool is_reference = V_ISBYREF(sources_[i]);
      VARIANT* const target = Dereference(sources_[i]);
      HRESULT written = S_OK;
      if (V_ISBYREF(target)) {
        written = WriteTyped(arguments_[i].get(), target);
      } else if (is_reference) {
        written = ::VariantCopy(target, arguments_[i].get());
      }
      if (FAILED(written)) return written;
    }
    return S_OK;
  }

  // Stores a value into the typed variable that `target` refers to.
  HRESULT WriteTyped(VARIANT* value, VARIANT* target) {
    const VARTYPE type = V_VT(target) & ~VT_BYREF;
    com::Variant converted;
    const HRESULT result = ::VariantChangeTypeEx(converted.get(), value, locale_, 0, type);
    if (FAILED(result)) return result;
    VARIANT old;
    ::VariantInit(&old);
    switch (type) {
      case VT_I1:
      case VT_UI1:
        *V_UI1REF(target) = V_UI1(converted.get());
        break;
      case VT_I2:
      case VT_UI2:
      case VT_BOOL:
        *V_I2REF(target) = V_I2(converted.get());
        break;
      case VT_I4:
      case VT_UI4:
      case VT_INT:
      case VT_UINT:
      case VT_R4:
      case VT_ERROR:
        *V_I4REF(target) = V_I4(converted.get());
        break;
      case VT_R8:
      case VT_DATE:
      case VT_CY:
      case VT_I8:
      case VT_UI8:
        *V_CYREF(target) = V_CY(converted.get());
        break;
      case VT_DECIMAL:
        *V_DECIMALREF(target) = V_DECIMAL(converted.get());
        V_DECIMALREF(target)->wReserved = 0;  // where a VARIANT has its type
        break;
      case VT_BSTR:
        V_VT(&old) = VT_BSTR;
        V_BSTR(&old) = *V_BSTRREF(target);
        *V_BSTRREF(target) = V_BSTR(converted.get());
        converted.Detach();
        break;
      case VT_DISPATCH:
      case VT_UNKNOWN:
        V_VT(&old) = type;
        V_UNKNOWN(&old) = *V_UNKNOWNREF(target);
        *V_UNKNOWNREF(target) = V_UNKNOWN(converted.get());
        converted.Detach();
        break;
      default:
        return DISP_E_BADVARTYPE;
    }
    return ::VariantClear(&old);
  }

  const Function& function_;
  LCID locale_;
  std::vector<com::Variant> arguments_;
  std::vector<VARIANT*> sources_;  // the caller's; null where it gave none
  bool member_failed_ = false;
};

DispatchTable::DispatchTable(com::Ptr<ITypeInfo> type_info) : type_info_(std::move(type_info)) {
  TypeAttributes attributes(type_info_.get());
  com::Check(type_info_->GetTypeAttr(attributes.Receive()));
  com::Ptr<ITypeInfo> members = type_info_;
  if (attributes->typekind == TKIND_DISPATCH) {
    // The library lists a dual interface by its dispatch side; the slots are those of the other.
    HREFTYPE reference = 0;
    com::Check(type_info_->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference));
    com::Check(type_info_->GetRefTypeInfo(reference, members.Receive()));
  }
  TypeAttributes vtable(members.get());
  com::Check(members->GetTypeAttr(vtable.Receive()));
  for (UINT i = 0; i < vtable->cFuncs; ++i) {
    FunctionDescription description(members.get());
    com::Check(members->GetFuncDesc(i, description.Receive()));
    functions_.push_back(ReadFunction(members.get(), *description));
  }
}

DispatchTable::Parameter DispatchTable::ReadType(ITypeInfo* type_info, const TYPEDESC& type) {
  Parameter parameter;
  const TYPEDESC* inner = &type;
  while (inner->vt == VT_PTR) {
    inner = inner->lptdesc;
    if (inner->vt == VT_PTR || inner->vt != VT_USERDEFINED) parameter.by_reference = true;
  }
  parameter.type = inner->vt;
  if (inner->vt != VT_USERDEFINED) return parameter;

  com::Ptr<ITypeInfo> named;
  com::Check(type_info->GetRefTypeInfo(inner->hreftype, named.Receive()));
  TypeAttributes attributes(named.get());
  com::Check(named->GetTypeAttr(attributes.Receive()));
  if (attributes->typekind == TKIND_ENUM) {
    parameter.type = VT_I4;
    parameter.by_reference = type.vt == VT_PTR;
  } else {
    // One pointer is the object itself; a second one makes it an in/out parameter.
    parameter.type = VT_DISPATCH;
    parameter.interface_id = attributes->guid;
  }
  return parameter;
}

DispatchTable::Function DispatchTable::ReadFunction(ITypeInfo* type_info,
                                                    const FUNCDESC& description) {
  Function function;
  function.member = description.memid;
  function.kind = static_cast<WORD>(description.invkind);
  function.slot = static_cast<ULONG_PTR>(description.oVft);
  for (SHORT i = 0; i < description.cParams; ++i) {
    const ELEMDESC& element = description.lprgelemdescParam[i];
    Parameter parameter = ReadType(type_info, element.tdesc);
    const USHORT flags = element.paramdesc.wParamFlags;
    parameter.optional = (flags & (PARAMFLAG_FOPT | PARAMFLAG_FHASDEFAULT)) != 0;
    if (flags & PARAMFLAG_FHASDEFAULT) {
      parameter.default_value.emplace();
      com::Check(::VariantCopy(parameter.default_value->get(),
                               &element.paramdesc.pparamdescex->varDefaultValue));
    }
    if (flags & PARAMFLAG_FRETVAL) {
      function.result = std::move(parameter);
    } else {
      function.parameters.push_back(std::move(parameter));
    }
  }
  return function;
}

const DispatchTable::Function* DispatchTable::Find(DISPID member, WORD flags) const noexcept {
  // A language may not tell a method without arguments from a property that is read.
  constexpr WORD kReading = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
  if (flags & kReading) flags |= kReading;
  // And languages without a Set statement assign objects as they do values.
  constexpr WORD kAssigning = DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF;
  if (flags & kAssigning) flags |= kAssigning;
  for (const Function& function : functions_) {
    if (function.member == member && (function.kind & flags)) return &function;
  }
  return nullptr;
}

HRESULT DispatchTable::Invoke(void* object, REFIID interface_id, DISPID member, LCID locale,
                              WORD flags, DISPPARAMS* arguments, VARIANT* result,
                              EXCEPINFO* exception, UINT* bad_argument) const noexcept try {
  if (interface_id != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (!arguments) return E_INVALIDARG;
  const Function* const function = Find(member, flags);
  if (!function) return DISP_E_MEMBERNOTFOUND;

  Call call(*function, locale);
  const HRESULT converted = call.Convert(*arguments, bad_argument);
  if (result) ::VariantInit(result);  // not before: it may be the variable of an argument
  if (FAILED(converted)) return converted;
  ::SetErrorInfo(0, nullptr);
  const HRESULT outcome = call.Run(object, result);
  if (!call.member_failed()) return outcome;
  if (exception) {
    std::memset(exception, 0, sizeof(*exception));
    exception->scode = outcome;
    com::Ptr<IErrorInfo> info;
    if (::GetErrorInfo(0, info.Receive()) == S_OK) {
      (void)info->GetSource(&exception->bstrSource);
      (void)info->GetDescription(&exception->bstrDescription);
    }
  }
  return DISP_E_EXCEPTION;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
} catch (...) {
  return E_UNEXPECTED;
}

TypeLibrary::TypeLibrary(std::u16string path) : path_(std::move(path)) {
  com::Check(::LoadTypeLibEx(Wide(path_), REGKIND_NONE, library_.Receive()));
}

const DispatchTable& TypeLibrary::Table(REFIID interface_id) {
  std::unique_ptr<DispatchTable>& table = tables_[interface_id];
  if (!table) {
    com::Ptr<ITypeInfo> type_info;
    com::Check(library_->GetTypeInfoOfGuid(interface_id, type_info.Receive()));
    table = std::make_unique<DispatchTable>(std::move(type_info));
  }
  return *table;
}

bool TypeLibrary::IidLess::operator()(const IID& a, const IID& b) const noexcept {
  return std::memcmp(&a, &b, sizeof(IID)) < 0;
}

}  // namespace pylon

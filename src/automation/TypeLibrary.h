#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Com.h"

namespace pylon {

// The members of one dual interface, read once from the type library, and late-bound calls to them.
//
// The stock ITypeInfo::Invoke refuses what scripts pass for typed in/out parameters: VBScript gives
// VT_BYREF|VT_VARIANT, JScript plain values. Here every argument is converted to its parameter's
// type; what was passed by reference gets the result back in its own type.
class DispatchTable {
 public:
  DispatchTable(com::Ptr<ITypeInfo> type_info);

  ITypeInfo* type_info() const noexcept { return type_info_.get(); }

  // `object` is the dual interface that the table was made of, not another one of the object.
  // Never throws; a failed member fills `exception` from its IErrorInfo.
  HRESULT Invoke(void* object, REFIID interface_id, DISPID member, LCID locale, WORD flags,
                 DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* exception,
                 UINT* bad_argument) const noexcept;

 private:
  struct Parameter {
    VARTYPE type = VT_EMPTY;  // of the value, without VT_BYREF
    bool by_reference = false;
    bool optional = false;
    IID interface_id = IID_NULL;  // of VT_DISPATCH values
    std::optional<com::Variant> default_value;
  };
  struct Function {
    DISPID member = DISPID_UNKNOWN;
    WORD kind = 0;                      // one DISPATCH_ flag
    ULONG_PTR slot = 0;                 // byte offset in the vtable
    std::vector<Parameter> parameters;  // without the result
    std::optional<Parameter> result;
  };
  class Call;

  static Parameter ReadType(ITypeInfo* type_info, const TYPEDESC& type);
  static Function ReadFunction(ITypeInfo* type_info, const FUNCDESC& description);
  const Function* Find(DISPID member, WORD flags) const noexcept;

  com::Ptr<ITypeInfo> type_info_;
  std::vector<Function> functions_;
};

// The type library "Pylon" of a file: the program itself, or a .tlb in tests.
class TypeLibrary {
 public:
  explicit TypeLibrary(std::u16string path);  // raises the error of the system when it can't load

  ITypeLib* get() const noexcept { return library_.get(); }
  const std::u16string& path() const noexcept { return path_; }

  // The table of an interface of the library; made at first use, kept for the library's life.
  const DispatchTable& Table(REFIID interface_id);

 private:
  struct IidLess {
    bool operator()(const IID& a, const IID& b) const noexcept;
  };

  std::u16string path_;
  com::Ptr<ITypeLib> library_;
  std::map<IID, std::unique_ptr<DispatchTable>, IidLess> tables_;
};

}  // namespace pylon

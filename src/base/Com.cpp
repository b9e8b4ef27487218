#include "base/Com.h"

#include <cstring>
#include <new>

#include "base/AutomationError.h"
#include "base/SystemMessage.h"

namespace pylon::com {
namespace {

struct KnownError {
  HRESULT result;
  ErrorNumber number;
};

constexpr KnownError kKnownErrors[] = {
    {E_INVALIDARG, ErrorNumber::kInvalidArgument},
    {DISP_E_OVERFLOW, ErrorNumber::kOverflow},
    {E_OUTOFMEMORY, ErrorNumber::kOutOfMemory},
    {DISP_E_BADINDEX, ErrorNumber::kSubscriptOutOfRange},
    {DISP_E_ARRAYISLOCKED, ErrorNumber::kArrayLocked},
    {DISP_E_DIVBYZERO, ErrorNumber::kDivisionByZero},
    {DISP_E_TYPEMISMATCH, ErrorNumber::kTypeMismatch},
    {STG_E_FILENOTFOUND, ErrorNumber::kFileNotFound},
    {E_ACCESSDENIED, ErrorNumber::kPermissionDenied},
    {STG_E_ACCESSDENIED, ErrorNumber::kPermissionDenied},
    {E_POINTER, ErrorNumber::kObjectNotSet},
    {E_NOINTERFACE, ErrorNumber::kInterfaceNotSupported},
    {DISP_E_UNKNOWNNAME, ErrorNumber::kNoSuchMember},
    {DISP_E_MEMBERNOTFOUND, ErrorNumber::kNoSuchMember},
    {DISP_E_UNKNOWNINTERFACE, ErrorNumber::kNoSuchMember},
    {E_NOTIMPL, ErrorNumber::kActionNotSupported},
    {DISP_E_NONAMEDARGS, ErrorNumber::kNoNamedArguments},
    {DISP_E_UNKNOWNLCID, ErrorNumber::kLocaleNotSupported},
    {DISP_E_PARAMNOTFOUND, ErrorNumber::kNoSuchNamedArgument},
    {DISP_E_PARAMNOTOPTIONAL, ErrorNumber::kArgumentNotOptional},
    {DISP_E_BADPARAMCOUNT, ErrorNumber::kWrongArgumentCount},
    {DISP_E_NOTACOLLECTION, ErrorNumber::kNotACollection},
    {DISP_E_BADVARTYPE, ErrorNumber::kVariableTypeNotSupported},
    {RPC_S_SERVER_UNAVAILABLE, ErrorNumber::kServerUnavailable},
    {HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE), ErrorNumber::kServerUnavailable},
    {RPC_E_SERVER_DIED, ErrorNumber::kServerUnavailable},
    {RPC_E_DISCONNECTED, ErrorNumber::kServerUnavailable},
};

// Locks an array's data for as long as it lives.
class ArrayData {
 public:
  explicit ArrayData(SAFEARRAY* array) : array_(array) {
    Check(::SafeArrayAccessData(array, &data_));
  }
  ~ArrayData() { ::SafeArrayUnaccessData(array_); }
  ArrayData(const ArrayData&) = delete;
  ArrayData& operator=(const ArrayData&) = delete;

  void* get() const noexcept { return data_; }

 private:
  SAFEARRAY* array_;
  void* data_ = nullptr;
};

std::byte ToByte(const VARIANT& value) {
  Variant converted;
  Check(::VariantChangeTypeEx(converted.get(), const_cast<VARIANT*>(&value), LOCALE_INVARIANT, 0,
                              VT_UI1));
  return std::byte{V_UI1(converted.get())};
}

}  // namespace

Bstr::Bstr(std::u16string_view text)
    : text_(::SysAllocStringLen(reinterpret_cast<const wchar_t*>(text.data()),
                                static_cast<UINT>(text.size()))) {
  if (!text_) throw std::bad_alloc();
}

std::u16string Text(BSTR text) {
  return {reinterpret_cast<const char16_t*>(text), text ? ::SysStringLen(text) : 0};
}

ReachableInterface::ReachableInterface(REFIID interface_id, IUnknown* object) {
  Check(::CreateStreamOnHGlobal(nullptr, TRUE, marshalled_.Receive()));
  Check(::CoMarshalInterface(marshalled_.get(), interface_id, object, MSHCTX_LOCAL, nullptr,
                             MSHLFLAGS_TABLESTRONG));
}

ReachableInterface::~ReachableInterface() {
  if (!marshalled_ || FAILED(marshalled_->Seek({}, STREAM_SEEK_SET, nullptr))) return;
  ::CoReleaseMarshalData(marshalled_.get());
}

Variant FromBytes(ByteSpan bytes, int32_t lower_bound) {
  SAFEARRAYBOUND bound = {static_cast<ULONG>(bytes.size()), lower_bound};
  Variant result;
  SAFEARRAY* array = ::SafeArrayCreate(VT_UI1, 1, &bound);
  if (!array) throw std::bad_alloc();
  V_VT(result.get()) = VT_ARRAY | VT_UI1;
  V_ARRAY(result.get()) = array;
  if (!bytes.empty()) std::memcpy(ArrayData(array).get(), bytes.data(), bytes.size());
  return result;
}

ByteArray ToBytes(const VARIANT& given) {
  const VARIANT* value = &given;
  while (V_VT(value) == (VT_BYREF | VT_VARIANT)) value = V_VARIANTREF(value);
  const VARTYPE type = V_VT(value) & ~VT_BYREF;
  if (type != (VT_ARRAY | VT_UI1) && type != (VT_ARRAY | VT_VARIANT)) throw TypeMismatch();
  SAFEARRAY* const array = V_ISBYREF(value) ? *V_ARRAYREF(value) : V_ARRAY(value);
  if (!array) return {};  // Basic's array that was never given a size
  if (::SafeArrayGetDim(array) != 1) throw SubscriptOutOfRange();

  ByteArray result;
  LONG lower = 0;
  Check(::SafeArrayGetLBound(array, 1, &lower));
  result.lower_bound = lower;
  const size_t count = array->rgsabound[0].cElements;
  result.bytes.resize(count);
  if (count == 0) return result;
  const ArrayData data(array);
  if (type == (VT_ARRAY | VT_UI1)) {
    std::memcpy(result.bytes.data(), data.get(), count);
  } else {
    const auto* values = static_cast<const VARIANT*>(data.get());
    for (size_t i = 0; i < count; ++i) result.bytes[i] = ToByte(values[i]);
  }
  return result;
}

VARIANT_BOOL ToVariantBool(bool value) noexcept { return value ? VARIANT_TRUE : VARIANT_FALSE; }

int32_t ErrorNumberOf(HRESULT result) noexcept {
  const auto code = static_cast<uint32_t>(result);
  if ((code & 0xFFFF0000U) == 0x800A0000U) return static_cast<int32_t>(code & 0xFFFFU);
  for (const KnownError& known : kKnownErrors) {
    if (known.result == result) return static_cast<int32_t>(known.number);
  }
  return result;
}

void Check(HRESULT result, IUnknown* object, REFIID interface_id) {
  if (SUCCEEDED(result)) return;
  std::u16string source;
  std::u16string description;
  if (object) {
    // Without its ISupportErrorInfo the pending error may be an older one of another object.
    const auto support = Ptr<IUnknown>::Share(object).As<ISupportErrorInfo>();
    Ptr<IErrorInfo> info;
    if (support && support->InterfaceSupportsErrorInfo(interface_id) == S_OK &&
        ::GetErrorInfo(0, info.Receive()) == S_OK) {
      Bstr text;
      if (SUCCEEDED(info->GetSource(text.Receive()))) source = Text(text.get());
      if (SUCCEEDED(info->GetDescription(text.Receive()))) description = Text(text.get());
    }
  }
  const int32_t number = ErrorNumberOf(result);
  if (description.empty() && number != result) description = DescribeError(number);
  if (description.empty()) description = SystemMessage(result);
  if (description.empty()) description = u"Automation error";
  throw AutomationError(number, std::move(source), std::move(description));
}

}  // namespace pylon::com

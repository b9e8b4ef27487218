#include "base/Com.h"

#include <cstring>
#include <new>

#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon::com {
namespace {

struct KnownError {
  HRESULT result;
  int32_t number;
};

constexpr KnownError kKnownErrors[] = {
    {E_INVALIDARG, 5},
    {DISP_E_OVERFLOW, 6},
    {E_OUTOFMEMORY, 7},
    {DISP_E_BADINDEX, 9},
    {DISP_E_ARRAYISLOCKED, 10},
    {DISP_E_DIVBYZERO, 11},
    {DISP_E_TYPEMISMATCH, 13},
    {STG_E_FILENOTFOUND, 53},
    {E_ACCESSDENIED, 70},
    {STG_E_ACCESSDENIED, 70},
    {E_POINTER, 91},
    {E_NOINTERFACE, 430},
    {DISP_E_UNKNOWNNAME, 438},
    {DISP_E_MEMBERNOTFOUND, 438},
    {DISP_E_UNKNOWNINTERFACE, 438},
    {E_NOTIMPL, 445},
    {DISP_E_NONAMEDARGS, 446},
    {DISP_E_UNKNOWNLCID, 447},
    {DISP_E_PARAMNOTFOUND, 448},
    {DISP_E_PARAMNOTOPTIONAL, 449},
    {DISP_E_BADPARAMCOUNT, 450},
    {DISP_E_NOTACOLLECTION, 451},
    {DISP_E_BADVARTYPE, 458},
    {RPC_S_SERVER_UNAVAILABLE, 462},
    {HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE), 462},
    {RPC_E_SERVER_DIED, 462},
    {RPC_E_DISCONNECTED, 462},
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
    if (known.result == result) return known.number;
  }
  return result;
}

std::u16string SystemMessage(HRESULT result) {
  wchar_t* buffer = nullptr;
  const DWORD length = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(result), 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  std::wstring_view text(buffer ? buffer : L"", length);
  while (!text.empty() && (text.back() == L'\r' || text.back() == L'\n' || text.back() == L' ')) {
    text.remove_suffix(1);
  }
  std::u16string message = FromWide(text);
  ::LocalFree(buffer);
  return message;
}

void Check(HRESULT result, IUnknown* object, REFIID interface_id) {
  if (SUCCEEDED(result)) return;
  std::u16string source;
  std::u16string description;
  if (object) {
    // Without its ISupportErrorInfo the pending error may be an older one of somebody else's.
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

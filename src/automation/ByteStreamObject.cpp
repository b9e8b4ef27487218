#include "automation/ByteStreamObject.h"

#include <algorithm>

namespace pylon {
namespace {

// In/out arguments of a member, as the core takes them: 32-bit long is int32_t under another name.
int32_t& Offset(long* offset) {
  if (!offset) throw AutomationError(ErrorNumber::kObjectNotSet);
  return reinterpret_cast<int32_t&>(*offset);
}

template <class T>
T& InOut(T* value) {
  if (!value) throw AutomationError(ErrorNumber::kObjectNotSet);
  return *value;
}

// Reads a text and puts it into the caller's BSTR.
template <class Read>
void ReadText(BSTR* text, Read&& read) {
  std::u16string value;
  BSTR& target = InOut(text);
  read(value);
  com::Bstr converted(value);
  ::SysFreeString(std::exchange(target, converted.Detach()));
}

}  // namespace

const ClassInfo ByteStreamObject::kClass = {CLSID_PDBByteStream, u"Pylon.PDBByteStream"};

STDMETHODIMP ByteStreamObject::get_GlobalByteSwap(VARIANT_BOOL* value) noexcept {
  return GetBool(value, [&] { return stream_.GlobalByteSwap(); });
}
STDMETHODIMP ByteStreamObject::put_GlobalByteSwap(VARIANT_BOOL value) noexcept {
  return Do([&] { stream_.SetGlobalByteSwap(value != VARIANT_FALSE); });
}
STDMETHODIMP ByteStreamObject::get_UTF8Strings(VARIANT_BOOL* value) noexcept {
  return GetBool(value, [&] { return stream_.UTF8Strings(); });
}
STDMETHODIMP ByteStreamObject::put_UTF8Strings(VARIANT_BOOL value) noexcept {
  return Do([&] { stream_.SetUTF8Strings(value != VARIANT_FALSE); });
}
STDMETHODIMP ByteStreamObject::get_DatabaseFor(::eDatabaseForType* value) noexcept {
  return Get(value, [&] { return static_cast<::eDatabaseForType>(stream_.DatabaseFor()); });
}
STDMETHODIMP ByteStreamObject::put_DatabaseFor(::eDatabaseForType value) noexcept {
  return Do([&] { stream_.SetDatabaseFor(static_cast<eDatabaseForType>(value)); });
}
STDMETHODIMP ByteStreamObject::get_ByteArray(VARIANT* value) noexcept {
  if (!value) return FailWith(E_POINTER);
  ::VariantInit(value);
  return Do([&] {
    const auto array = stream_.ByteArray();
    if (array) *value = com::FromBytes(array->bytes, array->lower_bound).Detach();
  });
}
STDMETHODIMP ByteStreamObject::put_ByteArray(VARIANT value) noexcept {
  return Do([&] {
    com::ByteArray array = com::ToBytes(value);
    stream_.SetByteArray({std::move(array.bytes), array.lower_bound});
  });
}
STDMETHODIMP ByteStreamObject::get_length(long* value) noexcept {
  return Get(value, [&] { return stream_.length(); });
}
STDMETHODIMP ByteStreamObject::Resize(long iLength) noexcept {
  return Do([&] { stream_.Resize(iLength); });
}
STDMETHODIMP ByteStreamObject::Clear() noexcept {
  return Do([&] { stream_.Clear(); });
}
STDMETHODIMP ByteStreamObject::ByteToString(BSTR* stString, long* iOffSet) noexcept {
  return Do([&] {
    ReadText(stString, [&](auto& text) { stream_.ByteToString(text, Offset(iOffSet)); });
  });
}
STDMETHODIMP ByteStreamObject::StringToByte(BSTR stString, long* iOffSet) noexcept {
  return Do([&] { stream_.StringToByte(com::Text(stString), Offset(iOffSet)); });
}
STDMETHODIMP ByteStreamObject::ByteToCString(BSTR* stString, long* iOffSet) noexcept {
  return Do([&] {
    ReadText(stString, [&](auto& text) { stream_.ByteToCString(text, Offset(iOffSet)); });
  });
}
STDMETHODIMP ByteStreamObject::CStringToByte(BSTR* stString, long* iOffSet) noexcept {
  return Do([&] { stream_.CStringToByte(com::Text(InOut(stString)), Offset(iOffSet)); });
}
STDMETHODIMP ByteStreamObject::ByteToFixString(BSTR* stString, long* iOffSet,
                                               long iLength) noexcept {
  return Do([&] {
    ReadText(stString,
             [&](auto& text) { stream_.ByteToFixString(text, Offset(iOffSet), iLength); });
  });
}
STDMETHODIMP ByteStreamObject::FixStringToByte(BSTR stString, long* iOffSet,
                                               long iLength) noexcept {
  return Do([&] { stream_.FixStringToByte(com::Text(stString), Offset(iOffSet), iLength); });
}
STDMETHODIMP ByteStreamObject::GetByte(unsigned char* stByte, long* iOffSet) noexcept {
  return Do([&] { stream_.GetByte(InOut(stByte), Offset(iOffSet)); });
}
STDMETHODIMP ByteStreamObject::SetByte(unsigned char stByte, long* iOffSet) noexcept {
  return Do([&] { stream_.SetByte(stByte, Offset(iOffSet)); });
}
STDMETHODIMP ByteStreamObject::ByteToInteger(short* value, long* iOffSet,
                                             VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.ByteToInteger(InOut(value), Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::IntegerToByte(short value, long* iOffSet,
                                             VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.IntegerToByte(value, Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::ByteToInt24(long* value, long* iOffSet,
                                           VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.ByteToInt24(Offset(value), Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::Int24ToByte(long value, long* iOffSet,
                                           VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.Int24ToByte(value, Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::ByteToLong(long* value, long* iOffSet,
                                          VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.ByteToLong(Offset(value), Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::LongToByte(long value, long* iOffSet,
                                          VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.LongToByte(value, Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::ByteToDouble(double* value, long* iOffSet,
                                            VARIANT_BOOL* SwapByte) noexcept {
  return Do([&] {
    bool swap = InOut(SwapByte) != VARIANT_FALSE;
    stream_.ByteToDouble(InOut(value), Offset(iOffSet), swap);
    *SwapByte = com::ToVariantBool(swap);
  });
}
STDMETHODIMP ByteStreamObject::DoubleToByte(double value, long* iOffSet,
                                            VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.DoubleToByte(value, Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::ByteToCurrency(CY* value, long* iOffSet,
                                              VARIANT_BOOL* SwapByte) noexcept {
  return Do([&] {
    bool swap = InOut(SwapByte) != VARIANT_FALSE;
    int64_t scaled = 0;
    stream_.ByteToCurrency(scaled, Offset(iOffSet), swap);
    InOut(value).int64 = scaled;
    *SwapByte = com::ToVariantBool(swap);
  });
}
STDMETHODIMP ByteStreamObject::CurrencyToByte(CY value, long* iOffSet,
                                              VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.CurrencyToByte(value.int64, Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::ByteToSingle(float* value, long* iOffSet,
                                            VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.ByteToSingle(InOut(value), Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::SingleToByte(float value, long* iOffSet,
                                            VARIANT_BOOL SwapByte) noexcept {
  return Do([&] { stream_.SingleToByte(value, Offset(iOffSet), SwapByte != 0); });
}
STDMETHODIMP ByteStreamObject::get_BlockLength(long* value) noexcept {
  return Get(value, [&] { return static_cast<long>(stream_.BlockBytes().size()); });
}
STDMETHODIMP ByteStreamObject::Fill(VARIANT bytes) noexcept {
  return Do([&] {
    const Bytes given = com::ToBytes(bytes).bytes;
    if (given.empty()) throw InvalidArgument();
    stream_.Fill(ByteSpan(given).first(given.size() - 1));
  });
}

StreamArgument::StreamArgument(Server& server, ::_PDBByteStream** stream)
    : server_(server), argument_(stream), local_(server.code_page()) {
  if (!stream) throw AutomationError(ErrorNumber::kObjectNotSet);
  native_ = com::Ptr<::_PDBByteStream>::Share(*stream).As<NativeStream>();
}

const PDBByteStream& StreamArgument::Given() {
  if (native_) return native_->stream();
  if (!*argument_) throw AutomationError(ErrorNumber::kObjectNotSet);
  const auto stream = com::Ptr<::_PDBByteStream>::Share(*argument_);
  com::Variant array;
  com::Check(stream->get_ByteArray(array.Receive()), stream.get(), IID__PDBByteStream);
  if (V_VT(array.get()) == VT_EMPTY) return local_;
  com::ByteArray given = com::ToBytes(*array.get());
  const auto content = stream.As<::_PDBStreamContent>();
  long length = 0;
  if (given.lower_bound == 0 && content && SUCCEEDED(content->get_BlockLength(&length)) &&
      length >= 0 && static_cast<size_t>(length) + 1 == given.bytes.size()) {
    local_.Fill(ByteSpan(given.bytes).first(static_cast<size_t>(length)));
  } else {
    local_.SetByteArray({std::move(given.bytes), given.lower_bound});
  }
  return local_;
}

const PDBByteStream& StreamArgument::GivenToRead() {
  TakeSettings();
  return Given();
}

PDBByteStream& StreamArgument::ToRewrite() {
  TakeSettings();
  return ToFill();
}

void StreamArgument::TakeSettings() {
  if (native_ || !*argument_) return;
  const auto stream = com::Ptr<::_PDBByteStream>::Share(*argument_);
  const auto check = [&](HRESULT result) { com::Check(result, stream.get(), IID__PDBByteStream); };
  ::eDatabaseForType database_for{};
  VARIANT_BOOL swaps = VARIANT_FALSE;
  VARIANT_BOOL utf8 = VARIANT_FALSE;
  check(stream->get_DatabaseFor(&database_for));
  check(stream->get_GlobalByteSwap(&swaps));
  check(stream->get_UTF8Strings(&utf8));
  local_.SetDatabaseFor(static_cast<eDatabaseForType>(database_for));
  local_.SetGlobalByteSwap(swaps != VARIANT_FALSE);
  local_.SetUTF8Strings(utf8 != VARIANT_FALSE);
}

void StreamArgument::Return() {
  if (native_) return;
  if (!*argument_) {
    auto created = com::Make<ByteStreamObject>(server_);
    created->stream() = std::move(local_);
    *argument_ = created.Detach();
    return;
  }
  const auto stream = com::Ptr<::_PDBByteStream>::Share(*argument_);
  const auto array = local_.ByteArray();
  if (!array) {
    com::Check(stream->Clear(), stream.get(), IID__PDBByteStream);
    return;
  }
  const com::Variant value = com::FromBytes(array->bytes);
  // Without a byte there is no spare one either.
  if (const auto content = stream.As<::_PDBStreamContent>(); content && !array->bytes.empty()) {
    com::Check(content->Fill(*value.get()), content.get(), IID__PDBStreamContent);
  } else {
    com::Check(stream->put_ByteArray(*value.get()), stream.get(), IID__PDBByteStream);
  }
}

}  // namespace pylon

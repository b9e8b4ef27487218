#pragma once

#include "automation/Object.h"
#include "pdb/PDBByteStream.h"

namespace pylon {

// How the classes of one process reach the stream behind a _PDBByteStream of their own. It has no
// marshaller, so only direct pointers answer to it.
struct NativeStream : IUnknown {
  virtual PDBByteStream& stream() noexcept = 0;

 protected:
  ~NativeStream() = default;
};

}  // namespace pylon

__CRT_UUID_DECL(pylon::NativeStream, 0x0b0c7a6a, 0x3c58, 0x4f4f, 0x9f, 0x3e, 0x5d, 0x3a, 0x8e, 0x1c,
                0x7f, 0x10)

namespace pylon {

class ByteStreamObject final
    : public Object<ByteStreamObject, ::_PDBByteStream, ::_PDBStreamContent, NativeStream> {
 public:
  static const ClassInfo kClass;

  explicit ByteStreamObject(Server& server) : Object(server), stream_(server.code_page()) {}

  PDBByteStream& stream() noexcept override { return stream_; }

  STDMETHODIMP get_GlobalByteSwap(VARIANT_BOOL* value) noexcept override;
  STDMETHODIMP put_GlobalByteSwap(VARIANT_BOOL value) noexcept override;
  STDMETHODIMP get_UTF8Strings(VARIANT_BOOL* value) noexcept override;
  STDMETHODIMP put_UTF8Strings(VARIANT_BOOL value) noexcept override;
  STDMETHODIMP get_DatabaseFor(::eDatabaseForType* value) noexcept override;
  STDMETHODIMP put_DatabaseFor(::eDatabaseForType value) noexcept override;
  STDMETHODIMP get_ByteArray(VARIANT* value) noexcept override;
  STDMETHODIMP put_ByteArray(VARIANT value) noexcept override;
  STDMETHODIMP get_length(long* value) noexcept override;
  STDMETHODIMP Resize(long iLength) noexcept override;
  STDMETHODIMP Clear() noexcept override;
  STDMETHODIMP ByteToString(BSTR* stString, long* iOffSet) noexcept override;
  STDMETHODIMP StringToByte(BSTR stString, long* iOffSet) noexcept override;
  STDMETHODIMP ByteToCString(BSTR* stString, long* iOffSet) noexcept override;
  STDMETHODIMP CStringToByte(BSTR* stString, long* iOffSet) noexcept override;
  STDMETHODIMP ByteToFixString(BSTR* stString, long* iOffSet, long iLength) noexcept override;
  STDMETHODIMP FixStringToByte(BSTR stString, long* iOffSet, long iLength) noexcept override;
  STDMETHODIMP GetByte(unsigned char* stByte, long* iOffSet) noexcept override;
  STDMETHODIMP SetByte(unsigned char stByte, long* iOffSet) noexcept override;
  STDMETHODIMP ByteToInteger(short* value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;
  STDMETHODIMP IntegerToByte(short value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;
  STDMETHODIMP ByteToInt24(long* value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;
  STDMETHODIMP Int24ToByte(long value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;
  STDMETHODIMP ByteToLong(long* value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;
  STDMETHODIMP LongToByte(long value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;
  STDMETHODIMP ByteToDouble(double* value, long* iOffSet, VARIANT_BOOL* SwapByte) noexcept override;
  STDMETHODIMP DoubleToByte(double value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;
  STDMETHODIMP ByteToCurrency(CY* value, long* iOffSet, VARIANT_BOOL* SwapByte) noexcept override;
  STDMETHODIMP CurrencyToByte(CY value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;
  STDMETHODIMP ByteToSingle(float* value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;
  STDMETHODIMP SingleToByte(float value, long* iOffSet, VARIANT_BOOL SwapByte) noexcept override;

  STDMETHODIMP get_BlockLength(long* value) noexcept override;
  STDMETHODIMP Fill(VARIANT bytes) noexcept override;

 private:
  PDBByteStream stream_;
};

// A _PDBByteStream that a member was given: one of this process, used as it is, or one of another
// process or of another maker, whose bytes travel through its ByteArray. Borrows the
// pointer, which outlives it.
class StreamArgument {
 public:
  // `stream` is an in/out argument: a null pointer raises error 91.
  StreamArgument(Server& server, ::_PDBByteStream** stream);

  // The bytes to be written.
  const PDBByteStream& Given();
  // The bytes to be taken apart: the stream's own settings count.
  const PDBByteStream& GivenToRead();
  // The stream that a read fills; Return() then hands it to the caller, who gets a new stream when
  // it gave none.
  PDBByteStream& ToFill() noexcept { return native_ ? native_->stream() : local_; }
  // The same with the stream's own settings.
  PDBByteStream& ToRewrite();
  void Return();

 private:
  void TakeSettings();

  Server& server_;
  ::_PDBByteStream** argument_;
  com::Ptr<NativeStream> native_;
  PDBByteStream local_;
};

}  // namespace pylon

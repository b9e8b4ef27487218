#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "base/Bytes.h"
#include "base/Types.h"
#include "pdb/ByteOrder.h"
#include "pdb/PDBUtils.h"

namespace pylon {

// The one carrier of handheld data: a growable buffer with typed readers and writers at an offset
// that the caller holds and each call advances.
//
// `length` is the buffer's highest index, not its count: a writer that needs n bytes grows the
// buffer to n + 1, the last one spare and zero, so that `length` is n. Every user of the class
// relies on it. Offsets are zero-based.
//
// Errors: 9 for an access outside the buffer, below its lower bound too; 6 for an offset, 16-bit
// index, length or byte that overflows. A failed read changes nothing but a SwapByte that it
// inverts, a failed write leaves what was written before it.
class PDBByteStream {
 public:
  explicit PDBByteStream(const AnsiCodePage& code_page = AnsiCodePage::Windows1252());

  bool GlobalByteSwap() const { return global_byte_swap_; }
  void SetGlobalByteSwap(bool value) { global_byte_swap_ = value; }
  bool UTF8Strings() const { return utf8_strings_; }
  void SetUTF8Strings(bool value) { utf8_strings_ = value; }
  eDatabaseForType DatabaseFor() const { return database_for_; }
  // dftPalmVFS also sets GlobalByteSwap; no other value clears it.
  void SetDatabaseFor(eDatabaseForType value);

  // The whole buffer as it is, the spare byte included; nothing when there is none. An array that
  // is given is taken as it is, its lower bound included (Basic arrays may start elsewhere than 0).
  struct Array {
    Bytes bytes;
    int32_t lower_bound = 0;
  };
  std::optional<Array> ByteArray() const;
  void SetByteArray(Array array);

  int32_t length() const;  // highest index, 0 without a buffer
  // To the indexes 0 to iLength - 1, so that `length` is iLength - 1. Keeps the contents.
  void Resize(int32_t iLength);
  void Clear();

  // The null-terminated form. Error 6 when the reader starts beyond 32,767, and for a longer text.
  // With UTF8Strings the reader takes 0xC2 to 0xDB as the lead of two bytes and 0xE1 to 0xFF as the
  // lead of three; the writer encodes ANSI codes from 129, not characters, so in Windows-1252 curly
  // quotes, dashes and others of codes 129 to 159 do not read back: clear it for such text.
  void ByteToString(std::u16string& stString, int32_t& iOffSet) const;
  void StringToByte(std::u16string_view stString, int32_t& iOffSet);
  // A byte with the length, or 255 and a 16-bit length; then the characters as a fixed field.
  void ByteToCString(std::u16string& stString, int32_t& iOffSet) const;
  void CStringToByte(std::u16string_view stString, int32_t& iOffSet);
  // A field of iLength bytes, one a character in the code page whatever UTF8Strings says. The text
  // ends at the first zero byte; a longer one is cut.
  void ByteToFixString(std::u16string& stString, int32_t& iOffSet, int32_t iLength) const;
  void FixStringToByte(std::u16string_view stString, int32_t& iOffSet, int32_t iLength);
  void GetByte(uint8_t& stByte, int32_t& iOffSet) const;
  void SetByte(uint8_t stByte, int32_t& iOffSet);
  void ByteToInteger(int16_t& value, int32_t& iOffSet, bool SwapByte = false) const;
  void IntegerToByte(int16_t value, int32_t& iOffSet, bool SwapByte = false);
  // The one pair that is most significant byte first when SwapByte is false. The writer refuses
  // values whose middle byte is 128 or more (error 6): callers of old met that limit.
  void ByteToInt24(int32_t& value, int32_t& iOffSet, bool SwapByte = false) const;
  void Int24ToByte(int32_t value, int32_t& iOffSet, bool SwapByte = false);
  void ByteToLong(int32_t& value, int32_t& iOffSet, bool SwapByte = false) const;
  void LongToByte(int32_t value, int32_t& iOffSet, bool SwapByte = false);
  // These two leave the caller's SwapByte inverted when GlobalByteSwap is set: callers of old rely
  // on it.
  void ByteToDouble(double& value, int32_t& iOffSet, bool& SwapByte) const;
  void ByteToCurrency(int64_t& value, int32_t& iOffSet, bool& SwapByte) const;
  void DoubleToByte(double value, int32_t& iOffSet, bool SwapByte = false);
  void CurrencyToByte(int64_t value, int32_t& iOffSet, bool SwapByte = false);  // x 10,000
  void ByteToSingle(float& value, int32_t& iOffSet, bool SwapByte = false) const;
  void SingleToByte(float value, int32_t& iOffSet, bool SwapByte = false);

  // For the databases. A record is the first `length` bytes; a block is everything but a spare byte
  // that a writer added (an array or a Resize has none). The views live until the next change.
  ByteSpan RecordBytes() const;
  ByteSpan BlockBytes() const;
  // Gives the stream exactly these bytes and the spare one, so that `length` is their count.
  void Fill(ByteSpan bytes);

 private:
  template <size_t N>
  uint64_t ReadNumber(int32_t& offset, ByteOrder order) const;
  template <size_t N>
  void WriteNumber(uint64_t value, int32_t& offset, ByteOrder order);
  ByteOrder Order(bool swap) const;

  // The bytes at offset .. offset + size - 1; WriteAt grows the buffer to hold them and the spare.
  ByteSpan ReadAt(int32_t offset, int32_t size) const;
  std::span<std::byte> WriteAt(int32_t offset, int32_t size);
  bool Holds(int32_t offset, int32_t size) const;
  void GrowTo(int32_t highest);

  const AnsiCodePage* code_page_;
  PDBUtils utils_;
  bool global_byte_swap_ = false;
  bool utf8_strings_ = true;
  eDatabaseForType database_for_ = dftPalmHotSync;
  std::optional<Bytes> buffer_;
  int32_t lower_bound_ = 0;  // index of the first byte; 0 without a buffer
  bool spare_ = false;       // whether the last byte is one that a writer added
};

}  // namespace pylon

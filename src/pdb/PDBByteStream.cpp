#include "pdb/PDBByteStream.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "base/AutomationError.h"

namespace pylon {
namespace {

constexpr int32_t kMax16 = std::numeric_limits<int16_t>::max();
constexpr int32_t kLongString = 255;  // from here on a CString has a 16-bit length
constexpr int32_t kInt24Max = 0xFFFFFF;

int32_t CheckedLong(int64_t value) {
  if (value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max()) {
    throw Overflow();
  }
  return static_cast<int32_t>(value);
}

int32_t Advanced(int32_t offset, int32_t size) { return CheckedLong(int64_t{offset} + size); }

// The largest value of a 16-bit counter.
void CheckCount(size_t count) {
  if (count > static_cast<size_t>(kMax16)) throw Overflow();
}
void CheckFieldLength(int32_t length) {
  if (length < 0 || length > kMax16) throw Overflow();
}

}  // namespace

PDBByteStream::PDBByteStream(const AnsiCodePage& code_page)
    : code_page_(&code_page), utils_(code_page) {}

void PDBByteStream::SetDatabaseFor(eDatabaseForType value) {
  database_for_ = value;
  if (value == dftPalmVFS) global_byte_swap_ = true;
}

std::optional<PDBByteStream::Array> PDBByteStream::ByteArray() const {
  if (!buffer_) return std::nullopt;
  return Array{*buffer_, lower_bound_};
}

void PDBByteStream::SetByteArray(Array array) {
  buffer_ = std::move(array.bytes);
  lower_bound_ = array.lower_bound;
  spare_ = false;
}

int32_t PDBByteStream::length() const {
  if (!buffer_) return 0;
  const int64_t highest = int64_t{lower_bound_} + static_cast<int64_t>(buffer_->size()) - 1;
  return std::in_range<int32_t>(highest) ? static_cast<int32_t>(highest) : 0;
}

void PDBByteStream::Resize(int32_t iLength) {
  if (iLength < 0 || lower_bound_ != 0) throw SubscriptOutOfRange();
  if (iLength > 0) GrowTo(iLength - 1);
  if (!buffer_) buffer_.emplace();
  buffer_->resize(static_cast<size_t>(iLength));
  spare_ = false;
}

void PDBByteStream::Clear() {
  buffer_.reset();
  lower_bound_ = 0;
  spare_ = false;
}

// Sets the highest index to at least `highest`, at a cost that is linear over all calls: vectors
// grow geometrically.
void PDBByteStream::GrowTo(int32_t highest) {
  if (lower_bound_ != 0) throw SubscriptOutOfRange();
  if (!buffer_) buffer_.emplace();
  const size_t size = size_t{static_cast<uint32_t>(highest)} + 1;
  if (size <= buffer_->size()) return;
  try {
    buffer_->resize(size);
  } catch (const std::bad_alloc&) {
    throw AutomationError(ErrorNumber::kOutOfMemory);
  } catch (const std::length_error&) {
    throw AutomationError(ErrorNumber::kOutOfMemory);
  }
  spare_ = true;
}

bool PDBByteStream::Holds(int32_t offset, int32_t size) const {
  if (size == 0) return true;
  const int64_t first = int64_t{offset} - lower_bound_;
  return buffer_ && first >= 0 && size <= static_cast<int64_t>(buffer_->size()) - first;
}

ByteSpan PDBByteStream::ReadAt(int32_t offset, int32_t size) const {
  if (!Holds(offset, size)) throw SubscriptOutOfRange();
  if (size == 0) return {};
  return ByteSpan(*buffer_).subspan(static_cast<size_t>(int64_t{offset} - lower_bound_),
                                    static_cast<size_t>(size));
}

std::span<std::byte> PDBByteStream::WriteAt(int32_t offset, int32_t size) {
  const int32_t end = Advanced(offset, size);
  if (end > length()) GrowTo(end);
  if (!Holds(offset, size)) throw SubscriptOutOfRange();
  if (size == 0) return {};
  return std::span(*buffer_).subspan(static_cast<size_t>(int64_t{offset} - lower_bound_),
                                     static_cast<size_t>(size));
}

ByteOrder PDBByteStream::Order(bool swap) const {
  return swap != global_byte_swap_ ? ByteOrder::kBig : ByteOrder::kLittle;
}

template <size_t N>
uint64_t PDBByteStream::ReadNumber(int32_t& offset, ByteOrder order) const {
  const ByteSpan bytes = ReadAt(offset, N);
  offset = Advanced(offset, N);
  return LoadUnsigned(bytes.template first<N>(), order);
}

template <size_t N>
void PDBByteStream::WriteNumber(uint64_t value, int32_t& offset, ByteOrder order) {
  StoreUnsigned(value, WriteAt(offset, N).template first<N>(), order);
  offset = Advanced(offset, N);
}

void PDBByteStream::ByteToString(std::u16string& stString, int32_t& iOffSet) const {
  if (!buffer_) {
    stString.clear();
    return;
  }
  if (iOffSet > kMax16 || iOffSet < std::numeric_limits<int16_t>::min()) throw Overflow();
  const int32_t highest = length();
  std::u16string text;
  int32_t index = iOffSet;
  while (index <= highest) {
    const auto byte = std::to_integer<uint8_t>(ReadAt(index, 1)[0]);
    if (byte == 0) break;
    int32_t size = 1;
    if (utf8_strings_ && byte >= 0xE1) {
      size = 3;
    } else if (utf8_strings_ && byte >= 0xC2 && byte <= 0xDB) {
      size = 2;
    }
    text.push_back(size == 1 ? code_page_->Decode(byte)
                             : static_cast<char16_t>(utils_.ToUTF16(ReadAt(index, size))));
    index += size;
    if (index > kMax16) throw Overflow();
  }
  stString = std::move(text);
  iOffSet = Advanced(std::min(index, highest), 1);
}

void PDBByteStream::StringToByte(std::u16string_view stString, int32_t& iOffSet) {
  CheckCount(stString.size());
  const int32_t length =
      utf8_strings_ ? utils_.UTF8Length(stString) : static_cast<int32_t>(stString.size());
  const std::span<std::byte> field = WriteAt(iOffSet, length + 1);
  auto out = field.begin();
  for (const char16_t c : stString) {
    const uint8_t code = code_page_->Encode(c);
    if (!utf8_strings_ || code <= PDBUtils::kLastRawCode) {
      *out++ = std::byte{code};
    } else {
      out = std::ranges::copy(utils_.ToUTF8(code), out).out;
    }
  }
  *out = std::byte{0};
  iOffSet = Advanced(iOffSet, length + 1);
}

void PDBByteStream::ByteToCString(std::u16string& stString, int32_t& iOffSet) const {
  int32_t offset = iOffSet;
  uint8_t short_length = 0;
  GetByte(short_length, offset);
  int16_t length = short_length;
  if (length == kLongString) ByteToInteger(length, offset, false);
  ByteToFixString(stString, offset, length);
  iOffSet = offset;
}

void PDBByteStream::CStringToByte(std::u16string_view stString, int32_t& iOffSet) {
  CheckCount(stString.size());
  const auto length = static_cast<int32_t>(stString.size());
  SetByte(static_cast<uint8_t>(std::min(length, kLongString)), iOffSet);
  if (length >= kLongString) IntegerToByte(static_cast<int16_t>(length), iOffSet, false);
  FixStringToByte(stString, iOffSet, length);
}

void PDBByteStream::ByteToFixString(std::u16string& stString, int32_t& iOffSet,
                                    int32_t iLength) const {
  CheckFieldLength(iLength);
  const ByteSpan field = ReadAt(iOffSet, iLength);
  const auto end = std::ranges::find(field, std::byte{0});
  stString = code_page_->Decode(ByteSpan(field.begin(), end));
  iOffSet = Advanced(iOffSet, iLength);
}

void PDBByteStream::FixStringToByte(std::u16string_view stString, int32_t& iOffSet,
                                    int32_t iLength) {
  CheckFieldLength(iLength);
  const std::span<std::byte> field = WriteAt(iOffSet, iLength);
  for (size_t i = 0; i < field.size(); ++i) {
    field[i] = std::byte{i < stString.size() ? code_page_->Encode(stString[i]) : uint8_t{0}};
  }
  iOffSet = Advanced(iOffSet, iLength);
}

void PDBByteStream::GetByte(uint8_t& stByte, int32_t& iOffSet) const {
  stByte = static_cast<uint8_t>(ReadNumber<1>(iOffSet, ByteOrder::kLittle));
}

void PDBByteStream::SetByte(uint8_t stByte, int32_t& iOffSet) {
  WriteNumber<1>(stByte, iOffSet, ByteOrder::kLittle);
}

void PDBByteStream::ByteToInteger(int16_t& value, int32_t& iOffSet, bool SwapByte) const {
  value = static_cast<int16_t>(ReadNumber<2>(iOffSet, Order(SwapByte)));
}

void PDBByteStream::IntegerToByte(int16_t value, int32_t& iOffSet, bool SwapByte) {
  WriteNumber<2>(static_cast<uint16_t>(value), iOffSet, Order(SwapByte));
}

void PDBByteStream::ByteToInt24(int32_t& value, int32_t& iOffSet, bool SwapByte) const {
  value = static_cast<int32_t>(ReadNumber<3>(iOffSet, Order(!SwapByte)));
}

void PDBByteStream::Int24ToByte(int32_t value, int32_t& iOffSet, bool SwapByte) {
  const int32_t middle = value >> 8 & 0xFF;
  if (value < 0 || value > kInt24Max || middle * 256 > kMax16) throw Overflow();
  WriteNumber<3>(static_cast<uint32_t>(value), iOffSet, Order(!SwapByte));
}

void PDBByteStream::ByteToLong(int32_t& value, int32_t& iOffSet, bool SwapByte) const {
  value = static_cast<int32_t>(ReadNumber<4>(iOffSet, Order(SwapByte)));
}

void PDBByteStream::LongToByte(int32_t value, int32_t& iOffSet, bool SwapByte) {
  WriteNumber<4>(static_cast<uint32_t>(value), iOffSet, Order(SwapByte));
}

void PDBByteStream::ByteToDouble(double& value, int32_t& iOffSet, bool& SwapByte) const {
  if (global_byte_swap_) SwapByte = !SwapByte;
  value = std::bit_cast<double>(
      ReadNumber<8>(iOffSet, SwapByte ? ByteOrder::kBig : ByteOrder::kLittle));
}

void PDBByteStream::ByteToCurrency(int64_t& value, int32_t& iOffSet, bool& SwapByte) const {
  if (global_byte_swap_) SwapByte = !SwapByte;
  value =
      static_cast<int64_t>(ReadNumber<8>(iOffSet, SwapByte ? ByteOrder::kBig : ByteOrder::kLittle));
}

void PDBByteStream::DoubleToByte(double value, int32_t& iOffSet, bool SwapByte) {
  WriteNumber<8>(std::bit_cast<uint64_t>(value), iOffSet, Order(SwapByte));
}

void PDBByteStream::CurrencyToByte(int64_t value, int32_t& iOffSet, bool SwapByte) {
  WriteNumber<8>(static_cast<uint64_t>(value), iOffSet, Order(SwapByte));
}

void PDBByteStream::ByteToSingle(float& value, int32_t& iOffSet, bool SwapByte) const {
  value = std::bit_cast<float>(static_cast<uint32_t>(ReadNumber<4>(iOffSet, Order(SwapByte))));
}

void PDBByteStream::SingleToByte(float value, int32_t& iOffSet, bool SwapByte) {
  WriteNumber<4>(std::bit_cast<uint32_t>(value), iOffSet, Order(SwapByte));
}

ByteSpan PDBByteStream::RecordBytes() const {
  if (!buffer_ || length() <= 0) return {};
  return ByteSpan(*buffer_).first(std::min(buffer_->size(), static_cast<size_t>(length())));
}

ByteSpan PDBByteStream::BlockBytes() const {
  if (!buffer_) return {};
  return ByteSpan(*buffer_).first(buffer_->size() - (spare_ ? 1 : 0));
}

void PDBByteStream::Fill(ByteSpan bytes) {
  if (!buffer_) buffer_.emplace();
  buffer_->reserve(bytes.size() + 1);
  buffer_->assign(bytes.begin(), bytes.end());
  buffer_->push_back(std::byte{0});
  lower_bound_ = 0;
  spare_ = true;
}

}  // namespace pylon

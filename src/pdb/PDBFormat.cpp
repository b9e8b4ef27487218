#include "pdb/PDBFormat.h"

#include <algorithm>

namespace pylon {
namespace {

// Moves over the header's fields, the one list of them serving both directions.
class FieldDecoder {
 public:
  FieldDecoder(ByteSpan bytes, ByteOrder order) : bytes_(bytes), order_(order) {}

  template <size_t N>
  void operator()(FixedText<N>& field) {
    std::ranges::copy(bytes_.first(N), field.bytes.begin());
    bytes_ = bytes_.subspan(N);
  }
  template <class Integer>
  void operator()(Integer& field) {
    field = static_cast<Integer>(LoadUnsigned(bytes_.first<sizeof(Integer)>(), order_));
    bytes_ = bytes_.subspan(sizeof(Integer));
  }

 private:
  ByteSpan bytes_;
  ByteOrder order_;
};

class FieldEncoder {
 public:
  FieldEncoder(std::span<std::byte> bytes, ByteOrder order) : bytes_(bytes), order_(order) {}

  template <size_t N>
  void operator()(const FixedText<N>& field) {
    std::ranges::copy(field.bytes, bytes_.begin());
    bytes_ = bytes_.subspan(N);
  }
  template <class Integer>
  void operator()(const Integer& field) {
    StoreUnsigned(static_cast<uint64_t>(field), bytes_.first<sizeof(Integer)>(), order_);
    bytes_ = bytes_.subspan(sizeof(Integer));
  }

 private:
  std::span<std::byte> bytes_;
  ByteOrder order_;
};

template <class Header, class Visitor>
void VisitFields(Header& header, Visitor&& visit) {
  visit(header.name);
  visit(header.attributes);
  visit(header.version);
  visit(header.creation_date);
  visit(header.modification_date);
  visit(header.backup_date);
  visit(header.modification_number);
  visit(header.app_info_offset);
  visit(header.sort_info_offset);
  visit(header.type);
  visit(header.creator);
  visit(header.unique_id_seed);
  visit(header.next_unique_id);
  visit(header.record_count);
}

}  // namespace

template <size_t N>
std::u16string FixedText<N>::Text(const AnsiCodePage& code_page) const {
  const auto end = std::ranges::find(bytes, std::byte{0});
  return code_page.Decode(ByteSpan(bytes.begin(), end));
}

template <size_t N>
bool FixedText<N>::Holds(std::u16string_view text, const AnsiCodePage& code_page) {
  return text.size() <= N && code_page.Holds(text) && text.find(u'\0') == text.npos;
}

template <size_t N>
void FixedText<N>::SetText(std::u16string_view text, const AnsiCodePage& code_page) {
  bytes = {};
  std::ranges::copy(code_page.Encode(text.substr(0, N)), bytes.begin());
}

template class FixedText<32>;
template class FixedText<4>;

PDBHeader DecodeHeader(std::span<const std::byte, PDBHeader::kSize> bytes, ByteOrder order) {
  PDBHeader header;
  VisitFields(header, FieldDecoder(bytes, order));
  return header;
}

void EncodeHeader(const PDBHeader& header, std::span<std::byte, PDBHeader::kSize> bytes,
                  ByteOrder order) {
  VisitFields(header, FieldEncoder(bytes, order));
}

}  // namespace pylon

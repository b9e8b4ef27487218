#include "hotsync/SuiteDatabase.h"

#include <utility>

namespace pylon {
namespace {

constexpr int32_t kAttributeBits = 0xF8;
constexpr int32_t kCategoryBits = 0x0F;

AutomationError UnknownId() {
  return AutomationError(ErrorNumber::kInternal,
                         u"HotSync's COM suite gave a unique id of an unknown form.");
}

}  // namespace

SuiteDatabase::SuiteDatabase(com::Variant adapter, std::shared_ptr<SuiteLink> link)
    : link_(std::move(link)), adapter_(std::move(adapter)) {}

int32_t SuiteDatabase::RecordCount() {
  return link_->Reach(
      [&] { return int32_t{V_I4(Converted(adapter_.Call(Adapter::kRecordCount), VT_I4).get())}; });
}

std::optional<Record> SuiteDatabase::ReadByIndex(int32_t index) {
  Fields fields;
  fields.index = index - 1;
  position_.reset();
  return link_->ReachIfThere(std::optional<Record>(), [&] {
    const com::Variant data =
        adapter_.Call(Adapter::kReadByIndex, Argument(&fields.index), Argument(&fields.id),
                      Argument(&fields.category), Argument(&fields.attributes));
    fields.index = index - 1;
    return ToRecord(data, fields);
  });
}

std::optional<Record> SuiteDatabase::ReadById(int32_t id) {
  Fields fields;
  fields.id = FromId(id);
  position_.reset();
  return link_->ReachIfThere(std::optional<Record>(), [&] {
    const com::Variant data =
        adapter_.Call(Adapter::kReadById, Argument(&fields.id), Argument(&fields.index),
                      Argument(&fields.category), Argument(&fields.attributes));
    if (fields.index < 0) fields.id.Receive();  // untouched: it only held the question
    return ToRecord(data, fields);
  });
}

std::optional<Record> SuiteDatabase::ReadNextModified(int32_t index) {
  Fields fields;
  const bool is_there = position_ == index;
  position_.reset();
  return link_->ReachIfThere(std::optional<Record>(), [&] {
    if (!is_there) adapter_.Put(Adapter::kIterationIndex, index - 1);
    const com::Variant data =
        adapter_.Call(Adapter::kReadNextModified, Argument(&fields.index), Argument(&fields.id),
                      Argument(&fields.category), Argument(&fields.attributes));
    std::optional<Record> record = ToRecord(data, fields);
    if (record) position_ = record->index + 1;
    return record;
  });
}

// The record that a read has given. Without data the record may still be there, since a deleted one
// has none: then the adapter has filled the fields, and is not at its end.
std::optional<Record> SuiteDatabase::ToRecord(const com::Variant& data, const Fields& fields) {
  std::optional<Bytes> bytes = ToRecordData(data);
  if (!bytes) {
    if (V_VT(fields.id.get()) == VT_EMPTY) return std::nullopt;
    if (V_BOOL(Converted(adapter_.Call(Adapter::kEof), VT_BOOL).get())) return std::nullopt;
    bytes.emplace();
  }
  return Record{static_cast<int32_t>(fields.index) + 1, ToId(fields.id),
                static_cast<int16_t>(fields.category & kCategoryBits),
                static_cast<int32_t>(fields.attributes) & kAttributeBits, *std::move(bytes)};
}

int32_t SuiteDatabase::Write(int32_t id, int16_t category, int32_t attributes, ByteSpan data) {
  com::Variant unique_id = id != 0 ? FromId(id) : com::Variant();
  const com::Variant bytes = com::FromBytes(data);
  position_.reset();
  return link_->Reach([&] {
    adapter_.Call(Adapter::kWrite, Argument(&unique_id), int32_t{category}, attributes, bytes);
    return ToId(unique_id);
  });
}

bool SuiteDatabase::Remove(int32_t id) {
  const com::Variant unique_id = FromId(id);
  position_.reset();
  return link_->ReachIfThere(false, [&] {
    adapter_.Call(Adapter::kRemove, unique_id);
    return true;
  });
}

void SuiteDatabase::RemoveAll() {
  position_.reset();
  link_->Reach([&] { adapter_.Call(Adapter::kRemoveSet, suite::kAllRecords); });
}

void SuiteDatabase::ResetModifiedFlags() {
  position_.reset();
  link_->Reach([&] { adapter_.Call(Adapter::kResetAllModifiedFlags); });
}

Bytes SuiteDatabase::ReadAppInfoBlock() { return ReadBlock(Adapter::kReadAppInfoBlock); }
void SuiteDatabase::WriteAppInfoBlock(ByteSpan block) {
  WriteBlock(Adapter::kWriteAppInfoBlock, block);
}
Bytes SuiteDatabase::ReadSortInfoBlock() { return ReadBlock(Adapter::kReadSortInfoBlock); }
void SuiteDatabase::WriteSortInfoBlock(ByteSpan block) {
  WriteBlock(Adapter::kWriteSortInfoBlock, block);
}

Bytes SuiteDatabase::ReadBlock(Adapter::Member member) {
  return link_->ReachIfThere(Bytes(),
                             [&] { return ToRecordData(adapter_.Call(member)).value_or(Bytes()); });
}

void SuiteDatabase::WriteBlock(Adapter::Member member, ByteSpan block) {
  const com::Variant bytes = com::FromBytes(block);
  link_->Reach([&] { adapter_.Call(member, bytes); });
}

int32_t SuiteDatabase::ToId(const com::Variant& id) {
  IdForm form;
  form.type = V_VT(id.get());
  uint32_t value = 0;
  if (form.type & VT_ARRAY) {
    const std::optional<Bytes> bytes = ToRecordData(id);
    if (!bytes || bytes->empty() || bytes->size() > sizeof(value)) throw UnknownId();
    for (const std::byte byte : *bytes) value = value << 8 | std::to_integer<uint32_t>(byte);
    form.bytes = bytes->size();
  } else {
    if (form.type == VT_EMPTY || form.type == VT_NULL) throw UnknownId();
    value = static_cast<uint32_t>(V_I4(Converted(id, VT_I4).get()));
  }
  id_form_ = form;
  return static_cast<int32_t>(value);
}

com::Variant SuiteDatabase::FromId(int32_t id) {
  // A conduit may begin with an id that it has kept; any record shows how they look here.
  if (!id_form_) (void)ReadByIndex(1);
  const IdForm form = id_form_.value_or(IdForm());
  com::Variant value(id);
  if (form.type & VT_ARRAY) {
    Bytes bytes(form.bytes);
    for (size_t i = 0; i < bytes.size(); ++i) {
      bytes[bytes.size() - 1 - i] = static_cast<std::byte>(static_cast<uint32_t>(id) >> (8 * i));
    }
    value = com::FromBytes(bytes);
  } else if (form.type != VT_I4) {
    value = Converted(value, form.type);
  }
  return value;
}

}  // namespace pylon

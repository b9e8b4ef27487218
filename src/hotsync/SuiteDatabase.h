#pragma once

#include <memory>
#include <optional>

#include "hotsync/Handheld.h"
#include "hotsync/SuiteLink.h"

namespace pylon {

// A database behind the suite's record adapter, open for as long as the adapter lives. One exchange
// for each member except where it says so.
class SuiteDatabase final : public HandheldDatabase {
 public:
  SuiteDatabase(com::Variant adapter, std::shared_ptr<SuiteLink> link);

  int32_t RecordCount() override;
  std::optional<Record> ReadByIndex(int32_t index) override;
  std::optional<Record> ReadById(int32_t id) override;
  // A second exchange where the adapter's own position is not known to be `index`.
  std::optional<Record> ReadNextModified(int32_t index) override;
  int32_t Write(int32_t id, int16_t category, int32_t attributes, ByteSpan data) override;
  bool Remove(int32_t id) override;
  void RemoveAll() override;
  void ResetModifiedFlags() override;
  Bytes ReadAppInfoBlock() override;
  void WriteAppInfoBlock(ByteSpan block) override;
  Bytes ReadSortInfoBlock() override;
  void WriteSortInfoBlock(ByteSpan block) override;

 private:
  using Adapter = suite::RecordAdapter;

  // How the adapter's unique ids look; it gets back what it gave.
  struct IdForm {
    VARTYPE type = VT_ARRAY | VT_UI1;
    size_t bytes = suite::kIdBytes;
  };
  // The variables of one read, which the adapter fills by reference. It counts from 0.
  struct Fields {
    LONG index = -1;
    com::Variant id;
    LONG category = 0;
    LONG attributes = 0;
  };

  std::optional<Record> ToRecord(const com::Variant& data, const Fields& fields);
  int32_t ToId(const com::Variant& id);
  com::Variant FromId(int32_t id);
  Bytes ReadBlock(Adapter::Member member);
  void WriteBlock(Adapter::Member member, ByteSpan block);

  std::shared_ptr<SuiteLink> link_;
  LateBound<Adapter> adapter_;
  std::optional<IdForm> id_form_;    // of the first id seen
  std::optional<int32_t> position_;  // the adapter's IterationIndex plus 1, while it is known
};

}  // namespace pylon

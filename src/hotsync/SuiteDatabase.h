#pragma once

#include <memory>
#include <optional>

#include "hotsync/Handheld.h"
#include "hotsync/SuiteLink.h"

namespace pylon {

// A database behind the suite's record adapter, open for as long as the adapter lives. One exchange
// for each member but where it says so.
class SuiteDatabase final : public HandheldDatabase {
 public:
  SuiteDatabase(com::Variant adapter, std::shared_ptr<SuiteLink> link);

  int32_t RecordCount() override;
  std::optional<HandheldRecord> ReadByIndex(int32_t index) override;
  std::optional<HandheldRecord> ReadById(uint32_t id) override;
  // A second exchange where the adapter's own position is not known to be `index`.
  std::optional<HandheldRecord> ReadNextModified(int32_t index) override;
  uint32_t Write(uint32_t id, uint8_t category, uint8_t attributes, ByteSpan data) override;
  bool Remove(uint32_t id) override;
  void RemoveAll() override;
  void ResetModifiedFlags() override;
  Bytes ReadAppInfoBlock() override;
  void WriteAppInfoBlock(ByteSpan block) override;
  Bytes ReadSortInfoBlock() override;
  void WriteSortInfoBlock(ByteSpan block) override;

 private:
  using Adapter = suite::RecordAdapter;

  // How the adapter's unique ids look; what it gave it gets back.
  struct IdForm {
    VARTYPE type = VT_ARRAY | VT_UI1;
    size_t bytes = suite::kIdBytes;
  };
  // The variables of one read, which the adapter fills by reference.
  struct Fields {
    LONG index = -1;
    com::Variant id;
    LONG category = 0;
    LONG attributes = 0;
  };

  std::optional<HandheldRecord> Record(const com::Variant& data, const Fields& fields);
  uint32_t ToId(const com::Variant& id);
  com::Variant FromId(uint32_t id);
  Bytes ReadBlock(Adapter::Member member);
  void WriteBlock(Adapter::Member member, ByteSpan block);

  std::shared_ptr<SuiteLink> link_;
  LateBound<Adapter> adapter_;
  std::optional<IdForm> id_form_;    // of the first id seen
  std::optional<int32_t> position_;  // the adapter's IterationIndex, while it is known
};

}  // namespace pylon

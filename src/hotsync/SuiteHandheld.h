#pragma once

#include <memory>
#include <optional>

#include "base/AnsiCodePage.h"
#include "hotsync/Handheld.h"
#include "hotsync/SuiteLink.h"
#include "pdb/PDBUtils.h"

namespace pylon {

// The handheld of HotSync's session, through the COM sync suite: two objects of the suite, made
// when the session of a conduit begins and released with this. See SuiteContract.h for what is
// known of them.
class SuiteHandheld final : public Handheld {
 public:
  // Creates the suite's objects. Raises error 429 when they can't be made: no suite on this PC, or
  // one for 32-bit programs only.
  static std::shared_ptr<SuiteHandheld> Connect(const AnsiCodePage& code_page);

  // Borrows the code page.
  SuiteHandheld(com::Ptr<IDispatch> query, com::Ptr<IDispatch> system,
                const AnsiCodePage& code_page);

  std::u16string UserName() override;
  Date DateTime() override;
  void AddLogEntry(std::u16string_view text) override;
  std::vector<std::u16string> DatabaseNames() override;
  std::optional<HandheldDatabaseInfo> DatabaseInfo(std::u16string_view name) override;
  std::unique_ptr<HandheldDatabase> OpenDatabase(std::u16string_view name) override;
  std::unique_ptr<HandheldDatabase> CreateDatabase(std::u16string_view name,
                                                   std::u16string_view creator,
                                                   std::u16string_view type) override;
  bool DeleteDatabase(std::u16string_view name) override;
  bool IsLost() const noexcept override { return link_->lost(); }

  // What HotSync says about the conduit that it runs at this moment.
  struct Conduit {
    std::optional<int32_t> creator;
    std::u16string path;  // of its folder below the HotSync user's
  };
  // Members that the suite doesn't have stay empty.
  Conduit RunningConduit();

 private:
  // Whether the list has the name, after a failure that may mean that it has not.
  bool IsListed(std::u16string_view name);

  PDBUtils utils_;
  std::shared_ptr<SuiteLink> link_;  // databases may outlive the handheld
  LateBound<suite::DatabaseQuery> query_;
  LateBound<suite::SystemAdapter> system_;
  int32_t access_;  // for every database: reading, writing, secret records
};

}  // namespace pylon

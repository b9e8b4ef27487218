#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "setup/HotSyncLibrary.h"
#include "setup/StepReport.h"

namespace pylon {

// HotSync on this PC: whether it is there, the conduits that it calls when a Palm handheld
// synchronizes, its users, and what it installs on their handhelds next time.
//
// It is reached through its own libraries, of the folder that it names in the registry and no
// other. They are loaded on first use and stay loaded as long as the object lives. Only the members
// that install and remove change anything of HotSync's.
//
// Creator ids are four characters of the handheld's code page, and case counts. Members that ask
// HotSync raise a StepFailure when it can't be asked; those that change something report it.
class cHotSync {
 public:
  // Of the COM class that HotSync creates for each of Pylon's conduits.
  static constexpr char16_t kComClass[] = u"Pylon.cPalmSync";

  struct Conduit {
    std::u16string creator_id;
    std::u16string app_id;     // kept with the conduit, to find it by
    std::u16string title;      // as HotSync shows it; characters that it can't show become '?'
    std::u16string directory;  // the conduit's folder in that of the HotSync user, a name
    std::u16string file;       // its file there, a name
    unsigned priority = hotsync::kUsualPriority;  // 0, called first, to 4
  };
  struct Registered {
    std::u16string creator_id;
    std::u16string app_id;  // of our own conduits; may be empty
    std::u16string title;   // or the name of its library
    bool ours = false;

    std::vector<std::u16string> Holder() const;  // the details of Notice::kTaken
  };

  // The folder of `program_path` is where the applications' folders lie. The code page outlives the
  // object.
  cHotSync(const std::u16string& program_path, const AnsiCodePage& code_page);
  ~cHotSync();
  cHotSync(const cHotSync&) = delete;
  cHotSync& operator=(const cHotSync&) = delete;

  bool IsInstalled() const { return !Folder().empty(); }
  // The folder of HotSync's libraries, without a trailing backslash; empty when it isn't installed.
  std::u16string Folder() const;

  bool IsCreatorId(std::u16string_view creator_id) const;
  // The conduit that is registered for a creator id, ours or not; nothing when there is none.
  std::optional<Registered> FindConduit(std::u16string_view creator_id);
  // Our conduits that were registered under an application id.
  std::vector<Registered> FindConduits(std::u16string_view app_id);

  // A conduit of ours gets the new values, and its registrations under other creator ids are
  // removed. Another program's conduit is left alone, and the report says whose it is. A conduit
  // that could not be registered as a whole is not registered at all; one that was stays so.
  StepReport InstallConduit(const Conduit& conduit);
  // Done when no conduit of ours is registered afterwards; another program's is left alone.
  StepReport UninstallConduit(std::u16string_view creator_id);

  // The people whose handhelds synchronize with this PC.
  std::vector<std::u16string> Users();
  // Has HotSync install files on the handheld of a user the next time. Their names are separated by
  // commas and count from the folder `app_id` beside the program. An empty user is the only one
  // there is. Nothing is handed over unless all files are there.
  StepReport InstallApplication(std::u16string_view app_id, std::u16string_view files,
                                std::u16string_view user);

 private:
  template <class Library>
  const Library& Use(std::unique_ptr<Library>& library) const;

  void RequireCreatorId(std::u16string_view creator_id) const;
  std::string CreatorBytes(std::u16string_view creator_id) const;
  std::vector<std::string> Creators();
  Registered Describe(const std::string& creator) const;  // with the manager loaded
  StepReport Register(const Conduit& conduit);
  int SetValues(const std::string& creator, const Conduit& conduit, const char*& failed) const;
  void RemoveOthers(const Conduit& conduit, StepReport& report);
  void RefreshHotSync(StepReport& report);
  std::string PathOf(std::u16string_view app_id, const std::u16string& name) const;
  std::u16string ChooseUser(std::u16string_view user);

  std::u16string program_folder_;
  const AnsiCodePage& code_page_;
  std::unique_ptr<ConduitManagerLibrary> manager_;
  std::unique_ptr<HotSyncApiLibrary> api_;
  std::unique_ptr<InstallAideLibrary> aide_;
};

}  // namespace pylon

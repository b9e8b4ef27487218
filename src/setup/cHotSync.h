#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "setup/HotSyncLibrary.h"

namespace pylon {

// HotSync on this PC: whether it is there, the conduits that it calls when a Palm handheld
// synchronizes, its users, and what it installs on their handhelds next time.
//
// It is reached through its own libraries, of the folder that it names in the registry and no
// other. They are loaded on first use and stay loaded as long as the object lives. Nothing of
// HotSync changes but by the members that install and remove.
//
// Creator ids are four characters of the handheld's code page, and case counts. Members that can
// fail take a `message`: it becomes what the user must know, in whole sentences, and stays empty
// when there is nothing to tell.
class cHotSync {
 public:
  // Of the COM class that HotSync creates for each of Pylon's conduits.
  static constexpr char16_t kComClass[] = u"Pylon.cPalmSync";

  static constexpr char16_t kNotInstalled[] = u"HotSync is not Installed.";

  struct Conduit {
    std::u16string creator_id;
    std::u16string app_id;     // kept with the conduit, which is found by it again
    std::u16string title;      // what HotSync shows; characters that it can't show become '?'
    std::u16string directory;  // the conduit's folder in that of the HotSync user, a name
    std::u16string file;       // its file there, a name
    unsigned priority = hotsync::kUsualPriority;  // 0, called first, to 4
  };
  struct Registered {
    std::u16string creator_id;
    std::u16string app_id;  // of our own conduits; may be empty
    std::u16string title;   // or the name of its library
    bool ours = false;
  };

  // The folder of `program_path` is where the applications' folders lie. The code page outlives the
  // object.
  cHotSync(const std::u16string& program_path, const AnsiCodePage& code_page);
  ~cHotSync();
  cHotSync(const cHotSync&) = delete;
  cHotSync& operator=(const cHotSync&) = delete;

  bool IsInstalled() const { return !Folder().empty(); }
  // Where HotSync's libraries lie, without a trailing backslash; empty when it isn't installed.
  std::u16string Folder() const;

  // False, and why in `message`, when this is no creator id.
  bool IsCreatorId(std::u16string_view creator_id, std::u16string& message) const;
  // The conduit that is registered for a creator id, whoever's it is. Nothing with an empty message
  // when there is none, with a message when HotSync can't be asked.
  std::optional<Registered> FindConduit(std::u16string_view creator_id, std::u16string& message);
  // Our conduits that were registered under an application id; nothing when HotSync can't be asked.
  std::optional<std::vector<Registered>> FindConduits(std::u16string_view app_id,
                                                      std::u16string& message);
  static std::u16string TakenText(const Registered& holder);  // a sentence for the user
  // False when HotSync can't be asked, too.
  bool IsConduitInstalled(std::u16string_view creator_id);

  // A conduit of ours gets the new values, and what it was under another creator id before is
  // removed; one of somebody else is left alone, and the message says whose it is. A conduit that
  // could not be registered as a whole is not registered at all; one that was stays so. There may
  // be a message when it was done, too.
  bool InstallConduit(const Conduit& conduit, std::u16string& message);
  // True when no conduit of ours is registered afterwards; somebody else's is left alone.
  bool UninstallConduit(std::u16string_view creator_id, std::u16string& message);

  // The people whose handhelds synchronize with this PC; nothing when HotSync can't be asked.
  std::optional<std::vector<std::u16string>> Users(std::u16string& message);
  // Has HotSync install files on the handheld of a user the next time. Their names are separated by
  // commas and count from the folder `app_id` beside the program. An empty user is the only one
  // there is. Nothing is handed over unless all files are there.
  bool InstallApplication(std::u16string_view app_id, std::u16string_view files,
                          std::u16string_view user, std::u16string& message);

 private:
  template <class Library>
  const Library* Use(std::unique_ptr<Library>& library, std::u16string& message) const;
  const ConduitManagerLibrary* Manager(std::u16string& message);

  std::string CreatorBytes(std::u16string_view creator_id) const;
  std::optional<std::vector<std::string>> Creators(std::u16string& message);
  // With the manager loaded. Who holds a creator id decides what may be done to it, so nothing when
  // that can't be read.
  std::optional<Registered> Describe(const std::string& creator, std::u16string& message) const;
  int SetValues(const std::string& creator, const Conduit& conduit, const char*& failed) const;
  void RemoveOthers(const Conduit& conduit, std::u16string& message);
  void TellHotSync(std::u16string& message);
  std::optional<std::u16string> ChooseUser(std::u16string_view user, std::u16string& message);

  std::u16string program_folder_;
  const AnsiCodePage& code_page_;
  std::unique_ptr<ConduitManagerLibrary> manager_;
  std::unique_ptr<HotSyncApiLibrary> api_;
  std::unique_ptr<InstallAideLibrary> aide_;
};

}  // namespace pylon

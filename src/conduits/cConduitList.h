#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "conduits/ConduitComponent.h"
#include "conduits/SettingsKeys.h"
#include "files/cFileIO.h"

namespace pylon {

// The registered conduits: a section each of "Pylon.ini" in the program's folder, except the
// program's own sections General and Pylon. Each component is created once, and released, to
// describe itself whenever the list is read.
//
// Entries are in the order of their sections, indexes run from 1 to Count; another index raises
// error 9. Look-ups answer 0 for what is not there and ignore case. Borrows factory and code page.
class cConduitList {
 public:
  static constexpr char16_t kFileName[] = u"Pylon.ini";

  enum class Reading { kNow, kLater };  // later: the list is empty until Reload

  cConduitList(std::u16string program_folder, ComponentFactory& components,
               const AnsiCodePage& code_page, Reading reading = Reading::kNow);

  std::u16string FileName();
  // Why the file could not be read, which leaves the list empty or short; empty when it was, and
  // when there is none. A file that begins with UTF-8's byte order mark and a section is refused.
  const std::u16string& LoadError() const noexcept { return load_error_; }
  int16_t FindAppId(std::u16string_view AppId) const;
  int16_t FindAppIdFromCreatorId(std::u16string_view CreatorId) const;  // the first
  int16_t Count() const noexcept { return static_cast<int16_t>(entries_.size()); }

  const std::u16string& AppId(int16_t index) const { return At(index).app_id; }
  // "No Longer Compatible" when the component can't be created or isn't a conduit.
  const std::u16string& ApplicationName(int16_t index) const { return At(index).application_name; }
  const std::u16string& Author(int16_t index) const { return At(index).author; }
  const std::u16string& ClassId(int16_t index) const { return At(index).class_id; }
  const std::u16string& CreatorId(int16_t index) const { return At(index).creator_id; }
  const std::u16string& Icon(int16_t index) const { return At(index).icon; }
  // Why the component could not be created or asked; empty when it could, or has no class.
  const std::u16string& Failure(int16_t index) const { return At(index).failure; }
  // These are read from the file now.
  std::u16string PPCInstall(int16_t index) { return Setting(index, settings::kPpcInstall); }
  std::u16string PalmInstall(int16_t index) { return Setting(index, settings::kPalmInstall); }
  std::u16string CePath(int16_t index) { return Setting(index, settings::kCePath); }
  std::u16string PCPath(int16_t index);  // the component's application path comes first
  const std::u16string& Version(int16_t index) const { return At(index).version; }
  // The full path of the folder that a sync with PC files uses.
  std::u16string PCFolder(int16_t index);
  bool ShowLogMsg(int16_t index) { return Setting(index, settings::kShowLog) == u"1"; }

  // Of the program, in the section Pylon.
  std::u16string GetSettings(std::u16string_view key, std::u16string_view default_value);
  std::u16string GetSettings(const SettingsKey& key) { return GetSettings(key.name, {}); }
  // False when it could not be written; error 5 for text that the file can't hold.
  bool SaveSettings(std::u16string_view key, std::u16string_view value);

  // Reads the file and asks the components again. They may pump messages meanwhile; the list is the
  // old one until all have answered. `keep_going` is asked before each and may pump messages too:
  // once it answers false, the others are not asked, which is then their Failure.
  void Reload(const std::function<bool()>& keep_going = {});
  bool IsRead() const noexcept { return read_; }  // once at least

 private:
  struct Entry {
    std::u16string app_id;
    std::u16string author;
    std::u16string application_name;
    std::u16string class_id;
    std::u16string creator_id;
    std::u16string icon;
    std::u16string app_path;
    std::u16string version;
    std::u16string failure;
  };

  std::vector<Entry> ReadSections();
  void TakeLoadError();
  std::u16string ClassIdOf(const Entry& entry);
  void Describe(Entry& entry);
  const Entry& At(int16_t index) const;
  std::u16string Setting(int16_t index, const SettingsKey& key);
  int16_t Find(std::u16string Entry::*field, std::u16string_view value) const;

  std::u16string program_folder_;
  ComponentFactory* components_;
  std::u16string utf8_mark_;  // as text of the code page
  cFileIO file_;              // names the settings file; open only while its sections are read
  std::vector<Entry> entries_;
  std::u16string load_error_;
  bool read_ = false;
};

}  // namespace pylon

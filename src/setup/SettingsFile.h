#pragma once

#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"
#include "setup/Phrase.h"
#include "setup/SettingsText.h"

namespace pylon {

// Adds sections to an INI file and takes them out, all or nothing: the new text is written beside
// the file and takes its place, and everything else in it stays as it is, in its own encoding. A
// section that the code page lacks characters for makes the file UTF-16.
//
// Members answer why the file was not changed; nothing when it was.
class SettingsFile {
 public:
  // The code page outlives the object.
  SettingsFile(std::u16string path, const AnsiCodePage& code_page)
      : path_(std::move(path)), code_page_(code_page) {}

  Phrase AddSection(std::u16string_view section, const SettingsEntries& entries) const;
  Phrase RemoveSection(std::u16string_view section) const;

 private:
  template <class Edit>
  Phrase Change(Edit&& edit) const;

  std::u16string path_;
  const AnsiCodePage& code_page_;
};

}  // namespace pylon

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "files/CursorFile.h"

namespace pylon {

// One key of an INI section and its value.
struct IniEntry {
  std::u16string key;
  std::u16string value;
};

// A file on the PC's own disks or shares, with INI members beside those of CursorFile.
class cFileIO final : public CursorFile {
 public:
  // The folder is that of names without one. The code page outlives the object.
  cFileIO(std::u16string program_folder, const AnsiCodePage& code_page);

  // To the recycle bin, or away for good; only with Confirm may the shell ask the user.
  bool Recycle(RecycleAction Action, bool Confirm);

  // INI members work on the file of the full file name, closed. A file that another program holds
  // is waited for, half a second at most; as long as it stays held, later calls try once.
  //
  // The value without outer blanks and one pair of outer quotes; Default when the key is missing.
  std::u16string ReadINI(std::u16string_view Section, std::u16string_view ItemName,
                         std::u16string_view Default);
  std::vector<IniEntry> ReadINISection(std::u16string_view Section);  // 32,767 characters at most
  // False when nothing was written: the file can't be, or its lines can't hold the text. A file
  // that is missing or in the code page becomes UTF-16 when the text needs it.
  bool WriteIni(std::u16string_view Section, std::u16string_view ItemName,
                std::u16string_view Value);
  bool DeleteIni(std::u16string_view Section, std::u16string_view ItemName);
  bool DeleteIniAll(std::u16string_view Section);  // the section's keys

 private:
  enum class IniAccess { kRead, kWrite };

  // Runs an action on the closed INI file; it gets the full path and returns a Windows error code.
  // Tried again while another program holds the file. Returns the error code.
  using IniAction = std::function<unsigned long(const std::u16string& path)>;
  unsigned long OnIni(IniAccess access, const IniAction& action);

  bool ini_gave_up_ = false;  // the last wait for the INI file was without success
};

}  // namespace pylon

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "base/Date.h"
#include "files/CursorFile.h"
#include "files/RapiConnection.h"
#include "files/cFileIO.h"

namespace pylon {

// A file on a handheld, each operation a call over the remote API. Like cFileIO except for this:
//
// - "W" empties the file when it is opened.
// - Temporary files are in the device's "\TEMP\", under a name that is new on the PC.
// - There is no recycle bin, and no INI file can be read or written.
// - Replacing a file takes more than one step; see RapiFileCalls::Replace.
//
// Failures carry the link's HRESULT or the device's own error number; a link that is gone reads
// "Connection to ActiveSync has been closed.". Without a connection every operation fails so.
class cFileRAPI final : public CursorFile {
 public:
  // The code page outlives the object. Names without a folder are in the device's root.
  cFileRAPI(std::shared_ptr<RapiConnection> connection, const AnsiCodePage& code_page);

  // False, and the file stays, when it shall go to a recycle bin. Nobody is asked.
  bool Recycle(RecycleAction Action, bool Confirm);

  // All raise an error with the last failure's number (0 when there is none) and a source that
  // begins with "IniFile::".
  std::u16string ReadINI(std::u16string_view Section, std::u16string_view ItemName,
                         std::u16string_view Default);
  std::vector<IniEntry> ReadINISection(std::u16string_view Section);
  bool WriteIni(std::u16string_view Section, std::u16string_view ItemName,
                std::u16string_view Value);
  bool DeleteIni(std::u16string_view Section, std::u16string_view ItemName);
  bool DeleteIniAll(std::u16string_view Section);

  // The device's date and time, which the remote API reports only as the time of a new file: makes
  // one and deletes it. Nothing, and the failure in ReadErrorHandler, when it is not available.
  std::optional<Date> DeviceTime();

 private:
  [[noreturn]] void ThrowIniError(std::u16string_view source, std::u16string_view what);
};

}  // namespace pylon

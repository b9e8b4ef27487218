#pragma once

#include <string>
#include <string_view>

#include "base/AnsiCodePage.h"

namespace pylon {

// ActiveSync on this PC: whether it is there, the conduits that it starts when a Pocket PC
// connects, and its application manager.
//
// All of it is kept in HKEY_LOCAL_MACHINE, so it holds for every user, and changes need the rights
// of an administrator. A program of 32 bits sees the registry's 32-bit view, as everywhere. Members
// answer false when something can't be done and show nothing.
class cActiveSync {
 public:
  // `program_path` is the executable that ActiveSync starts. The code page outlives the object.
  cActiveSync(std::u16string program_path, const AnsiCodePage& code_page);

  bool IsInstalled() const;

  // The value reads back as the opposite: setting true stores 0, and true is read from 1.
  bool GuestMode() const;
  bool SetGuestMode(bool guest);

  bool IsConduitInstalled(std::u16string_view AppId) const;
  // A conduit that is registered already stays as it is, with the program's path of that time.
  bool InstallConduit(std::u16string_view AppId);
  // True when the conduit is not registered afterwards.
  bool UninstallConduit(std::u16string_view AppId);
  // The value that InstallConduit stores.
  std::u16string ConduitCommand(std::u16string_view AppId) const;

  // Describes the application in "CeInstall.ini" of the folder `component` beside the program and
  // starts the application manager with it. CAB files are separated by commas; their names count
  // from that folder. False when there is none, the file can't be written, or the manager is
  // missing or doesn't start.
  //
  // The file's format: https://learn.microsoft.com/previous-versions/bb158614(v=msdn.10)
  bool InstallApplication(std::u16string_view component, std::u16string_view description,
                          std::u16string_view cab_files);

 private:
  bool DescribeApplication(const std::u16string& file, std::u16string_view component,
                           std::u16string_view description, std::u16string_view cab_files) const;

  std::u16string program_path_;
  std::u16string program_folder_;
  const AnsiCodePage& code_page_;
};

}  // namespace pylon

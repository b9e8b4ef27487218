#pragma once

#include "base/AnsiCodePage.h"
#include "conduits/StoreFile.h"

namespace pylon {

// Makes store files on the PC's disks. A file that another process holds is waited for as
// cFileIO does. The code page is borrowed.
StoreFileFactory IniStoreFiles(const AnsiCodePage& code_page);

}  // namespace pylon

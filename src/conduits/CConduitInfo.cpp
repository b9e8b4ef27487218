#include "conduits/CConduitInfo.h"

namespace pylon {

CConduitInfo::CConduitInfo(const AnsiCodePage& code_page) : store_(u"AppStore.ini", code_page) {}

void CConduitInfo::SetAppFolder(std::u16string_view folder) {
  app_folder_ = folder;
  store_.SetFolder(folder);
}

}  // namespace pylon

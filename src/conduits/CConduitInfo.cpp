#include "conduits/CConduitInfo.h"

#include <utility>

namespace pylon {

CConduitInfo::CConduitInfo(const AnsiCodePage& code_page, std::shared_ptr<LogSink> log)
    : store_(u"AppStore.ini", code_page, std::move(log)) {}

void CConduitInfo::SetAppFolder(std::u16string_view folder) {
  app_folder_ = folder;
  store_.SetFolder(folder);
}

}  // namespace pylon

#include "conduits/CConduitInfo.h"

#include <utility>

namespace pylon {

CConduitInfo::CConduitInfo(const StoreFileFactory& files, std::shared_ptr<LogSink> log)
    : store_(files(u"AppStore.ini"), std::move(log)) {}

void CConduitInfo::SetAppFolder(std::u16string_view folder) {
  app_folder_ = folder;
  store_.SetFolder(folder);
}

}  // namespace pylon

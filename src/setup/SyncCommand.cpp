#include "setup/SyncCommand.h"

namespace pylon {

std::optional<std::u16string> SyncArguments(std::u16string_view app_id) {
  if (app_id.empty() || app_id.front() == u'-' || app_id.front() == u'/' ||
      app_id.find(u'"') != std::u16string_view::npos) {
    return std::nullopt;
  }
  return u"-AppId \"" + std::u16string(app_id) + u"\" -Database 4";
}

}  // namespace pylon

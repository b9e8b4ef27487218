#include "automation/Server.h"

#include <utility>

namespace pylon {

Server::Server(std::u16string type_library_path, const AnsiCodePage& code_page, const Clock& clock,
               FileFactory files)
    : types_(std::move(type_library_path)),
      code_page_(&code_page),
      clock_(&clock),
      files_(std::move(files)) {}

void Server::RemoveClient() noexcept {
  if (--clients_ == 0 && on_idle_) on_idle_();
}

}  // namespace pylon

#include "base/Text.h"
#include "setup/ComponentRegistration.h"

namespace pylon {
namespace {

constexpr std::u16string_view kProgram = u".exe";

bool EndsWith(std::u16string_view text, std::u16string_view end) noexcept {
  return text.size() > end.size() && EqualsIgnoringCase(text.substr(text.size() - end.size()), end);
}

}  // namespace

std::optional<RegistrationCommand> CommandToRegister(std::u16string_view file,
                                                     std::u16string_view system_folder) {
  if (file.find(u'"') != file.npos) return std::nullopt;
  const std::u16string name(file);
  if (EndsWith(file, kProgram)) return RegistrationCommand{name, u"/regserver"};
  if (!EndsWith(file, u".dll") && !EndsWith(file, u".ocx")) return std::nullopt;
  return RegistrationCommand{std::u16string(system_folder) + u"\\regsvr32.exe",
                             u"/s \"" + name + u"\""};
}

std::u16string ServerFile(std::u16string_view registered) {
  const std::u16string_view text = Trim(registered);
  if (text.starts_with(u'"')) {
    return std::u16string(text.substr(1, text.substr(1).find(u'"')));
  }
  // Arguments follow a program without quotes too; blanks in its folders don't end it.
  const size_t program = ToLower(text).find(u".exe ");
  return std::u16string(text.substr(0, program == text.npos ? program : program + kProgram.size()));
}

}  // namespace pylon

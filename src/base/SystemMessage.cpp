#include "base/SystemMessage.h"

#include <algorithm>

#include "base/Text.h"

namespace pylon {

std::u16string SystemMessage(DWORD code) {
  LocalText text;
  const DWORD length = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, 0, reinterpret_cast<wchar_t*>(text.Receive()), 0, nullptr);
  std::u16string message = FromWide({text.get() ? text.get() : L"", length});
  message.resize(message.find_last_not_of(u"\r\n ") + 1);
  return message;
}

std::u16string SystemReason(DWORD code) {
  std::u16string reason = SystemMessage(code);
  std::erase(reason, u'\r');
  std::replace(reason.begin(), reason.end(), u'\n', u' ');
  if (!reason.empty()) reason += u' ';
  return reason + u'(' + ToText(code) + u')';
}

}  // namespace pylon

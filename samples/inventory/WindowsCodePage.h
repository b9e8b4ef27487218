#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "Text.h"

namespace inventory {

// The system's code page, or Windows-1252 where that is UTF-8: what is no UTF-8 can't be that.
class WindowsCodePage final : public CodePage {
 public:
  std::u16string Decode(std::string_view bytes) const override {
    const UINT code_page = ::GetACP() == CP_UTF8 ? 1252 : ::GetACP();
    std::u16string text(bytes.size(), u'\0');
    const int length = ::MultiByteToWideChar(
        code_page, 0, bytes.data(), static_cast<int>(bytes.size()),
        reinterpret_cast<wchar_t*>(text.data()), static_cast<int>(text.size()));
    text.resize(static_cast<size_t>(length));
    return text;
  }
};

}  // namespace inventory

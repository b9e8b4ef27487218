#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

#include "Text.h"

namespace sample {

// Text as Windows sees it: the system's code page, or Windows-1252 where that is UTF-8, which no
// handheld knows.
class WindowsText final : public SystemText {
 public:
  WindowsText() : code_page_(::GetACP() == CP_UTF8 ? 1252 : ::GetACP()) {}

  std::u16string Decode(std::string_view bytes) const override;
  std::optional<std::string> Encode(std::u16string_view text) const override;
  std::u16string FoldCase(std::u16string_view text) const override;

 private:
  UINT code_page_;
};

}  // namespace sample

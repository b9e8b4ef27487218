#include "WindowsText.h"

namespace sample {

std::u16string WindowsText::Decode(std::string_view bytes) const {
  std::u16string text(bytes.size(), u'\0');
  const int length =
      ::MultiByteToWideChar(code_page_, 0, bytes.data(), static_cast<int>(bytes.size()),
                            reinterpret_cast<wchar_t*>(text.data()), static_cast<int>(text.size()));
  text.resize(static_cast<size_t>(length));
  return text;
}

std::optional<std::string> WindowsText::Encode(std::u16string_view text) const {
  if (text.empty()) return std::string();
  std::string bytes(2 * text.size(), '\0');
  BOOL lacking = FALSE;
  const int length = ::WideCharToMultiByte(code_page_, WC_NO_BEST_FIT_CHARS,
                                           reinterpret_cast<const wchar_t*>(text.data()),
                                           static_cast<int>(text.size()), bytes.data(),
                                           static_cast<int>(bytes.size()), nullptr, &lacking);
  if (length == 0 || lacking) return std::nullopt;
  bytes.resize(static_cast<size_t>(length));
  return bytes;
}

std::u16string WindowsText::FoldCase(std::u16string_view text) const {
  std::u16string folded(text);
  ::CharUpperBuffW(reinterpret_cast<wchar_t*>(folded.data()), static_cast<DWORD>(folded.size()));
  return folded;
}

}  // namespace sample

#include "setup/Texts.h"

#include "base/Win32.h"

namespace pylon {

std::u16string LoadText(int id) {
  // Without a buffer the system hands out the resource itself, whatever its length.
  const wchar_t* text = nullptr;
  const int length = ::LoadStringW(::GetModuleHandleW(nullptr), static_cast<UINT>(id),
                                   reinterpret_cast<wchar_t*>(&text), 0);
  return length > 0 ? FromWide({text, static_cast<size_t>(length)}) : std::u16string();
}

std::u16string LoadText(int id, std::u16string_view detail) {
  std::u16string text = LoadText(id);
  if (const size_t place = text.find(u"%1"); place != text.npos) text.replace(place, 2, detail);
  return text;
}

std::u16string LoadText(const Phrase& phrase) {
  return phrase ? LoadText(phrase.id, phrase.detail) : std::u16string();
}

}  // namespace pylon

#include "files/RegistryObject.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <type_traits>

#include "base/Com.h"
#include "base/Text.h"
#include "files/AnsiText.h"

namespace pylon {
namespace {

using win::FromAnsi;
using win::ToAnsi;

HKEY ToKey(RegistryObject::KeyHandle key) noexcept { return std::bit_cast<HKEY>(key); }

// Names of keys and values end at a NUL: text with one inside would name something else.
std::optional<std::string> NameToAnsi(std::u16string_view name) {
  return name.find(u'\0') == name.npos ? ToAnsi(name) : std::nullopt;
}

struct Stored {
  DWORD type = REG_NONE;
  std::string data;
};

// Nothing for a value that is missing, can't be read or has no bytes.
std::optional<Stored> Read(HKEY key, const std::string& name) {
  Stored stored;
  DWORD size = 0;
  LSTATUS status = ::RegQueryValueExA(key, name.c_str(), nullptr, &stored.type, nullptr, &size);
  if (status != ERROR_SUCCESS) return std::nullopt;
  // Again when another program makes the value longer in between.
  do {
    if (size == 0) return std::nullopt;
    stored.data.resize(size_t{size} + 2);
    size = static_cast<DWORD>(stored.data.size());
    status = ::RegQueryValueExA(key, name.c_str(), nullptr, &stored.type,
                                reinterpret_cast<BYTE*>(stored.data.data()), &size);
  } while (status == ERROR_MORE_DATA);
  if (status != ERROR_SUCCESS || size == 0) return std::nullopt;
  stored.data.resize(std::min<size_t>(size, stored.data.size()));
  return stored;
}

// The number in the bytes, least significant first. The registry stores any length under any type.
uint32_t NumberIn(std::string_view data) noexcept {
  uint32_t number = 0;
  for (size_t i = 0; i < std::min<size_t>(data.size(), 4); ++i) {
    number |= uint32_t{static_cast<uint8_t>(data[i])} << (8 * i);
  }
  return number;
}

RegistryValue FromBinary(std::string_view data) {
  const uint32_t number = NumberIn(data);
  switch (data.size()) {
    case 4:
      return TaggedValue(static_cast<int32_t>(number));
    case 2:
      return TaggedValue(static_cast<int16_t>(number));
    case 1:
      return TaggedValue(static_cast<uint8_t>(number));
    default:
      const auto* const bytes = reinterpret_cast<const std::byte*>(data.data());
      return Bytes(bytes, bytes + data.size());
  }
}

RegistryValue FromStored(const Stored& stored) {
  std::string_view data = stored.data;
  switch (stored.type) {
    case REG_MULTI_SZ:
      return RegistryObject::GetMultiSZ(FromAnsi(data));
    case REG_BINARY:
      return FromBinary(data);
    case REG_DWORD:
      return TaggedValue(static_cast<int32_t>(NumberIn(data)));
    default:
      // The NUL counts as part of a text, but not every program stores it.
      if (data.ends_with('\0')) data.remove_suffix(1);
      return TaggedValue(FromAnsi(data));
  }
}

std::u16string UserText(const TaggedValue& value) {
  com::Variant variant;
  if (const auto* single = std::get_if<float>(&value)) {
    V_VT(variant.get()) = VT_R4;
    V_R4(variant.get()) = *single;
  } else if (const auto* number = std::get_if<double>(&value)) {
    V_VT(variant.get()) = VT_R8;
    V_R8(variant.get()) = *number;
  } else if (const auto* amount = std::get_if<Currency>(&value)) {
    V_VT(variant.get()) = VT_CY;
    V_CY(variant.get()).int64 = amount->scaled;
  } else if (const auto* date = std::get_if<DateStamp>(&value)) {
    V_VT(variant.get()) = VT_DATE;
    V_DATE(variant.get()) = date->value;
  }
  if (FAILED(::VariantChangeType(variant.get(), variant.get(), 0, VT_BSTR))) return {};
  return com::Text(V_BSTR(variant.get()));
}

LSTATUS Write(HKEY key, std::u16string_view name, DWORD type, const void* data, size_t size) {
  const auto ansi = NameToAnsi(name);
  if (!ansi) return ERROR_NO_UNICODE_TRANSLATION;
  return ::RegSetValueExA(key, ansi->c_str(), 0, type, static_cast<const BYTE*>(data),
                          static_cast<DWORD>(size));
}

// With a NUL behind the text.
LSTATUS WriteText(HKEY key, std::u16string_view name, DWORD type, std::u16string_view text) {
  const auto ansi = ToAnsi(text);
  if (!ansi) return ERROR_NO_UNICODE_TRANSLATION;
  return Write(key, name, type, ansi->c_str(), ansi->size() + 1);
}

LSTATUS WriteTexts(HKEY key, std::u16string_view name, const std::vector<std::u16string>& texts) {
  std::u16string raw = RegistryObject::ToMultiSZ(texts);
  raw.pop_back();
  return WriteText(key, name, REG_MULTI_SZ, raw);
}

LSTATUS WriteTagged(HKEY key, std::u16string_view name, const TaggedValue& value) {
  return std::visit(
      [&](const auto& content) {
        using Content = std::decay_t<decltype(content)>;
        if constexpr (std::is_same_v<Content, bool> || std::is_same_v<Content, uint8_t>) {
          const uint8_t byte = content;
          return Write(key, name, REG_BINARY, &byte, sizeof(byte));
        } else if constexpr (std::is_same_v<Content, int16_t> || std::is_same_v<Content, int32_t>) {
          const int32_t number = content;
          return Write(key, name, REG_DWORD, &number, sizeof(number));
        } else if constexpr (std::is_same_v<Content, std::u16string>) {
          return WriteText(key, name, REG_SZ, content);
        } else {
          return WriteText(key, name, REG_SZ, UserText(value));
        }
      },
      value);
}

}  // namespace

bool IsEmpty(const RegistryValue& value) noexcept {
  const auto* const tagged = std::get_if<TaggedValue>(&value);
  if (!tagged) return false;
  const auto* const text = std::get_if<std::u16string>(tagged);
  return text ? text->empty() : std::holds_alternative<std::monostate>(*tagged);
}

std::u16string TextIn(const RegistryValue& value) {
  const auto* const tagged = std::get_if<TaggedValue>(&value);
  const auto* const text = tagged ? std::get_if<std::u16string>(tagged) : nullptr;
  return text ? *text : std::u16string();
}

RegistryObject::KeyHandle RegistryObject::OpenKey(KeyHandle parent, std::u16string_view path,
                                                  bool read_only) {
  const auto ansi = NameToAnsi(path);
  if (!ansi) return kNoKey;
  HKEY key = nullptr;
  const LSTATUS status =
      ::RegCreateKeyExA(ToKey(parent), ansi->c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                        read_only ? KEY_READ : KEY_ALL_ACCESS, nullptr, &key, nullptr);
  return status == ERROR_SUCCESS ? std::bit_cast<KeyHandle>(key) : kNoKey;
}

void RegistryObject::CloseKey(KeyHandle key) noexcept { ::RegCloseKey(ToKey(key)); }

RegistryValue RegistryObject::GetValue(KeyHandle key, std::u16string_view name,
                                       const RegistryValue& default_value) {
  const auto ansi = NameToAnsi(name);
  const auto stored = ansi ? Read(ToKey(key), *ansi) : std::nullopt;
  if (stored) return FromStored(*stored);
  const auto* const tagged = std::get_if<TaggedValue>(&default_value);
  const bool has_default = !tagged || !std::holds_alternative<std::monostate>(*tagged);
  // A key that may not be written gives the default all the same.
  if (has_default) SetValue(key, name, default_value);
  return default_value;
}

std::vector<std::u16string> RegistryObject::GetMultiSZ(std::u16string_view raw) {
  std::vector<std::u16string> texts;
  size_t start = 0;
  for (size_t end; (end = raw.find(u'\0', start)) != raw.npos; start = end + 1) {
    texts.emplace_back(raw.substr(start, end - start));
  }
  if (start < raw.size()) {
    texts.emplace_back(raw.substr(start));
  } else if (!texts.empty() && texts.back().empty()) {
    texts.pop_back();  // the NUL that ends the whole
  }
  return texts;
}

std::u16string RegistryObject::ToMultiSZ(const std::vector<std::u16string>& texts) {
  std::u16string raw;
  for (const std::u16string& text : texts) raw += text + u'\0';
  return raw + u'\0';
}

int32_t RegistryObject::SetValue(KeyHandle key, std::u16string_view name,
                                 const RegistryValue& value) {
  if (const auto* const texts = std::get_if<std::vector<std::u16string>>(&value)) {
    return WriteTexts(ToKey(key), name, *texts);
  }
  if (const auto* const bytes = std::get_if<Bytes>(&value)) {
    std::vector<std::u16string> numbers;
    for (const std::byte byte : *bytes) numbers.push_back(ToText(std::to_integer<int>(byte)));
    return WriteTexts(ToKey(key), name, numbers);
  }
  return WriteTagged(ToKey(key), name, std::get<TaggedValue>(value));
}

int32_t RegistryObject::DeleteValue(KeyHandle key, std::u16string_view name) {
  const auto ansi = NameToAnsi(name);
  return ansi ? ::RegDeleteValueA(ToKey(key), ansi->c_str()) : ERROR_NO_UNICODE_TRANSLATION;
}

int32_t RegistryObject::DeleteKey(KeyHandle parent, std::u16string_view name) {
  const auto ansi = NameToAnsi(name);
  return ansi ? ::RegDeleteKeyA(ToKey(parent), ansi->c_str()) : ERROR_NO_UNICODE_TRANSLATION;
}

bool RegistryObject::CanStore(std::u16string_view text) { return ToAnsi(text).has_value(); }

}  // namespace pylon

// condmgr.dll: the conduits are keys of the registry.

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "Call.h"
#include "Errors.h"
#include "Registry.h"

using palm::Answer;
using palm::QuotedText;

namespace {

constexpr char kCreator[] = "Creator";
constexpr char kPriority[] = "Priority";
constexpr char kConduit[] = "Conduit";
constexpr char kTitle[] = "Title";
constexpr char kDirectory[] = "Directory";
constexpr char kFile[] = "File";
constexpr uint32_t kLastPriority = 4;
constexpr int kLastType = 1;

// Four bytes, the first one the highest.
std::optional<uint32_t> CreatorNumber(const char* creator) {
  if (!creator || std::strlen(creator) != 4) return std::nullopt;
  uint32_t number = 0;
  for (int i = 0; i < 4; ++i) number = number << 8 | static_cast<unsigned char>(creator[i]);
  return number;
}

std::optional<std::string> FindKey(uint32_t creator) {
  for (const palm::Component& component : palm::Components()) {
    if (component.creator == creator) return component.key;
  }
  return std::nullopt;
}

// The function of the conduit's key; the error otherwise.
template <class Function>
int WithConduit(const char* creator, Function function) {
  const auto number = CreatorNumber(creator);
  if (!number) return palm::kInvalidCreator;
  const auto name = FindKey(*number);
  if (!name) return palm::kNoConduit;
  const palm::Key key = palm::OpenDesktop(*name);
  return key ? function(key, *name) : palm::kRegistryAccess;
}

int Give(const std::string& text, char* buffer, int* size) {
  if (!size) return palm::kInvalidPointer;
  const int needed = static_cast<int>(text.size() + 1);
  const bool fits = buffer && *size >= needed;
  *size = needed;
  if (!fits) return palm::kBufferTooSmall;
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return palm::kDone;
}

int SetText(const char* function, const char* creator, const char* name, const char* text) {
  const std::string arguments =
      QuotedText(creator) + " " + QuotedText(name) + " " + QuotedText(text);
  return static_cast<int>(Answer(function, arguments, [&] {
    if (!name || !text) return palm::kInvalidPointer;
    return WithConduit(creator, [&](const palm::Key& key, const std::string&) {
      return key.SetText(name, text) ? palm::kDone : palm::kRegistryAccess;
    });
  }));
}

int GetText(const char* function, const char* creator, const char* name, char* buffer, int* size,
            const char* default_text) {
  return static_cast<int>(Answer(function, QuotedText(creator) + " " + QuotedText(name), [&] {
    if (!name) return palm::kInvalidPointer;
    return WithConduit(creator, [&](const palm::Key& key, const std::string&) {
      const auto text = key.Text(name);
      if (!text && !default_text) return palm::kValueNotFound;
      return Give(text ? *text : default_text, buffer, size);
    });
  }));
}

int Install(const char* creator, int type) {
  const auto number = CreatorNumber(creator);
  if (!number) return palm::kInvalidCreator;
  if (type < 0 || type > kLastType) return palm::kInvalidType;
  if (FindKey(*number)) return palm::kCreatorTaken;
  int free = 0;
  while (palm::OpenDesktop("Component" + std::to_string(free))) ++free;
  const palm::Key key = palm::CreateDesktop("Component" + std::to_string(free));
  const bool made = key && key.SetNumber(kCreator, *number) &&
                    key.SetNumber("Type", static_cast<uint32_t>(type)) &&
                    key.SetText("Name", creator) && key.SetNumber(kPriority, 2);
  return made ? palm::kDone : palm::kRegistryAccess;
}

}  // namespace

extern "C" {

int WINAPI CmGetConduitCount() {
  return static_cast<int>(
      Answer("CmGetConduitCount", "", [] { return static_cast<int>(palm::Components().size()); }));
}

int WINAPI CmGetConduitCreatorID(int index, char* creator, int* size) {
  return static_cast<int>(Answer("CmGetConduitCreatorID", std::to_string(index), [&] {
    const auto components = palm::Components();
    if (index < 0 || static_cast<size_t>(index) >= components.size()) return palm::kIndexOutOfRange;
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
      text += static_cast<char>(components[static_cast<size_t>(index)].creator >> shift & 0xFF);
    }
    return Give(text, creator, size);
  }));
}

int WINAPI CmInstallCreator(const char* creator, int type) {
  return static_cast<int>(Answer("CmInstallCreator",
                                 QuotedText(creator) + " " + std::to_string(type),
                                 [&] { return Install(creator, type); }));
}

int WINAPI CmRemoveConduitByCreatorID(const char* creator) {
  return static_cast<int>(Answer("CmRemoveConduitByCreatorID", QuotedText(creator), [&] {
    return WithConduit(creator, [](const palm::Key&, const std::string& name) {
      return palm::RemoveDesktop(name) ? palm::kDone : palm::kUnableToDelete;
    });
  }));
}

int WINAPI CmSetCreatorPriority(const char* creator, DWORD priority) {
  const std::string arguments = QuotedText(creator) + " " + std::to_string(priority);
  return static_cast<int>(Answer("CmSetCreatorPriority", arguments, [&] {
    return WithConduit(creator, [&](const palm::Key& key, const std::string&) {
      const uint32_t kept = priority > kLastPriority ? kLastPriority : priority;
      return key.SetNumber(kPriority, kept) ? palm::kDone : palm::kRegistryAccess;
    });
  }));
}

int WINAPI CmGetCreatorPriority(const char* creator, DWORD* priority) {
  return static_cast<int>(Answer("CmGetCreatorPriority", QuotedText(creator), [&] {
    if (!priority) return palm::kInvalidPointer;
    return WithConduit(creator, [&](const palm::Key& key, const std::string&) {
      const auto number = key.Number(kPriority);
      if (number) *priority = *number;
      return number ? palm::kDone : palm::kValueNotFound;
    });
  }));
}

#define PALM_TEXT(Property, value)                                                 \
  int WINAPI CmSetCreator##Property(const char* creator, const char* text) {       \
    return SetText("CmSetCreator" #Property, creator, value, text);                \
  }                                                                                \
  int WINAPI CmGetCreator##Property(const char* creator, char* text, int* size) {  \
    return GetText("CmGetCreator" #Property, creator, value, text, size, nullptr); \
  }
PALM_TEXT(Name, kConduit)
PALM_TEXT(Title, kTitle)
PALM_TEXT(Directory, kDirectory)
PALM_TEXT(File, kFile)
#undef PALM_TEXT

int WINAPI CmSetCreatorValueString(const char* creator, const char* value, const char* text) {
  return SetText("CmSetCreatorValueString", creator, value, text);
}

int WINAPI CmGetCreatorValueString(const char* creator, const char* value, char* text, int* size,
                                   const char* default_text) {
  return GetText("CmGetCreatorValueString", creator, value, text, size, default_text);
}

}  // extern "C"

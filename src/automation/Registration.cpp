#include "automation/Registration.h"

#include <array>
#include <bit>
#include <cwchar>
#include <span>
#include <vector>

#include "automation/ClassFactory.h"
#include "base/Registry.h"
#include "base/SystemMessage.h"
#include "base/Text.h"

namespace pylon {
namespace {

// In the import library, but missing from the headers.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib*, OLECHAR*, OLECHAR*);
extern "C" HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID, WORD, WORD, LCID, SYSKIND);

constexpr std::u16string_view kClasses = u"Software\\Classes\\";

std::u16string Braced(REFGUID id) {
  std::array<wchar_t, 64> text = {};
  ::StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  return FromWide(text.data());
}

std::u16string Quoted(const std::u16string& path) { return u"\"" + path + u"\""; }

HKEY Root(RegistrationScope scope) {
  return scope == RegistrationScope::kMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

// The views of the registry in which 32- and 64-bit clients look for classes.
std::span<const REGSAM> Views() {
  static constexpr REGSAM kOne[] = {0};
  static constexpr REGSAM kBoth[] = {KEY_WOW64_64KEY, KEY_WOW64_32KEY};
  SYSTEM_INFO system = {};
  ::GetNativeSystemInfo(&system);
  if (system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_INTEL) return kOne;
  return kBoth;
}

[[noreturn]] void Fail(HRESULT result, const std::u16string& what) {
  throw AutomationError(com::ErrorNumberOf(result), {}, what + u": " + SystemMessage(result));
}

void Require(LSTATUS status, const std::u16string& path) {
  if (status != ERROR_SUCCESS) Fail(HRESULT_FROM_WIN32(static_cast<DWORD>(status)), path);
}

struct LibraryId {
  GUID id;
  WORD major;
  WORD minor;
  LCID locale;
  SYSKIND system;
};

LibraryId IdOf(ITypeLib* library) {
  TLIBATTR* attributes = nullptr;
  com::Check(library->GetLibAttr(&attributes));
  const LibraryId id = {attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum,
                        attributes->lcid, attributes->syskind};
  library->ReleaseTLibAttr(attributes);
  return id;
}

std::u16string ClassPath(const ClassInfo& info) {
  return std::u16string(kClasses) + u"CLSID\\" + Braced(info.id);
}

// Where the system keeps the path of the library, for clients of this program's kind.
std::u16string LibraryPath(const LibraryId& library) {
  std::array<wchar_t, 64> rest = {};  // the numbers are hexadecimal
  std::swprintf(rest.data(), rest.size(), L"\\%x.%x\\%x\\%ls", static_cast<unsigned>(library.major),
                static_cast<unsigned>(library.minor), static_cast<unsigned>(library.locale),
                library.system == SYS_WIN64 ? L"win64" : L"win32");
  return std::u16string(kClasses) + u"TypeLib\\" + Braced(library.id) + FromWide(rest.data());
}

struct RegisteredLibrary {
  com::Ptr<ITypeLib> library;
  std::u16string path;
};

// The type libraries that the program registers: its own, and from the 64-bit program the one for
// 32-bit clients.
std::vector<RegisteredLibrary> Libraries(TypeLibrary& types) {
  std::vector<RegisteredLibrary> libraries = {
      {com::Ptr<ITypeLib>::Share(types.get()), types.path()}};
#ifdef _WIN64
  constexpr int kAs32Bit = REGKIND_NONE | LOAD_TLB_AS_32BIT;
  RegisteredLibrary& other = libraries.emplace_back();
  other.path = types.path() + u"\\2";
  com::Check(
      ::LoadTypeLibEx(Wide(other.path), std::bit_cast<REGKIND>(kAs32Bit), other.library.Receive()));
#endif
  return libraries;
}

void RegisterClass(const ClassInfo& info, const LibraryId& library,
                   const std::u16string& program_path, RegistrationScope scope, REGSAM view) {
  const auto write = [&](const std::u16string& path, const std::u16string& value) {
    Require(WriteRegistryText(Root(scope), path, nullptr, value, view), path);
  };
  const std::u16string path = ClassPath(info);
  const std::u16string prog_id = info.prog_id;
  write(path, prog_id);
  write(path + u"\\LocalServer32", Quoted(program_path));
  write(path + u"\\ProgID", prog_id);
  write(path + u"\\TypeLib", Braced(library.id));
  write(path + u"\\Version", ToText(library.major) + u"." + ToText(library.minor));
  write(path + u"\\Programmable", {});
  write(std::u16string(kClasses) + prog_id, prog_id);
  write(std::u16string(kClasses) + prog_id + u"\\CLSID", Braced(info.id));
}

}  // namespace

RegistrationScope ScopeOfThisProcess() {
  KernelHandle token;
  TOKEN_ELEVATION elevation = {};
  DWORD size = 0;
  const bool elevated =
      ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Receive()) &&
      ::GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof(elevation), &size) &&
      elevation.TokenIsElevated != 0;
  return elevated ? RegistrationScope::kMachine : RegistrationScope::kUser;
}

void RegisterServer(TypeLibrary& types, const std::u16string& program_path,
                    RegistrationScope scope) {
  for (const auto& [library, path] : Libraries(types)) {
    std::u16string text = path;
    auto* const wide = const_cast<wchar_t*>(Wide(text));
    const HRESULT result = scope == RegistrationScope::kMachine
                               ? ::RegisterTypeLib(library.get(), wide, nullptr)
                               : RegisterTypeLibForUser(library.get(), wide, nullptr);
    if (FAILED(result)) Fail(result, u"The type library " + path);
  }

  const LibraryId library = IdOf(types.get());
  for (const REGSAM view : Views()) {
    for (const CreatableClass& creatable : CreatableClasses()) {
      RegisterClass(creatable.info, library, program_path, scope, view);
    }
  }
}

void UnregisterServer(TypeLibrary& types, const std::u16string& program_path,
                      RegistrationScope scope) {
  const HKEY root = Root(scope);
  for (const REGSAM view : Views()) {
    for (const CreatableClass& creatable : CreatableClasses()) {
      const std::u16string path = ClassPath(creatable.info);
      const std::u16string server =
          ReadRegistryText(root, path + u"\\LocalServer32", nullptr, view);
      if (!EqualsIgnoringCase(server, Quoted(program_path))) continue;
      const std::u16string name = std::u16string(kClasses) + creatable.info.prog_id;
      Require(DeleteRegistryTree(root, path, view), path);
      Require(DeleteRegistryTree(root, name, view), name);
    }
  }
  for (const auto& [library, path] : Libraries(types)) {
    const LibraryId id = IdOf(library.get());
    if (!EqualsIgnoringCase(ReadRegistryText(root, LibraryPath(id), nullptr), path)) continue;
    const HRESULT result =
        scope == RegistrationScope::kMachine
            ? ::UnRegisterTypeLib(id.id, id.major, id.minor, id.locale, id.system)
            : UnRegisterTypeLibForUser(id.id, id.major, id.minor, id.locale, id.system);
    if (FAILED(result)) Fail(result, u"The type library " + path);
  }
}

}  // namespace pylon

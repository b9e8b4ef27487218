#include "automation/Registration.h"

#include <array>
#include <bit>
#include <cwchar>
#include <span>
#include <vector>

#include "automation/ClassFactory.h"

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
  throw AutomationError(com::ErrorNumberOf(result), {}, what + u": " + com::SystemMessage(result));
}

void WriteDefault(RegistrationScope scope, REGSAM view, const std::u16string& path,
                  const std::u16string& value) {
  RegistryKey key;
  LSTATUS status = ::RegCreateKeyExW(Root(scope), Wide(path), 0, nullptr, 0, KEY_WRITE | view,
                                     nullptr, key.Receive(), nullptr);
  if (status == ERROR_SUCCESS) {
    status = ::RegSetValueExW(key.get(), nullptr, 0, REG_SZ,
                              reinterpret_cast<const BYTE*>(value.c_str()),
                              static_cast<DWORD>((value.size() + 1) * sizeof(char16_t)));
  }
  if (status != ERROR_SUCCESS) Fail(HRESULT_FROM_WIN32(static_cast<DWORD>(status)), path);
}

std::u16string ReadDefault(RegistrationScope scope, REGSAM view, const std::u16string& path) {
  RegistryKey key;
  if (::RegOpenKeyExW(Root(scope), Wide(path), 0, KEY_READ | view, key.Receive()) !=
      ERROR_SUCCESS) {
    return {};
  }
  std::vector<wchar_t> text(32'768);  // the longest path
  DWORD size = static_cast<DWORD>((text.size() - 1) * sizeof(wchar_t));
  if (::RegQueryValueExW(key.get(), nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(text.data()),
                         &size) != ERROR_SUCCESS) {
    return {};
  }
  return FromWide(text.data());
}

// Deletes a key and what lies under it.
void DeleteTree(RegistrationScope scope, REGSAM view, const std::u16string& path) {
  RegistryKey key;
  LSTATUS status = ::RegOpenKeyExW(Root(scope), Wide(path), 0, KEY_READ | KEY_WRITE | DELETE | view,
                                   key.Receive());
  if (status == ERROR_FILE_NOT_FOUND) return;
  if (status == ERROR_SUCCESS) status = ::RegDeleteTreeW(key.get(), nullptr);
  key.Reset();
  if (status == ERROR_SUCCESS) status = ::RegDeleteKeyExW(Root(scope), Wide(path), view, 0);
  if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
    Fail(HRESULT_FROM_WIN32(static_cast<DWORD>(status)), path);
  }
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
  const std::u16string path = ClassPath(info);
  const std::u16string prog_id = info.prog_id;
  WriteDefault(scope, view, path, prog_id);
  WriteDefault(scope, view, path + u"\\LocalServer32", Quoted(program_path));
  WriteDefault(scope, view, path + u"\\ProgID", prog_id);
  WriteDefault(scope, view, path + u"\\TypeLib", Braced(library.id));
  WriteDefault(scope, view, path + u"\\Version",
               ToText(library.major) + u"." + ToText(library.minor));
  WriteDefault(scope, view, path + u"\\Programmable", {});
  WriteDefault(scope, view, std::u16string(kClasses) + prog_id, prog_id);
  WriteDefault(scope, view, std::u16string(kClasses) + prog_id + u"\\CLSID", Braced(info.id));
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
  for (const REGSAM view : Views()) {
    for (const CreatableClass& creatable : CreatableClasses()) {
      const std::u16string path = ClassPath(creatable.info);
      const std::u16string server = ReadDefault(scope, view, path + u"\\LocalServer32");
      if (!EqualsIgnoringCase(server, Quoted(program_path))) continue;
      DeleteTree(scope, view, path);
      DeleteTree(scope, view, std::u16string(kClasses) + creatable.info.prog_id);
    }
  }
  for (const auto& [library, path] : Libraries(types)) {
    const LibraryId id = IdOf(library.get());
    if (!EqualsIgnoringCase(ReadDefault(scope, 0, LibraryPath(id)), path)) continue;
    const HRESULT result =
        scope == RegistrationScope::kMachine
            ? ::UnRegisterTypeLib(id.id, id.major, id.minor, id.locale, id.system)
            : UnRegisterTypeLibForUser(id.id, id.major, id.minor, id.locale, id.system);
    if (FAILED(result)) Fail(result, u"The type library " + path);
  }
}

}  // namespace pylon

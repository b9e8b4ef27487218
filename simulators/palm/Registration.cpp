#include "Registration.h"

#include <array>
#include <bit>
#include <filesystem>
#include <span>
#include <string_view>
#include <utility>

#include "Suite.h"
#include "SuiteError.h"
#include "base/Registry.h"
#include "base/SystemMessage.h"
#include "base/Text.h"
#include "files/ProgramFiles.h"

namespace pylon::palm {
namespace {

// In the import library, but missing from the headers.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib*, OLECHAR*, OLECHAR*);
extern "C" HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID, WORD, WORD, LCID, SYSKIND);

constexpr std::u16string_view kClasses = u"Software\\Classes\\";
constexpr std::u16string_view kProgramName = u"PalmSimulator.exe";

#ifdef _WIN64
constexpr SYSKIND kSystems[] = {SYS_WIN64, SYS_WIN32};
#else
constexpr SYSKIND kSystems[] = {SYS_WIN32};
#endif

[[noreturn]] void Fail(HRESULT result, const std::u16string& what) {
  throw SuiteError{static_cast<uint32_t>(result), what + u": " + SystemMessage(result)};
}

bool IsElevated() {
  KernelHandle token;
  TOKEN_ELEVATION elevation = {};
  DWORD size = 0;
  return ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Receive()) &&
         ::GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof(elevation), &size) &&
         elevation.TokenIsElevated != 0;
}

HKEY Root() { return IsElevated() ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER; }

// The views of the registry in which 32- and 64-bit clients look for classes.
std::span<const REGSAM> Views() {
  static constexpr REGSAM kOne[] = {0};
  static constexpr REGSAM kBoth[] = {KEY_WOW64_64KEY, KEY_WOW64_32KEY};
  SYSTEM_INFO system = {};
  ::GetNativeSystemInfo(&system);
  if (system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_INTEL) return kOne;
  return kBoth;
}

std::u16string Braced(REFGUID id) {
  std::array<wchar_t, 64> text = {};
  ::StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  return FromWide(text.data());
}

void Require(LSTATUS status, const std::u16string& path) {
  if (status != ERROR_SUCCESS) Fail(HRESULT_FROM_WIN32(static_cast<DWORD>(status)), path);
}

void WriteDefault(REGSAM view, const std::u16string& path, const std::u16string& value) {
  Require(WriteRegistryText(Root(), path, nullptr, value, view), path);
}

std::u16string ReadDefault(HKEY root, REGSAM view, const std::u16string& path) {
  return QueryRegistryText(root, path, nullptr, view).text;
}

void DeleteTree(REGSAM view, const std::u16string& path) {
  Require(DeleteRegistryTree(Root(), path, view), path);
}

std::u16string ClassPath(const SuiteClass& suite_class) {
  return std::u16string(kClasses) + u"CLSID\\" + Braced(suite_class.id);
}

// The library's resource number: the first and the second for this kind of program, then both for
// 32-bit clients of a 64-bit one.
int Resource(bool second, SYSKIND system) {
  return (second ? 2 : 1) + (system == kSystems[0] ? 0 : 2);
}

std::u16string LibraryPath(bool second, SYSKIND system) {
  return ProgramPath() + u"\\" + ToText(Resource(second, system));
}

std::u16string RegisteredLibraryPath(SYSKIND system) {
  const std::u16string path = std::u16string(kClasses) + u"TypeLib\\" + Braced(kLibraryId) +
                              u"\\1.0\\0\\" + (system == SYS_WIN64 ? u"win64" : u"win32");
  for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    const std::u16string value = ReadDefault(root, 0, path);
    if (!value.empty()) return value;
  }
  return {};
}

// A simulator's, or one that points to nothing for sure.
bool MayReplace(std::u16string path) {
  if (path.empty()) return true;
  if (path.front() == u'"') path = path.substr(1, path.find(u'"', 1) - 1);
  std::filesystem::path file(path);
  // The number of a resource may follow.
  if (!file.has_extension()) file = file.parent_path();
  if (EqualsIgnoringCase(file.filename().u16string(), kProgramName)) return true;
  // COM looks for a bare name along the search path, and may have variables to put in.
  const bool whole = file.is_absolute() && path.find(u'%') == path.npos;
  return whole && !std::filesystem::exists(file);
}

void RefuseOther(const std::u16string& path) {
  if (!MayReplace(path)) {
    throw SuiteError{kExists,
                     u"Another HotSync suite is registered, which the simulator must not "
                     u"replace: " +
                         path};
  }
}

std::u16string ServerOf(const SuiteClass& suite_class, HKEY root, REGSAM view) {
  const std::u16string prog_id = FromWide(suite_class.prog_id);
  const std::u16string id =
      ReadDefault(root, view, std::u16string(kClasses) + prog_id + u"\\CLSID");
  const std::u16string path = std::u16string(kClasses) + u"CLSID\\" + id;
  const std::u16string local = ReadDefault(root, view, path + u"\\LocalServer32");
  return !id.empty() && local.empty() ? ReadDefault(root, view, path + u"\\InprocServer32") : local;
}

void RefuseOthers() {
  for (const SYSKIND system : kSystems) RefuseOther(RegisteredLibraryPath(system));
  for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    for (const REGSAM view : Views()) {
      for (const SuiteClass& suite_class : SuiteClasses()) {
        RefuseOther(ServerOf(suite_class, root, view));
      }
    }
  }
}

void UnregisterLibraries() {
  const bool elevated = IsElevated();
  for (const SYSKIND system : kSystems) {
    if (!MayReplace(RegisteredLibraryPath(system))) continue;
    // Not there, or not readable any more: nothing to take away.
    (void)(elevated
               ? ::UnRegisterTypeLib(kLibraryId, kLibraryMajor, kLibraryMinor, 0, system)
               : UnRegisterTypeLibForUser(kLibraryId, kLibraryMajor, kLibraryMinor, 0, system));
  }
}

}  // namespace

void Register(bool second) {
  RefuseOthers();
  UnregisterLibraries();  // with the interfaces that only the other order has
  for (const SYSKIND system : kSystems) {
    std::u16string path = LibraryPath(second, system);
    const int kind = REGKIND_NONE | (system == kSystems[0] ? 0 : LOAD_TLB_AS_32BIT);
    com::Ptr<ITypeLib> library;
    HRESULT result = ::LoadTypeLibEx(Wide(path), std::bit_cast<REGKIND>(kind), library.Receive());
    if (SUCCEEDED(result)) {
      auto* const wide = const_cast<wchar_t*>(Wide(path));
      result = IsElevated() ? ::RegisterTypeLib(library.get(), wide, nullptr)
                            : RegisterTypeLibForUser(library.get(), wide, nullptr);
    }
    if (FAILED(result)) Fail(result, u"The type library " + path);
  }
  for (const REGSAM view : Views()) {
    for (const SuiteClass& suite_class : SuiteClasses()) {
      const std::u16string path = ClassPath(suite_class);
      const std::u16string prog_id = FromWide(suite_class.prog_id);
      WriteDefault(view, path, prog_id);
      WriteDefault(view, path + u"\\LocalServer32", u"\"" + ProgramPath() + u"\"");
      WriteDefault(view, path + u"\\ProgID", prog_id);
      WriteDefault(view, path + u"\\TypeLib", Braced(kLibraryId));
      WriteDefault(view, std::u16string(kClasses) + prog_id, prog_id);
      WriteDefault(view, std::u16string(kClasses) + prog_id + u"\\CLSID", Braced(suite_class.id));
    }
  }
}

void Unregister() {
  UnregisterLibraries();
  for (const REGSAM view : Views()) {
    for (const SuiteClass& suite_class : SuiteClasses()) {
      if (!MayReplace(ServerOf(suite_class, Root(), view))) continue;
      DeleteTree(view, ClassPath(suite_class));
      DeleteTree(view, std::u16string(kClasses) + FromWide(suite_class.prog_id));
    }
  }
}

std::optional<bool> RegisteredSecond() {
  const std::u16string path = RegisteredLibraryPath(kSystems[0]);
  for (const bool second : {false, true}) {
    if (EqualsIgnoringCase(path, LibraryPath(second, kSystems[0]))) return second;
  }
  return std::nullopt;
}

}  // namespace pylon::palm

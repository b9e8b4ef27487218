#include "tests/palm/TestConduit.h"

#include <array>
#include <optional>
#include <system_error>

#include "base/Implements.h"
#include "base/Text.h"
#include "files/ProgramFiles.h"

namespace pylon::palm::testing {
namespace {

// IPDClientNotify of the two libraries, written down apart from them.
struct FirstNotify : IDispatch {
  STDMETHOD(BeginProcess)(VARIANT_BOOL* failed) = 0;
  STDMETHOD(CfgConduit)(LONG, LONG, BSTR, BSTR, LONG, LONG*, LONG*, LONG*) = 0;
  STDMETHOD(ConfigureConduit)(BSTR, BSTR, LONG*, LONG) = 0;
  STDMETHOD(GetConduitInfo)(LONG, LONG, LONG, BSTR, VARIANT*) = 0;
};
struct SecondNotify : IUnknown {
  STDMETHOD(GetConduitInfo)(LONG, LONG, LONG, BSTR, VARIANT*) = 0;
  STDMETHOD(ConfigureConduit)(BSTR, BSTR, LONG*, LONG) = 0;
  STDMETHOD(BeginProcess)(VARIANT_BOOL* failed) = 0;
  STDMETHOD(CfgConduit)(LONG, LONG, BSTR, BSTR, LONG, LONG*, LONG*, LONG*) = 0;
};

}  // namespace
}  // namespace pylon::palm::testing

__CRT_UUID_DECL(pylon::palm::testing::FirstNotify, 0x757B5AEF, 0xCB00, 0x4530, 0x9C, 0xCC, 0x06,
                0x1D, 0xD4, 0x83, 0x21, 0xFC)
__CRT_UUID_DECL(pylon::palm::testing::SecondNotify, 0xF45CAF3B, 0xB0B8, 0x42DB, 0xAB, 0x09, 0x96,
                0xBD, 0x6E, 0xA4, 0xEC, 0xA8)

namespace pylon::palm::testing {
namespace {

constexpr CLSID kConduit = {
    0x48EB9C99, 0xED26, 0x464A, {0xA8, 0x15, 0x5E, 0x2A, 0xA7, 0x08, 0x6E, 0x27}};
constexpr CLSID kStranger = {
    0xEAFE1932, 0x7F9C, 0x4673, {0x87, 0x59, 0x32, 0x21, 0xE1, 0x17, 0x6E, 0x85}};

TestConduit* current = nullptr;

// "PalmTest.Crash", another class each time: Wine keeps the class object of a process that ended
// without revoking it, and hands it to who creates the class next.
CLSID crash_id = {};

std::string Utf8(BSTR text) { return ToUtf8(com::Text(text)); }

class Object final : public com::WithoutDispatch<com::Implements<FirstNotify, SecondNotify>> {
 public:
  explicit Object(const CLSID& id) : id_(id) {}

  STDMETHODIMP BeginProcess(VARIANT_BOOL* failed) noexcept override {
    if (id_ == crash_id) ::TerminateProcess(::GetCurrentProcess(), 3);
    const TestConduit::Answer answer = current->begin();
    *failed = com::ToVariantBool(answer.failed);
    return answer.result;
  }
  STDMETHODIMP CfgConduit(LONG creator, LONG user, BSTR user_name, BSTR path, LONG permanent,
                          LONG* temporary, LONG* next, LONG* preference) noexcept override {
    current->calls.push_back("CfgConduit " + std::to_string(creator) + " " + std::to_string(user) +
                             " " + Utf8(user_name) + " " + Utf8(path) + " " +
                             std::to_string(permanent));
    *temporary = 4;
    *next = 5;
    *preference = 6;
    return S_OK;
  }
  STDMETHODIMP ConfigureConduit(BSTR path, BSTR, LONG* preference, LONG type) noexcept override {
    current->calls.push_back("ConfigureConduit " + Utf8(path) + " " + std::to_string(*preference) +
                             " " + std::to_string(type));
    *preference = 2;
    return S_OK;
  }
  STDMETHODIMP GetConduitInfo(LONG type, LONG creator, LONG, BSTR user_name,
                              VARIANT* info) noexcept override {
    current->calls.push_back("GetConduitInfo " + std::to_string(type) + " " +
                             std::to_string(creator) + " " + Utf8(user_name));
    // The default action, in the first library's numbers and in the second's.
    if (type == 2 || type == 13) return E_NOTIMPL;
    V_VT(info) = VT_BSTR;
    V_BSTR(info) = com::Bstr(type == 0 || type == 12 ? u"Test conduit" : u"1.5").Detach();
    return S_OK;
  }

 private:
  const CLSID id_;
};

// Any object that is not a conduit.
class Stranger final : public com::WithoutDispatch<com::Implements<IDispatch>> {};

DWORD Offer(const CLSID& id, std::optional<com::ReachableInterface>& reachable) {
  DWORD registration = 0;
  const auto factory = com::MakeClassFactory([id](REFIID wanted, void** object) noexcept {
    return id == kStranger ? com::Make<Stranger>()->QueryInterface(wanted, object)
                           : com::Make<Object>(id)->QueryInterface(wanted, object);
  });
  com::Check(::CoRegisterClassObject(id, factory.get(), CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE,
                                     &registration));
  if (!reachable) reachable.emplace(IID_IClassFactory, factory.get());
  return registration;
}

const std::pair<const wchar_t*, const CLSID&> kClasses[] = {{L"PalmTest.Conduit", kConduit},
                                                            {L"PalmTest.Crash", crash_id},
                                                            {L"PalmTest.Stranger", kStranger}};

std::wstring ClassKey(const CLSID& id) {
  std::array<wchar_t, 64> text = {};
  ::StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  return text.data();
}

void SetKey(const std::wstring& path, const std::wstring& value) {
  const std::wstring full = L"Software\\Classes\\" + path;
  const LSTATUS status =
      ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, full.c_str(), nullptr, REG_SZ, value.c_str(),
                        static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  if (status != ERROR_SUCCESS) throw std::system_error(status, std::system_category());
}

}  // namespace

TestConduit::TestConduit() {
  current = this;
  com::Check(::CoCreateGuid(&crash_id));
  for (const auto& [prog_id, id] : kClasses) {
    const std::wstring key = ClassKey(id);
    SetKey(std::wstring(prog_id) + L"\\CLSID", key);
    SetKey(L"CLSID\\" + key + L"\\LocalServer32",
           std::wstring(L"\"") + Wide(ProgramPath()) + L"\" -crash " + ClassKey(crash_id));
    if (id != crash_id) registrations_.push_back(Offer(id, reachable_));
  }
}

TestConduit::~TestConduit() {
  for (const DWORD registration : registrations_) ::CoRevokeClassObject(registration);
  for (const auto& [prog_id, id] : kClasses) {
    const std::wstring classes = L"Software\\Classes\\";
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, (classes + prog_id).c_str());
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, (classes + L"CLSID\\" + ClassKey(id)).c_str());
  }
  current = nullptr;
}

int ServeCrash(const std::string& class_id) {
  com::Check(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  com::Check(::CLSIDFromString(Wide(FromUtf8(class_id)), &crash_id));
  std::optional<com::ReachableInterface> reachable;
  Offer(crash_id, reachable);
  // Ends by itself when nobody calls.
  ::SetTimer(nullptr, 0, 30'000, nullptr);
  MSG message;
  while (::GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != WM_TIMER) {
    ::DispatchMessageW(&message);
  }
  return 0;
}

}  // namespace pylon::palm::testing

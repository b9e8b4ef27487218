// What COM asks of an in-process server: the class object, unloading, registration.

#include "Component.h"

namespace sample {
namespace {

HMODULE g_module = nullptr;

// Lives as long as the DLL.
class Factory final : public IClassFactory {
 public:
  STDMETHODIMP QueryInterface(REFIID id, void** object) noexcept override {
    if (!object) return E_POINTER;
    *object = id == IID_IUnknown || id == IID_IClassFactory ? this : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() noexcept override { return 2; }
  STDMETHODIMP_(ULONG) Release() noexcept override { return 1; }

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) noexcept override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    Component* component = nullptr;
    const HRESULT made =
        com::Guard(IID_NULL, kRegistration.prog_id, [&] { component = MakeComponent(); });
    if (FAILED(made)) return made;
    const HRESULT result = component->QueryInterface(id, object);
    component->Release();
    return result;
  }
  STDMETHODIMP LockServer(BOOL lock) noexcept override {
    lock ? ++g_uses : --g_uses;
    return S_OK;
  }
};

std::wstring ClassId() {
  wchar_t text[39];
  ::StringFromGUID2(kRegistration.class_id, text, 39);
  return text;
}

LSTATUS SetValue(HKEY root, const std::wstring& key, const wchar_t* name,
                 const std::wstring& value) {
  const std::wstring path = L"Software\\Classes\\" + key;
  return ::RegSetKeyValueW(root, path.c_str(), name, REG_SZ, value.c_str(),
                           static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

LSTATUS Register(HKEY root) {
  const std::wstring class_key = L"CLSID\\" + ClassId();
  const struct {
    std::wstring key;
    const wchar_t* name;
    std::wstring value;
  } values[] = {
      {kRegistration.prog_id, nullptr, kRegistration.description},
      {std::wstring(kRegistration.prog_id) + L"\\CLSID", nullptr, ClassId()},
      {class_key, nullptr, kRegistration.description},
      {class_key + L"\\ProgID", nullptr, kRegistration.prog_id},
      {class_key + L"\\InprocServer32", nullptr, com::Wide(ModulePath())},
      {class_key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
  };
  for (const auto& [key, name, value] : values) {
    if (const LSTATUS status = SetValue(root, key, name, value)) return status;
  }
  return ERROR_SUCCESS;
}

LSTATUS Unregister(HKEY root) {
  for (const std::wstring& key : {std::wstring(kRegistration.prog_id), L"CLSID\\" + ClassId()}) {
    const std::wstring path = L"Software\\Classes\\" + key;
    const LSTATUS status = ::RegDeleteTreeW(root, path.c_str());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return status;
  }
  return ERROR_SUCCESS;
}

}  // namespace

std::u16string ModulePath() {
  std::wstring path(MAX_PATH, L'\0');
  DWORD length = 0;
  while ((length = ::GetModuleFileNameW(g_module, path.data(), static_cast<DWORD>(path.size()))) ==
         path.size()) {
    path.resize(2 * path.size());
  }
  return std::u16string(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(length));
}

}  // namespace sample

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) {
    sample::g_module = module;
    ::DisableThreadLibraryCalls(module);
  }
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID class_id, REFIID id, void** object) {
  static sample::Factory factory;
  if (!object) return E_POINTER;
  *object = nullptr;
  return class_id == sample::kRegistration.class_id ? factory.QueryInterface(id, object)
                                                    : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() { return sample::g_uses == 0 ? S_OK : S_FALSE; }

// For all users where that is allowed, else for this one.
STDAPI DllRegisterServer() {
  LSTATUS status = sample::Register(HKEY_LOCAL_MACHINE);
  if (status == ERROR_ACCESS_DENIED) status = sample::Register(HKEY_CURRENT_USER);
  return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

STDAPI DllUnregisterServer() {
  const LSTATUS user = sample::Unregister(HKEY_CURRENT_USER);
  const LSTATUS machine = sample::Unregister(HKEY_LOCAL_MACHINE);
  return HRESULT_FROM_WIN32(static_cast<DWORD>(user ? user : machine));
}

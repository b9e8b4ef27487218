#include "Component.h"
#include "InventorySync.h"

namespace inventory {
namespace {

// The component: describes itself, and does the whole sync inside BeginSynchronize.
class Conduit final : public sample::Component {
 public:
  STDMETHODIMP BeginSynchronize(_oSyncInfo** oSync) noexcept override;
  STDMETHODIMP GetConduitInfo(eConduitType infoType, BSTR* result) noexcept override;
  STDMETHODIMP ConfigureConduit() noexcept override;
  STDMETHODIMP SynchronizeClose() noexcept override;
};

STDMETHODIMP Conduit::BeginSynchronize(_oSyncInfo** oSync) noexcept {
  if (!oSync || !*oSync) return E_POINTER;
  return Guard([&] { InventorySync(*oSync).Run(); });
}

STDMETHODIMP Conduit::GetConduitInfo(eConduitType infoType, BSTR* result) noexcept {
  if (!result) return E_POINTER;
  *result = nullptr;
  return Guard([&] {
    const auto answer = [&](std::u16string_view text) { *result = com::Bstr(text).Detach(); };
    switch (infoType) {
      case ctVersion:
        return answer(u"1.0");
      case ctCreatorID:
        return answer(u"PyIv");
      case ctAuthor:
        return answer(u"The Pylon project");
      case ctApplicationName:
        return answer(u"Inventory");
      case ctAppPath:
        return answer(u"");  // the folder that Pylon.ini names as PCPath
      case ctIcon:
        return answer(u"RES:" + sample::ModulePath());
    }
  });
}

STDMETHODIMP Conduit::ConfigureConduit() noexcept {
  return Guard([] {
    ::MessageBoxW(nullptr,
                  L"Inventory has one setting, in the section Inventory of AppStore.ini:\n\n"
                  L"File: the CSV file.",
                  L"Inventory", MB_OK | MB_ICONINFORMATION);
  });
}

// BeginSynchronize has let go of everything already.
STDMETHODIMP Conduit::SynchronizeClose() noexcept { return S_OK; }

}  // namespace
}  // namespace inventory

const sample::Registration sample::kRegistration = {
    {0x44234138, 0x48fa, 0x4e38, {0x8c, 0xad, 0x64, 0x7b, 0x89, 0x6b, 0x8d, 0x19}},
    L"Inventory.Conduit",
    L"Inventory conduit"};

sample::Component* sample::MakeComponent() { return new inventory::Conduit; }

#include "Component.h"
#include "MemoSync.h"

namespace memos {
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
  return Guard([&] { MemoSync(*oSync).Run(); });
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
        return answer(u"memo");
      case ctAuthor:
        return answer(u"The Pylon project");
      case ctApplicationName:
        return answer(u"Memos");
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
                  L"Memos has two settings, in the section Memos of AppStore.ini:\n\n"
                  L"Folder: the folder of text files.\n"
                  L"Pause: milliseconds to wait after each memo, for demonstrations.",
                  L"Memos", MB_OK | MB_ICONINFORMATION);
  });
}

// BeginSynchronize has let go of everything already.
STDMETHODIMP Conduit::SynchronizeClose() noexcept { return S_OK; }

}  // namespace
}  // namespace memos

const sample::Registration sample::kRegistration = {
    {0x2f0c9a5e, 0x7c41, 0x4b7d, {0x9d, 0x1c, 0x53, 0x8e, 0x0a, 0x64, 0xb2, 0x17}},
    L"Memos.Conduit",
    L"Memos conduit"};

sample::Component* sample::MakeComponent() { return new memos::Conduit; }

// Hello, a whole conduit in one file: it lists the memos of MemoDB in Pylon's log.

#include "Component.h"

namespace {

namespace com = sample::com;

// Component has what COM asks of any class; the four methods of ISyncNotify are the conduit's.
class Hello final : public sample::Component {
 public:
  STDMETHODIMP GetConduitInfo(eConduitType infoType, BSTR* result) noexcept override;
  STDMETHODIMP BeginSynchronize(_oSyncInfo** oSync) noexcept override;
  STDMETHODIMP SynchronizeClose() noexcept override { return S_OK; }
  STDMETHODIMP ConfigureConduit() noexcept override { return S_OK; }
};

STDMETHODIMP Hello::GetConduitInfo(eConduitType infoType, BSTR* result) noexcept {
  if (!result) return E_POINTER;
  *result = nullptr;
  return Guard([&] {
    const auto answer = [&](std::u16string_view text) { *result = com::Bstr(text).Detach(); };
    switch (infoType) {
      case ctVersion:
        return answer(u"1.0");
      case ctCreatorID:
        return answer(u"memo");  // the handheld's memo application
      case ctAuthor:
        return answer(u"The Pylon project");
      case ctApplicationName:
        return answer(u"Hello");
      case ctAppPath:
        return answer(u"");  // the folder that Pylon.ini names as PCPath
      case ctIcon:
        return answer(u"");  // none
    }
  });
}

std::u16string FirstLine(const std::u16string& text) { return text.substr(0, text.find(u'\n')); }

void ListMemos(_oSyncInfo& sync) {
  com::Ptr<PDBFileSystem> files;
  com::Check(sync.get_FileSystem(&files));
  com::Ptr<PDBDatabase> database;
  VARIANT_BOOL done = VARIANT_FALSE;
  com::Check(files->OpenDatabase(com::Bstr(u"MemoDB"), database.InOut(), &done));
  if (!done) throw com::Error(com::kDeviceError, u"There is no MemoDB. The log may say why.");

  long count = 0;
  com::Check(database->get_RecordCount(&count));
  com::Check(sync.UpdateStatusMain(com::Bstr(u"Reading the memos")));
  com::Check(sync.UpdateStatusMaxBar(count + 1));

  auto stream = com::Create<_PDBByteStream>(__uuidof(PDBByteStream));
  com::Check(stream->put_UTF8Strings(VARIANT_FALSE));  // memos have one byte a character
  for (;;) {
    VARIANT_BOOL cancelled = VARIANT_FALSE;
    com::Check(sync.get_CancelSync(&cancelled));
    if (cancelled) throw com::Error(com::kUserInterrupt, u"The sync was cancelled.");

    long index = 0, id = 0;
    short category = 0;
    eRecordAttribute attributes{};
    com::Check(database->ReadNext(&index, &id, &category, &attributes, stream.InOut(), &done));
    if (!done) break;
    com::Bstr text;
    long offset = 0;
    com::Check(stream->ByteToString(&text, &offset));
    const com::Bstr line(u"Memo: " + FirstLine(text.Text()));
    com::Check(sync.UpdateLog(line));
    com::Check(sync.UpdateStatusDetail(line));
    com::Check(sync.UpdateStatusIncrementBar(1));
  }
  com::Check(database->CloseDatabase());
}

STDMETHODIMP Hello::BeginSynchronize(_oSyncInfo** oSync) noexcept {
  if (!oSync || !*oSync) return E_POINTER;
  return Guard([&] { ListMemos(**oSync); });
}

}  // namespace

const sample::Registration sample::kRegistration = {
    {0x3f0bd871, 0x55a2, 0x4e0c, {0x9a, 0x3c, 0x61, 0xd7, 0x0e, 0x4b, 0x28, 0xf5}},
    L"Hello.Conduit",
    L"Hello conduit"};

sample::Component* sample::MakeComponent() { return new Hello; }

// A conduit component for the tests of whole runs. What it does in BeginSynchronize is named by the
// environment variable PYLON_PROBE; what it saw goes line by line to the file PYLON_PROBE_OUT.

#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "automation/Library.h"
#include "base/AutomationError.h"
#include "base/Com.h"
#include "base/Implements.h"
#include "base/Text.h"
#include "tests/probe/ProbeConduit.h"

namespace pylon {
namespace {

std::string Setting(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

void Note(const std::string& line) {
  std::ofstream(Setting("PYLON_PROBE_OUT"), std::ios::app) << line << "\n";
}

HRESULT Fail(HRESULT result, const wchar_t* source, const wchar_t* description) {
  com::Ptr<ICreateErrorInfo> creator;
  ::CreateErrorInfo(creator.Receive());
  creator->SetSource(const_cast<wchar_t*>(source));
  creator->SetDescription(const_cast<wchar_t*>(description));
  ::SetErrorInfo(0, creator.As<IErrorInfo>().get());
  return result;
}

com::Bstr Text(const char16_t* text) { return com::Bstr(std::u16string_view(text)); }

com::Ptr<::PDBFileSystem> FileSystemOf(::_oSyncInfo* sync) {
  com::Ptr<::PDBFileSystem> files;
  com::Check(sync->get_FileSystem(files.Receive()));
  return files;
}

com::Ptr<::_PDBByteStream> NewStream() {
  com::Ptr<::_PDBByteStream> stream;
  com::Check(::CoCreateInstance(CLSID_PDBByteStream, nullptr,
                                CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID__PDBByteStream,
                                reinterpret_cast<void**>(stream.Receive())));
  return stream;
}

// The database of all these tests; false when it can't be created or opened.
bool Create(::PDBFileSystem* files, com::Ptr<::PDBDatabase>& database) {
  VARIANT_BOOL done = VARIANT_FALSE;
  const com::Bstr text = Text(u"Probe");
  VARIANT name;
  V_VT(&name) = VT_BSTR;
  V_BSTR(&name) = text.get();
  com::Check(files->CreateDatabase(name, database.InOut(), &done));
  return done != VARIANT_FALSE;
}
bool Open(::PDBFileSystem* files, com::Ptr<::PDBDatabase>& database) {
  VARIANT_BOOL done = VARIANT_FALSE;
  com::Check(files->OpenDatabase(Text(u"Probe").get(), database.InOut(), &done));
  return done != VARIANT_FALSE;
}
void Close(::PDBDatabase* database) {
  com::Check(database->CloseDatabase(), database, IID_PDBDatabase);
}

// The stream class must come from the run's own process: a direct pointer, no proxy.
void NoteStreamIsDirect() {
  com::Ptr<IUnknown> proxy;
  const IID proxy_manager = {0x00000008, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  Note(SUCCEEDED(
           NewStream()->QueryInterface(proxy_manager, reinterpret_cast<void**>(proxy.Receive())))
           ? "stream proxy"
           : "stream direct");
}

long PutRecord(::PDBDatabase* database, long index, com::Ptr<::_PDBByteStream> stream,
               short category = 0) {
  long id = 0;
  ::eRecordAttribute attributes = ::eDirty;
  com::Check(database->Update(index, &id, &category, &attributes, stream.InOut()));
  return id;
}
void PutText(::PDBDatabase* database, long index, const std::u16string& text) {
  com::Ptr<::_PDBByteStream> stream = NewStream();
  long offset = 0;
  com::Check(stream->StringToByte(com::Bstr(text).get(), &offset));
  PutRecord(database, index, std::move(stream));
}

void WriteRecord(::_oSyncInfo* sync, bool close) {
  const auto files = FileSystemOf(sync);
  com::Ptr<::PDBDatabase> database, again;
  Create(files.get(), database);
  Open(files.get(), again);
  Note(database.get() == again.get() ? "same database" : "another database");
  com::Ptr<::_PDBByteStream> stream = NewStream();
  long offset = 0;
  com::Check(stream->LongToByte(0x01020304, &offset, VARIANT_TRUE));
  Note("record id " + std::to_string(PutRecord(database.get(), 0, std::move(stream), 2)));
  if (close) Close(database.get());
}

// Adds 1 to the number that the last run left in the index of a database of the file system, and in
// that of one of the component's own making.
void CountInIndexes(::_oSyncInfo* sync) {
  com::Ptr<::PDBDatabase> database;
  Create(FileSystemOf(sync).get(), database);
  VARIANT_BOOL done = VARIANT_FALSE;
  const com::Bstr key = Text(u"Probe");
  com::Ptr<::_PDBDatabasePC> own;
  com::Check(::CoCreateInstance(CLSID_PDBDatabasePC, nullptr, CLSCTX_INPROC_SERVER,
                                IID__PDBDatabasePC, reinterpret_cast<void**>(own.Receive())));
  com::Check(own->put_PDBFilePath(Text(u"Own.pdb").get()));
  com::Check(own->CreateDatabase(&done));
  for (const auto& each : {database, own.As<::PDBDatabase>()}) {
    com::Ptr<::_CSyncIndex> index;
    com::Check(each->get_SyncIndex(index.Receive()));
    long count = 0;
    com::Check(index->get_UniqueId(key.get(), &count));
    com::Check(index->put_UniqueId(key.get(), count + 1));
    Note("index " + std::to_string(count));
    com::Check(each->CloseDatabase());
  }
}

// Makes a database of so many records of 100 bytes.
void Fill(::_oSyncInfo* sync, int records) {
  com::Ptr<::PDBDatabase> database;
  Create(FileSystemOf(sync).get(), database);
  for (int i = 0; i < records; ++i) PutText(database.get(), 0, std::u16string(99, u'r'));
  Close(database.get());
}

// Opens the database, changes its first record or looks at each, and closes it. A component that
// minds raises an error of its own when there is nothing to open.
HRESULT Visit(::_oSyncInfo* sync, const std::string& what) {
  const bool change = what.starts_with("change");
  const bool minds = what != "read, not minding";
  com::Ptr<::PDBDatabase> database;
  if (!Open(FileSystemOf(sync).get(), database)) {
    Note("not opened");
    return minds ? Fail(static_cast<HRESULT>(0x800A0035), L"Probe", L"No database") : S_OK;
  }
  long count = 0;
  com::Check(database->get_RecordCount(&count));
  if (change) {
    PutText(database.get(), 1, u"changed");
  } else {
    for (long i = 1; i <= count; ++i) {
      com::Ptr<::_PDBByteStream> stream = NewStream();
      long id = 0;
      short category = 0;
      ::eRecordAttribute attributes = {};
      VARIANT_BOOL done = VARIANT_FALSE;
      com::Check(database->ReadNextByIndex(i, &id, &category, &attributes, stream.InOut(), &done));
    }
  }
  if (what != "change, unclosed") Close(database.get());
  Note(std::string(change ? "changed" : "read") + " of " + std::to_string(count));
  return S_OK;
}

// Makes the database when it can't be opened, without a look at why.
void OpenOrCreate(::_oSyncInfo* sync) {
  const auto files = FileSystemOf(sync);
  com::Ptr<::PDBDatabase> database;
  const bool opened = Open(files.get(), database);
  Note(opened ? "opened" : "not opened");
  if (opened) return;
  Note(Create(files.get(), database) ? "created" : "not created");
  Close(database.get());
}

// Works until the user cancels, or for as long as any test waits.
HRESULT WaitForCancel(::_oSyncInfo* sync) {
  com::Check(sync->UpdateStatusMain(Text(u"Waiting for Cancel").get()));
  com::Check(sync->UpdateStatusMaxBar(6000));
  for (int i = 0; i < 6000; ++i) {
    com::Check(sync->UpdateStatusDetail(com::Bstr(u"Step " + ToText(i)).get()));
    com::Check(sync->UpdateStatusIncrementBar(1));
    VARIANT_BOOL cancelled = VARIANT_FALSE;
    com::Check(sync->get_CancelSync(&cancelled));
    if (cancelled) {
      Note("cancelled");
      return Fail(E_ABORT, L"Probe", L"Stopped by the user");
    }
    ::Sleep(10);
  }
  Note("nobody cancelled");
  return S_OK;
}

class Conduit final
    : public com::WithoutDispatch<com::Implements<::ISyncNotify, ISupportErrorInfo>> {
 public:
  ~Conduit() {
    // A component may report as it goes.
    if (sync_) {
      sync_->UpdateLog(Text(u"Probe is being released").get());
      com::Ptr<::PDBFileSystem> files;
      sync_->get_FileSystem(files.Receive());
      Note(files ? "file system at release" : "no file system at release");
      // A phase starts with no pending Cancel; the run was cancelled all the same.
      if (Setting("PYLON_PROBE") == "cancel") sync_->UpdateStatusMain(Text(u"Going").get());
    }
  }

  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID id) noexcept override {
    return id == IID_ISyncNotify ? S_OK : S_FALSE;
  }

  STDMETHODIMP BeginSynchronize(::_oSyncInfo** oSync) noexcept override try {
    Note("BeginSynchronize");
    ::_oSyncInfo* const sync = *oSync;
    const std::string what = Setting("PYLON_PROBE");
    if (what == "error") return Fail(static_cast<HRESULT>(0x800A0005), L"S", L"T");
    if (what == "mismatch") return DISP_E_TYPEMISMATCH;
    if (what == "unknown-error") return Fail(static_cast<HRESULT>(0x80041234), L"Probe", L"odd");
    if (what == "direct") NoteStreamIsDirect();
    if (what == "open or create") OpenOrCreate(sync);
    if (what.starts_with("fill ")) Fill(sync, std::stoi(what.substr(5)));
    if (what.starts_with("change") || what == "read" || what == "read, not minding") {
      return Visit(sync, what);
    }
    if (what == "records" || what == "unclosed") WriteRecord(sync, what == "records");
    if (what == "late" || what == "cancel") {
      sync_ = com::Ptr<::_oSyncInfo>::Share(sync);
      if (what == "cancel") return WaitForCancel(sync);
    } else if (what == "index") {
      CountInIndexes(sync);
    } else if (what == "settings") {
      NoteSettings(sync);
    }
    return S_OK;
  } catch (const AutomationError& error) {
    Note(std::string("failed: ") + error.what());
    // As a component does that lets errors pass.
    return Fail(static_cast<HRESULT>(0x800A0000) + error.number(),
                reinterpret_cast<const wchar_t*>(error.source().c_str()),
                reinterpret_cast<const wchar_t*>(error.description().c_str()));
  }
  STDMETHODIMP GetConduitInfo(::eConduitType infoType, BSTR* result) noexcept override {
    static const std::map<int, const char16_t*> kAnswers = {
        {::ctVersion, u"1.2"},        {::ctCreatorID, u"PrBe"},
        {::ctAuthor, u"The testers"}, {::ctApplicationName, u"Probe & Co"},
        {::ctAppPath, u""},           {::ctIcon, u""},
    };
    *result = Text(kAnswers.at(infoType)).Detach();
    return S_OK;
  }
  STDMETHODIMP ConfigureConduit() noexcept override { return S_OK; }
  STDMETHODIMP SynchronizeClose() noexcept override {
    Note("SynchronizeClose");
    return S_OK;
  }

 private:
  static void NoteSettings(::_oSyncInfo* sync) {
    com::Ptr<::_CDevice> device;
    com::Ptr<::_CConduitInfo> info;
    com::Check(sync->get_Device(device.Receive()));
    com::Check(sync->get_ConduitInfo(info.Receive()));
    DATE last = -1;
    com::Check(device->get_SyncDateTime(&last));
    Note(last == 0 ? "first sync" : "synced before");
    com::Bstr kept;
    const com::Bstr section = Text(u"Probe");
    const com::Bstr key = Text(u"Key");
    com::Check(info->GetSettings(section.get(), key.get(), Text(u"none").get(), kept.Receive()));
    Note("setting " + ToUtf8(com::Text(kept.get())));
    com::Variant nothing;
    com::Check(info->SaveSettings(section.get(), key.get(), Text(u"\u0416 kept").get(),
                                  nothing.Receive()));
    ::eDeviceType type = ::dtHotSync;
    com::Check(device->get_DeviceType(&type));
    Note("device type " + std::to_string(type));
  }

  com::Ptr<::_oSyncInfo> sync_;
};

// Any object that is not a conduit.
class Stranger final : public com::Implements<ISupportErrorInfo> {
 public:
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID) noexcept override { return S_FALSE; }
};

template <class T>
HRESULT ClassObject(REFIID iid, void** object) {
  const auto create = [](REFIID id, void** created) noexcept {
    return com::Make<T>()->QueryInterface(id, created);
  };
  return com::MakeClassFactory(create)->QueryInterface(iid, object);
}

}  // namespace
}  // namespace pylon

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE
    ProbeClassObject(REFCLSID id, REFIID iid, void** object) {
  if (id == pylon::kProbeConduit) return pylon::ClassObject<pylon::Conduit>(iid, object);
  if (id == pylon::kProbeStranger) return pylon::ClassObject<pylon::Stranger>(iid, object);
  return CLASS_E_CLASSNOTAVAILABLE;
}

// HotSync's interface from its type library: calls through vtables that the compiler laid out.

#include <NotifyLayouts.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "automation/ClientNotify.h"
#include "base/AutomationError.h"
#include "base/Implements.h"
#include "base/Text.h"
#include "hotsync/SuiteLibrary.h"
#include "tests/automation/ServerFixture.h"

namespace pylon {
namespace {

constexpr wchar_t kLayouts[] = L"gen\\NotifyLayouts.tlb";

// Records what arrives.
class Recorder final : public com::WithoutDispatch<com::Implements<::_cPalmSync>> {
 public:
  STDMETHODIMP QueryInterface(REFIID, void** object) noexcept override {
    *object = this;
    AddRef();
    return S_FALSE;  // unlike any real one
  }
  STDMETHODIMP BeginProcess(VARIANT_BOOL* failed) noexcept override {
    Note("BeginProcess", {});
    *failed = VARIANT_FALSE;
    return begun;
  }
  STDMETHODIMP CfgConduit(long creator, long user, BSTR name, BSTR path, long permanent, long* temp,
                          long* fresh, long* preference) noexcept override {
    Note("CfgConduit", {creator, user, permanent, *temp, *fresh, *preference}, {name, path});
    *temp = *fresh = *preference = 6;
    return S_OK;
  }
  STDMETHODIMP ConfigureConduit(BSTR path, BSTR registry, long* preference,
                                long type) noexcept override {
    Note("ConfigureConduit", {*preference, type}, {path, registry});
    *preference = 3;
    return S_OK;
  }
  STDMETHODIMP GetConduitInfo(long type, long creator, long user, BSTR name,
                              VARIANT* info) noexcept override {
    Note("GetConduitInfo", {type, creator, user}, {name});
    *info = com::Variant(7).Detach();
    return E_ABORT;  // passed on as it is
  }

  std::vector<std::string> calls;
  HRESULT begun = S_OK;

 private:
  void Note(std::string call, std::initializer_list<long> numbers,
            std::initializer_list<BSTR> texts = {}) {
    for (const long number : numbers) call += " " + std::to_string(number);
    for (const BSTR text : texts) call += " " + ToUtf8(com::Text(text));
    calls.push_back(std::move(call));
  }
};

class ClientNotifyTest : public ::testing::Test {
 protected:
  ClientNotifyTest() { com::Check(::LoadTypeLibEx(kLayouts, REGKIND_NONE, library_.Receive())); }

  com::Ptr<ITypeInfo> Find(REFIID id) {
    com::Ptr<ITypeInfo> info;
    com::Check(library_->GetTypeInfoOfGuid(id, info.Receive()));
    return info;
  }
  template <class Interface>
  Interface* Serve() {
    layout_.emplace(Find(__uuidof(Interface)));
    EXPECT_TRUE(layout_->id() == __uuidof(Interface));
    face_ = {layout_->vtable(), &recorder_, &*layout_};
    return reinterpret_cast<Interface*>(&face_);
  }

  com::Ptr<ITypeLib> library_;
  Recorder recorder_;
  std::optional<ClientNotifyLayout> layout_;
  ClientNotifyFace face_ = {};
  const com::Bstr user_{u"User"};
  const com::Bstr path_{u"C:\\User"};
};

TEST_F(ClientNotifyTest, ADualInterfaceIsServedInItsOwnOrder) {
  ::IPDClientNotify* const notify = Serve<::IPDClientNotify>();
  long temp = 1;
  long fresh = 2;
  long preference = 4;
  EXPECT_EQ(
      notify->CfgConduit(0x6D656D6F, 9, user_.get(), path_.get(), 5, &temp, &fresh, &preference),
      S_OK);
  EXPECT_EQ(temp + fresh + preference, 18);
  EXPECT_EQ(notify->ConfigureConduit(path_.get(), user_.get(), &preference, 8), S_OK);
  EXPECT_EQ(preference, 3);
  VARIANT_BOOL failed = VARIANT_TRUE;
  EXPECT_EQ(notify->BeginProcess(&failed), S_OK);
  EXPECT_EQ(failed, VARIANT_FALSE);
  recorder_.begun = E_FAIL;
  EXPECT_EQ(notify->BeginProcess(&failed), E_FAIL);
  EXPECT_EQ(failed, VARIANT_TRUE) << "False is success";
  com::Variant info;
  EXPECT_EQ(notify->GetConduitInfo(1, 2, 3, user_.get(), info.get()), E_ABORT);
  EXPECT_EQ(V_I4(info.get()), 7);
  EXPECT_EQ(notify->BeginProcess(nullptr), E_POINTER);
  EXPECT_EQ(recorder_.calls,
            (std::vector<std::string>{"CfgConduit 1835363695 9 5 1 2 4 User C:\\User",
                                      "ConfigureConduit 6 8 C:\\User User", "BeginProcess",
                                      "BeginProcess", "GetConduitInfo 1 2 3 User"}));
  void* other = nullptr;
  EXPECT_EQ(notify->QueryInterface(IID_IUnknown, &other), S_FALSE) << "the object's identity";
  EXPECT_EQ(notify->Release(), 1U);

  // By name it goes by the ids of the library.
  recorder_.begun = S_OK;
  wchar_t text[] = L"BeginProcess";
  wchar_t* name = text;
  DISPID id = 0;
  ASSERT_EQ(notify->GetIDsOfNames(IID_NULL, &name, 1, 0, &id), S_OK);
  EXPECT_EQ(id, 13);
  DISPPARAMS none = {};
  com::Variant named;
  EXPECT_EQ(notify->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &none, named.get(), nullptr, nullptr),
            S_OK);
  EXPECT_EQ(V_VT(named.get()), VT_BOOL);
  EXPECT_EQ(V_BOOL(named.get()), VARIANT_FALSE);
  EXPECT_EQ(recorder_.calls.size(), 6U);
}

TEST_F(ClientNotifyTest, AnotherOrderBaseAndOtherNumbersAreServedToo) {
  ::IOtherNotify* const notify = Serve<::IOtherNotify>();
  ::SyncKind temp = ::kSlowKind;
  unsigned char preference = 200;
  EXPECT_EQ(
      notify->CfgConduit(-1, 9, user_.get(), path_.get(), ::kSlowKind, &temp, -2, &preference),
      S_OK);
  EXPECT_EQ(temp, 6);
  EXPECT_EQ(preference, 6);
  const CY money = {};
  com::Variant value(5);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(notify->Unknown(1.5, *value.get(), money, 2), E_NOTIMPL) << "the stack stays whole";
    ASSERT_EQ(notify->UnknownToo(), E_NOTIMPL);
  }
  short changed = -7;
  BSTR registry = user_.get();
  ::SyncKind type = ::kSlowKind;
  EXPECT_EQ(notify->ConfigureConduit(path_.get(), &registry, &changed, &type), S_OK);
  EXPECT_EQ(changed, 3);
  VARIANT_BOOL failed = VARIANT_TRUE;
  EXPECT_EQ(notify->BeginProcess(&failed), S_OK);
  EXPECT_EQ(failed, VARIANT_FALSE);
  EXPECT_EQ(recorder_.calls,
            (std::vector<std::string>{"CfgConduit -1 9 1 1 -2 200 User C:\\User",
                                      "ConfigureConduit -7 1 C:\\User User", "BeginProcess"}));
  EXPECT_EQ(layout_->dispatch(), nullptr);
}

TEST_F(ClientNotifyTest, WhatWouldNotFitIsRefusedWithItsReason) {
  const struct {
    IID id;
    const char* reason;
  } cases[] = {
      {__uuidof(::IOneMoreParameter), "BeginProcess: it has 2 parameters where Pylon knows 1."},
      {__uuidof(::IOneFewer), "ConfigureConduit: it has 3 parameters where Pylon knows 4."},
      {__uuidof(::IWideNumber), "GetConduitInfo: parameter 2 is of another type"},
      {__uuidof(::INoBegin), "BeginProcess: it is missing."},
      {__uuidof(::INoSlots), "it has no slots."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reason);
    try {
      ClientNotifyLayout layout(Find(c.id));
      ADD_FAILURE() << "served";
    } catch (const AutomationError& error) {
      EXPECT_NE(std::string(error.what()).find(c.reason), std::string::npos) << error.what();
    }
  }
}

TEST_F(ClientNotifyTest, ConstantsComeFromAnEnumThatHasThemAll) {
  constexpr suite::Constant kThere[] = {{L"eWriteMode", 90}, {L"eReadMode", 91}};
  EXPECT_EQ(ValuesOf(kThere, library_.get()), (std::vector<int32_t>{2, 1}));
  EXPECT_EQ(ValuesOf(kThere, nullptr), (std::vector<int32_t>{90, 91}));
  constexpr suite::Constant kOneAssumed[] = {{L"eReadMode", 91}, {L"eNobody", 92, true}};
  EXPECT_EQ(ValuesOf(kOneAssumed, library_.get()), (std::vector<int32_t>{1, 92}));
  // The decoy has two of the three names.
  EXPECT_EQ(ValuesOf(suite::kAccessModes, library_.get()),
            (std::vector<int32_t>{0x80, 0x40, 0x10}));
}

// Pylon.exe as HotSync meets it: another process, which asks for the interface of the library that
// is registered.
class PalmSyncServerTest : public testing::ServerTest {
 protected:
  ~PalmSyncServerTest() override {
    if (!registered_) return;
    for (const SYSKIND system : {SYS_WIN64, SYS_WIN32}) {
      (void)::UnRegisterTypeLib(suite::kLibraryId, 1, 0, 0, system);
    }
  }

  bool registered_ = false;
};

TEST_F(PalmSyncServerTest, HotSyncsInterfaceIsThereWhileItsLibraryIs) {
  // One that ends just now may take a call down with it.
  EXPECT_TRUE(testing::WaitUntil([] { return testing::ProcessesOf(testing::Program()).empty(); }));
  const std::u16string path = std::filesystem::absolute(kLayouts).u16string();
  com::Bstr there;
  if (FAILED(::QueryPathOfRegTypeLib(suite::kLibraryId, 1, 0, 0, there.Receive()))) {
    const auto plain = testing::CreateOutside<::_cPalmSync>(CLSID_cPalmSync);
    EXPECT_FALSE(plain.As<::IPDClientNotify>()) << "no library";
  } else if (!EqualsIgnoringCase(com::Text(there.get()), path)) {  // else a test was killed
    GTEST_SKIP() << "this PC has HotSync's library, which the test would replace";
  }

  com::Ptr<ITypeLib> library;
  com::Check(::LoadTypeLibEx(kLayouts, REGKIND_NONE, library.Receive()));
  registered_ = true;
  com::Check(::RegisterTypeLib(library.get(), const_cast<wchar_t*>(Wide(path)), nullptr));
  const auto object = testing::CreateOutside<::_cPalmSync>(CLSID_cPalmSync);
  const auto notify = object.As<::IPDClientNotify>();
  ASSERT_TRUE(notify);
  const com::Bstr text(u"User");
  long temp = 1;
  long fresh = 2;
  long preference = 4;
  EXPECT_EQ(
      notify->CfgConduit(0x6D656D6F, 9, text.get(), text.get(), 5, &temp, &fresh, &preference),
      suite::BasicError(ErrorNumber::kInvalidArgument))
      << "no conduit to configure";
  EXPECT_EQ(temp + fresh + preference, 7) << "left as they were";
  com::Variant info;
  EXPECT_EQ(notify->GetConduitInfo(2, 0x6D656D6F, 9, text.get(), info.Receive()), S_OK);
  EXPECT_EQ(V_VT(info.get()), VT_I4);
  // There is neither a conduit for it nor a suite.
  EXPECT_EQ(notify->GetConduitInfo(0, 0x6D656D6F, 9, text.get(), info.Receive()),
            suite::BasicError(ErrorNumber::kInvalidArgument));
  VARIANT_BOOL failed = VARIANT_FALSE;
  EXPECT_EQ(object->BeginProcess(&failed), suite::BasicError(ErrorNumber::kCannotCreateObject));
}

}  // namespace
}  // namespace pylon

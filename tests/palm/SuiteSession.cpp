#include "tests/palm/SuiteSession.h"

#include <cstdio>
#include <fstream>
#include <sstream>

#include "base/Text.h"
#include "simulators/palm/Database.h"
#include "tests/support/PdbTesting.h"

namespace pylon::palm::testing {
namespace {

using pylon::testing::Process;
using pylon::testing::Quoted;

std::string Hex(HRESULT result) {
  char text[16];
  std::snprintf(text, sizeof(text), "%08lX", static_cast<unsigned long>(result));
  return text;
}

std::string BytesOf(const VARIANT& value) {
  if (V_VT(&value) == VT_EMPTY) return "none";
  const Bytes bytes = com::ToBytes(value).bytes;
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

int32_t NumberOf(const VARIANT& value) {
  com::Variant number;
  EXPECT_EQ(::VariantChangeType(number.get(), const_cast<VARIANT*>(&value), 0, VT_I4), S_OK);
  return V_I4(number.get());
}

std::string TextOf(const VARIANT& value) {
  com::Variant text;
  EXPECT_EQ(
      ::VariantChangeTypeEx(text.get(), const_cast<VARIANT*>(&value), LOCALE_INVARIANT, 0, VT_BSTR),
      S_OK);
  return ToUtf8(com::Text(V_BSTR(text.get())));
}

// COM calls of other processes are served meanwhile.
void WaitFor(const Process& process) {
  for (int waited = 0; process.running() && waited < 120'000; waited += 10) {
    ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
  }
}

}  // namespace

int32_t Outcome::Number() const { return NumberOf(*value.get()); }
std::string Outcome::Text() const { return TextOf(*value.get()); }
std::string Outcome::AsBytes() const { return BytesOf(*value.get()); }
int32_t Variable::Number() const { return NumberOf(*value_.get()); }
std::string Variable::AsBytes() const { return BytesOf(*value_.get()); }
std::string Variable::Text() const { return TextOf(*value_.get()); }

Variable Variable::OfBytes(std::string_view bytes) {
  Variable variable;
  variable.value_ = com::FromBytes(std::as_bytes(std::span(bytes)));
  return variable;
}

Argument::Argument(int32_t number) : value(number) {}
Argument::Argument(bool given) {
  V_VT(value.get()) = VT_BOOL;
  V_BOOL(value.get()) = com::ToVariantBool(given);
}
Argument::Argument(const char16_t* text) {
  V_VT(value.get()) = VT_BSTR;
  V_BSTR(value.get()) = com::Bstr(std::u16string_view(text)).Detach();
}
Argument::Argument(VARIANT* variable) {
  V_VT(value.get()) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(value.get()) = variable;
}

Argument ByteArray(std::string_view bytes) {
  return Argument(com::FromBytes(std::as_bytes(std::span(bytes))));
}

Late::Late(Outcome&& outcome) {
  EXPECT_EQ(outcome.result, "ok") << outcome.words;
  if (V_VT(outcome.value.get()) == VT_DISPATCH) {
    object_ = com::Ptr<IDispatch>::Share(V_DISPATCH(outcome.value.get()));
  }
}

Late Late::Create(const wchar_t* prog_id, std::string* result) {
  CLSID id = {};
  HRESULT created = ::CLSIDFromProgID(prog_id, &id);
  com::Ptr<IDispatch> object;
  if (SUCCEEDED(created)) {
    created = ::CoCreateInstance(id, nullptr, CLSCTX_LOCAL_SERVER, IID_IDispatch,
                                 reinterpret_cast<void**>(object.Receive()));
  }
  if (result) {
    *result = SUCCEEDED(created) ? "ok" : Hex(created);
  } else {
    EXPECT_EQ(Hex(created), Hex(S_OK));
  }
  return Late(object);
}

DISPID Late::IdOf(const wchar_t* name) const {
  DISPID id = DISPID_UNKNOWN;
  auto* text = const_cast<wchar_t*>(name);
  object_->GetIDsOfNames(IID_NULL, &text, 1, LOCALE_INVARIANT, &id);
  return id;
}

Outcome Late::Invoke(const wchar_t* name, WORD flags, Argument* arguments, size_t count) const {
  std::vector<VARIANT> values;
  for (size_t i = count; i-- > 0;) values.push_back(*arguments[i].value.get());
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS parameters = {values.data(), nullptr, static_cast<UINT>(count), 0};
  if (flags & DISPATCH_PROPERTYPUT) {
    parameters.rgdispidNamedArgs = &put;
    parameters.cNamedArgs = 1;
  }
  Outcome outcome;
  EXCEPINFO info = {};
  HRESULT result = object_->Invoke(IdOf(name), IID_NULL, LOCALE_INVARIANT, flags, &parameters,
                                   outcome.value.get(), &info, nullptr);
  if (result == DISP_E_EXCEPTION) {
    result = info.scode;
    outcome.words = ToUtf8(com::Text(info.bstrDescription));
    EXPECT_NE(outcome.words, "");
  }
  ::SysFreeString(info.bstrSource);
  ::SysFreeString(info.bstrDescription);
  ::SysFreeString(info.bstrHelpFile);
  outcome.result = result == S_OK ? "ok" : Hex(result);
  return outcome;
}

std::filesystem::path Simulator() {
  return std::filesystem::absolute("simulators/palm/PalmSimulator.exe");
}

void SuiteSession::SetUpTestSuite() {
  com::Check(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  EXPECT_EQ(Process(Quoted(Simulator()) + u" /regserver").Wait(), 0u);
}

void SuiteSession::TearDownTestSuite() {
  EXPECT_EQ(Process(Quoted(Simulator()) + u" /unregserver").Wait(), 0u);
  ::CoUninitialize();
}

SuiteSession::SuiteSession() {
  std::filesystem::create_directory(folder_.path() / "handheld");
  (void)Run(u"/removeconduit tst1");  // of a run that was killed
  EXPECT_EQ(Run(u"/addconduit tst1 PalmTest.Conduit \"Test one\" Tests"), 0);
}

SuiteSession::~SuiteSession() { EXPECT_EQ(Run(u"/removeconduit tst1"), 0); }

int SuiteSession::Run(const std::u16string& arguments, std::string* said) {
  const std::filesystem::path output = folder_.path() / "said.txt";
  Process process(Quoted(Simulator()) + u" " + arguments, {}, output);
  WaitFor(process);
  const auto code = process.Wait();
  if (said) *said = pylon::testing::ReadFile(output);
  return code ? static_cast<int>(*code) : -1;
}

int SuiteSession::Sync(std::string_view settings, const std::function<void()>& body) {
  const std::filesystem::path ini = folder_.path() / "test.ini";
  std::ofstream(ini, std::ios::binary) << "[Session]\nConduits=tst1\n" << settings;
  bool called = false;
  conduit_.begin = [&]() -> TestConduit::Answer {
    called = true;
    if (body) body();
    return {};
  };
  const int code = Run(u"/sync " + Quoted(ini));
  EXPECT_TRUE(called || !body) << SessionLog();
  return code;
}

void SuiteSession::AddDatabase(const std::string& name,
                               const std::vector<NewRecord>& records) const {
  pylon::testing::FileImage image;
  image.name = name;
  image.creator = "tst1";
  image.seed = static_cast<uint32_t>(records.size());
  uint32_t id = 0;
  for (const NewRecord& record : records) {
    image.records.push_back({record.attributes, ++id, pylon::testing::Ascii(record.text)});
  }
  const Bytes bytes = image.Build();
  std::ofstream(folder_.path() / "handheld" / (name + ".pdb"), std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

Lines SuiteSession::FileRecords(const std::string& name) const {
  const std::string text = pylon::testing::ReadFile(folder_.path() / "handheld" / (name + ".pdb"));
  if (text.empty()) return {"no file"};
  const auto bytes = std::as_bytes(std::span(text));
  const Database database = Database::Parse({bytes.begin(), bytes.end()});
  Lines records;
  for (int32_t i = 0; const auto record = database.At(i); ++i) {
    records.push_back(
        std::to_string(record->id) + ":" + std::to_string(record->attributes) + ":" +
        std::string(reinterpret_cast<const char*>(record->data.data()), record->data.size()));
  }
  return records;
}

Lines SuiteSession::LogLines(std::string_view start) const {
  Lines lines;
  std::istringstream text(pylon::testing::ReadFile(folder_.path() / "handheld.log"));
  for (std::string line; std::getline(text, line);) {
    if (line.starts_with(start)) lines.push_back(line);
  }
  return lines;
}

std::string SuiteSession::SessionLog() const {
  return pylon::testing::ReadFile(folder_.path() / "hotsync.log");
}

Late SuiteSession::Open(const wchar_t* name, int32_t mode) {
  const Late query = Late::Create(L"PDDirect.PDDatabaseQuery");
  const auto text = FromWide(name);
  return Late(query.Call(L"OpenRecordDatabase", text.c_str(), u"PDDirect.PDRecordAdapter", mode));
}

namespace {

std::string Describe(const Outcome& outcome, const Variable& index, const Variable& id,
                     const Variable& category, const Variable& attributes) {
  if (outcome.result != "ok") return outcome.result;
  if (V_VT(outcome.value.get()) == VT_EMPTY) return "none";
  const std::string bytes = id.AsBytes();
  EXPECT_EQ(bytes.size(), 4u);
  return std::to_string(index.Number()) + ":" +
         std::to_string(static_cast<unsigned char>(bytes[3])) + ":" +
         std::to_string(category.Number()) + ":" + std::to_string(attributes.Number()) + ":" +
         outcome.AsBytes();
}

}  // namespace

std::string SuiteSession::Read(const Late& adapter, const wchar_t* member) {
  Variable index, id, category, attributes;
  const Outcome outcome =
      adapter.Call(member, index.Ref(), id.Ref(), category.Ref(), attributes.Ref());
  return Describe(outcome, index, id, category, attributes);
}

std::string SuiteSession::ReadAt(const Late& adapter, int32_t index) {
  Variable id, category, attributes;
  const Outcome outcome =
      adapter.Call(L"ReadByIndex", index, id.Ref(), category.Ref(), attributes.Ref());
  return Describe(outcome, Variable(index), id, category, attributes);
}

std::string SuiteSession::ReadById(const Late& adapter, int32_t id) {
  Variable index, category, attributes;
  const Outcome outcome =
      adapter.Call(L"ReadById", id, index.Ref(), category.Ref(), attributes.Ref());
  Variable bytes = Variable::OfBytes(std::string("\0\0\0", 3) + static_cast<char>(id));
  return Describe(outcome, index, bytes, category, attributes);
}

}  // namespace pylon::palm::testing

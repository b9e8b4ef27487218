// What a call to an automation class costs, in this process and across processes, and a whole run
// with a component that does nothing. A table of its own, since Google Benchmark's Debian package
// has no Windows library.
//
// Run it in the build tree, where Pylon.exe and probe.dll lie, with Pylon registered.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "automation/ByteStreamObject.h"
#include "automation/ClassFactory.h"
#include "base/AutomationError.h"
#include "tests/automation/Processes.h"
#include "tests/probe/ProbeRegistration.h"

namespace pylon {
namespace {

using Seconds = std::chrono::duration<double>;

// Takes the time of `calls` calls several times over and prints what one cost.
void Measure(const char* what, int calls, const std::function<void()>& call) {
  constexpr int kRounds = 11;
  std::vector<double> nanoseconds;
  for (int round = 0; round < kRounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) call();
    const Seconds spent = std::chrono::steady_clock::now() - start;
    nanoseconds.push_back(spent.count() * 1e9 / calls);
  }
  std::ranges::sort(nanoseconds);
  std::printf("%-44s %14.1f %14.1f %14.1f\n", what, nanoseconds.front(), nanoseconds[kRounds / 2],
              nanoseconds.back());
}

template <class T>
com::Ptr<T> Create(REFCLSID id, DWORD context) {
  com::Ptr<T> object;
  com::Check(::CoCreateInstance(id, nullptr, context, __uuidof(T),
                                reinterpret_cast<void**>(object.Receive())));
  return object;
}

void MeasureStream(const char* where, DWORD context, int calls) {
  const auto stream = Create<::_PDBByteStream>(CLSID_PDBByteStream, context);
  const std::string prefix = std::string(where) + ": ";
  long length = 0;
  long offset = 0;
  Measure((prefix + "length").c_str(), calls, [&] { com::Check(stream->get_length(&length)); });
  Measure((prefix + "LongToByte").c_str(), calls, [&] {
    offset = 0;
    com::Check(stream->LongToByte(7, &offset, VARIANT_TRUE));
  });
  const com::Variant array = com::FromBytes(Bytes(4096));
  Measure((prefix + "ByteArray of 4,096 bytes, in and out").c_str(), calls / 10 + 1, [&] {
    com::Check(stream->put_ByteArray(*array.get()));
    com::Variant copy;
    com::Check(stream->get_ByteArray(copy.Receive()));
  });
}

// As a component does it: a record with a field of each type, read from its stream, every field
// asked for and set again, and written. The fields stand in the order of their types.
void MeasureRecords() {
  const auto definition =
      Create<::_PDBAppforgeDefinition>(CLSID_PDBAppforgeDefinition, CLSCTX_INPROC_SERVER);
  for (int type = ::eByteField; type <= ::eSignatureField; ++type) {
    com::Check(definition->AddFieldName(nullptr, static_cast<::eFieldTypes>(type)));
  }
  const auto record = Create<::_PDBAppforgeRecord>(CLSID_PDBAppforgeRecord, CLSCTX_INPROC_SERVER);
  com::Check(record->putref_AppforgeDefinition(definition.get()));
  const com::Bstr text(u"Screws, 4 mm");
  com::Check(record->put_StringValue(::eStringField, text.get()));
  com::Check(record->put_StringValue(::eSignatureField, text.get()));
  com::Check(record->put_DateValue(::eDateField, 45'000.75));
  com::Check(record->put_DoubleValue(::eDoubleField, 1.0 / 3));
  com::Ptr<::_PDBByteStream> stream;
  com::Check(record->get_ByteStream(stream.Receive()));

  constexpr int kRecords = 65'535;
  Measure("65,535 records: read and write the bytes", kRecords, [&] {
    com::Check(record->putref_ByteStream(stream.get()));
    com::Ptr<::_PDBByteStream> written;
    com::Check(record->get_ByteStream(written.Receive()));
  });
  Measure("65,535 records: and get and set each field", kRecords, [&] {
    com::Check(record->putref_ByteStream(stream.get()));
    unsigned char byte = 0;
    short integer = 0;
    long whole = 0;
    float single = 0;
    double real = 0;
    DATE date = 0;
    VARIANT_BOOL boolean = VARIANT_FALSE;
    CURRENCY money = {};
    com::Check(record->get_ByteValue(::eByteField, &byte));
    com::Check(record->put_ByteValue(::eByteField, byte));
    com::Check(record->get_IntegerValue(::eIntegerField, &integer));
    com::Check(record->put_IntegerValue(::eIntegerField, integer));
    com::Check(record->get_LongValue(::eLongField, &whole));
    com::Check(record->put_LongValue(::eLongField, whole));
    com::Check(record->get_SingleValue(::eFloatField, &single));
    com::Check(record->put_SingleValue(::eFloatField, single));
    com::Check(record->get_BooleanValue(::eBooleanField, &boolean));
    com::Check(record->put_BooleanValue(::eBooleanField, boolean));
    com::Check(record->get_DateValue(::eDateField, &date));
    com::Check(record->put_DateValue(::eDateField, date));
    com::Check(record->get_DoubleValue(::eDoubleField, &real));
    com::Check(record->put_DoubleValue(::eDoubleField, real));
    com::Check(record->get_CurrencyValue(::eCurrencyField, &money));
    com::Check(record->put_CurrencyValue(::eCurrencyField, money));
    for (const short field : {short{::eStringField}, short{::eSignatureField}}) {
      com::Bstr copy;
      com::Check(record->get_StringValue(field, copy.Receive()));
      com::Check(record->put_StringValue(field, copy.get()));
    }
    com::Ptr<::_PDBByteStream> written;
    com::Check(record->get_ByteStream(written.Receive()));
  });
}

void MeasureRun() {
  testing::RegisterProbe();
  const testing::TemporaryFolder home;
  std::filesystem::copy_file("Pylon.exe", home.path() / "Pylon.exe");
  std::ofstream(home.path() / "Pylon.ini") << "[Probe]\nClassID=PylonProbe.Conduit\n";
  Measure("a run with an empty conduit", 1, [&] {
    testing::Process run(testing::Quoted(home.path() / "Pylon.exe") + u" -AppId Probe -Database 4",
                         {{u"PYLON_PROBE", u"ok"}});
    if (run.Wait() != 0U) throw std::runtime_error("the run failed");
  });
}

int Main() {
  com::Check(::OleInitialize(nullptr));
  std::printf("%-44s %14s %14s %14s\n", "nanoseconds", "minimum", "median", "maximum");
  {
    const SystemClock clock;
    Server server(u"Pylon.exe", AnsiCodePage::Windows1252(), clock, {});
    const ClassObjects classes(server, ClassObjects::Reach::kThisProcess);
    MeasureStream("in process", CLSCTX_INPROC_SERVER, 100'000);
    MeasureRecords();
  }
  MeasureStream("out of process", CLSCTX_LOCAL_SERVER, 500);
  MeasureRun();
  ::OleUninitialize();
  return 0;
}

}  // namespace
}  // namespace pylon

int main() try { return pylon::Main(); } catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}

// What a record in the AppForge format costs: 65,535 of them, with a field of each of the ten
// types, decoded from and encoded into streams. "Copy" is the yardstick: the same bytes copied into
// a plain struct and back, with nothing decoded.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "appforge/PDBAppforgeRecord.h"

namespace pylon {
namespace {

constexpr int32_t kRecords = 65535;

std::shared_ptr<PDBAppforgeDefinition> Definition() {
  auto definition = std::make_shared<PDBAppforgeDefinition>();
  for (int32_t type = eByteField; type <= eSignatureField; ++type) {
    definition->AddFieldName(u"field", type);
  }
  return definition;
}

// Positions are the types: the fields stand in the order of eFieldTypes.
void SetTyped(PDBAppforgeRecord& record, int32_t i) {
  record.SetByteValue(eByteField, static_cast<uint8_t>(i));
  record.SetIntegerValue(eIntegerField, static_cast<int16_t>(i));
  record.SetLongValue(eLongField, i * 1000);
  record.SetSingleValue(eFloatField, static_cast<float>(i) / 3);
  record.SetStringValue(eStringField, u"Screws, 4 mm");
  record.SetBooleanValue(eBooleanField, i % 2 == 0);
  record.SetDateValue(eDateField, 45000 + static_cast<double>(i) / 86400);
  record.SetDoubleValue(eDoubleField, i / 7.0);
  record.SetCurrencyValue(eCurrencyField, Currency{i * int64_t{12345}});
  record.SetStringValue(eSignatureField, u"20 letters of a sign");
}

void ReadTyped(const PDBAppforgeRecord& record) {
  benchmark::DoNotOptimize(record.ByteValue(eByteField));
  benchmark::DoNotOptimize(record.IntegerValue(eIntegerField));
  benchmark::DoNotOptimize(record.LongValue(eLongField));
  benchmark::DoNotOptimize(record.SingleValue(eFloatField));
  benchmark::DoNotOptimize(record.StringValue(eStringField));
  benchmark::DoNotOptimize(record.BooleanValue(eBooleanField));
  benchmark::DoNotOptimize(record.DateValue(eDateField));
  benchmark::DoNotOptimize(record.DoubleValue(eDoubleField));
  benchmark::DoNotOptimize(record.CurrencyValue(eCurrencyField));
  benchmark::DoNotOptimize(record.StringValue(eSignatureField));
}

void ReadTexts(const PDBAppforgeRecord& record) {
  for (int16_t i = eByteField; i <= eSignatureField; ++i) {
    benchmark::DoNotOptimize(record.StringValue(i));
  }
}

std::vector<PDBByteStream> Streams() {
  PDBAppforgeRecord record;
  record.SetAppforgeDefinition(Definition());
  std::vector<PDBByteStream> streams(kRecords);
  for (int32_t i = 0; i < kRecords; ++i) {
    SetTyped(record, i);
    record.Encode(streams[static_cast<size_t>(i)]);
  }
  return streams;
}

void PerRecord(benchmark::State& state) {
  state.counters["per_record"] =
      benchmark::Counter(static_cast<double>(state.iterations() * kRecords),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void Copy(benchmark::State& state) {
  std::vector<PDBByteStream> streams = Streams();
  struct Plain {
    std::byte bytes[128];
    size_t size;
  };
  std::vector<Plain> records(streams.size());
  for (auto _ : state) {
    for (size_t i = 0; i < streams.size(); ++i) {
      const ByteSpan bytes = streams[i].RecordBytes();
      std::memcpy(records[i].bytes, bytes.data(), bytes.size());
      records[i].size = bytes.size();
      streams[i].Fill(ByteSpan(records[i].bytes, records[i].size));
    }
    benchmark::ClobberMemory();
  }
  PerRecord(state);
}

template <class Use>
void Decoding(benchmark::State& state, Use use) {
  std::vector<PDBByteStream> streams = Streams();
  PDBAppforgeRecord record;
  record.SetAppforgeDefinition(Definition());
  for (auto _ : state) {
    int32_t i = 0;
    for (PDBByteStream& stream : streams) {
      record.Decode(stream);
      use(record, stream, i++);
    }
    benchmark::ClobberMemory();
  }
  PerRecord(state);
}

void Decode(benchmark::State& state) {
  Decoding(state, [](auto&, auto&, int32_t) {});
}
void DecodeAndReadTyped(benchmark::State& state) {
  Decoding(state, [](auto& record, auto&, int32_t) { ReadTyped(record); });
}
void DecodeAndReadTexts(benchmark::State& state) {
  Decoding(state, [](auto& record, auto&, int32_t) { ReadTexts(record); });
}
void DecodeAndEncode(benchmark::State& state) {
  Decoding(state, [](auto& record, auto& stream, int32_t) { record.Encode(stream); });
}
void DecodeReadTypedAndEncode(benchmark::State& state) {
  Decoding(state, [](auto& record, auto& stream, int32_t) {
    ReadTyped(record);
    record.Encode(stream);
  });
}

void SetTypedAndEncode(benchmark::State& state) {
  std::vector<PDBByteStream> streams = Streams();
  PDBAppforgeRecord record;
  record.SetAppforgeDefinition(Definition());
  for (auto _ : state) {
    int32_t i = 0;
    for (PDBByteStream& stream : streams) {
      SetTyped(record, i++);
      record.Encode(stream);
    }
    benchmark::ClobberMemory();
  }
  PerRecord(state);
}

// A definition of as many fields as its block can hold.
void ReadLargeDefinition(benchmark::State& state) {
  PDBAppforgeDefinition definition;
  for (int32_t i = 0; i < 3000; ++i) definition.AddFieldName(u"abc", i % 10 + 1);
  const PDBByteStream block = definition.AppInfoBlock();
  for (auto _ : state) {
    if (!definition.IsAppforgeData(block)) state.SkipWithError("not read");
  }
}
void WriteLargeDefinition(benchmark::State& state) {
  PDBAppforgeDefinition definition;
  for (int32_t i = 0; i < 3000; ++i) definition.AddFieldName(u"abc", i % 10 + 1);
  for (auto _ : state) benchmark::DoNotOptimize(definition.AppInfoBlock());
}

BENCHMARK(Copy)->Unit(benchmark::kMillisecond);
BENCHMARK(Decode)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeAndReadTyped)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeAndReadTexts)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeAndEncode)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeReadTypedAndEncode)->Unit(benchmark::kMillisecond);
BENCHMARK(SetTypedAndEncode)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadLargeDefinition)->Unit(benchmark::kMicrosecond);
BENCHMARK(WriteLargeDefinition)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace pylon

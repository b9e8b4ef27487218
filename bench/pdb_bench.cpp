// The cost of a database on files in memory, beside the bare cost of moving the same bytes through
// the same file class: "Bare" benchmarks are the yardstick of the one that follows.

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>

#include "base/Text.h"
#include "pdb/PDBByteStream.h"
#include "pdb/PDBDatabasePC.h"
#include "pdb/PDBFormat.h"
#include "tests/support/MemoryDisk.h"

namespace pylon {
namespace {

using testing::MemoryCursorFile;
using testing::MemoryDisk;
using Stopwatch = std::chrono::steady_clock;

double SecondsSince(Stopwatch::time_point start) {
  return std::chrono::duration<double>(Stopwatch::now() - start).count();
}

MemoryDisk& Disk() {
  static MemoryDisk disk;
  disk.calls.clear();
  return disk;
}

std::u16string BenchFile(std::string_view name) { return u"C:\\bench\\" + FromUtf8(name); }

std::unique_ptr<PDBDatabasePC> NewDatabase(const std::u16string& path) {
  static const SystemClock clock;
  auto database = std::make_unique<PDBDatabasePC>(Disk().Factory()(), AnsiCodePage::Windows1252(),
                                                  clock, nullptr);
  database->SetPDBFilePath(path);
  database->SetDatabaseFor(dftWindows);
  return database;
}

Bytes RecordOf(size_t size, uint8_t fill) { return Bytes(size, std::byte{fill}); }

// The file of the benchmark's shape (range 0 records of range 1 bytes), made on first use.
std::u16string FileOf(const benchmark::State& state) {
  const std::u16string path = BenchFile(std::to_string(state.range(0)) + ".pdb");
  const auto database = NewDatabase(path);
  if (database->FileExists()) return path;
  database->CreateDatabase();
  const Bytes record = RecordOf(static_cast<size_t>(state.range(1)), 1);
  for (int64_t i = 0; i < state.range(0); ++i) {
    database->Update(0, 0, 0, 0, record);
  }
  database->CloseDatabase();
  return path;
}

size_t ListEnd(const benchmark::State& state) {
  return PDBHeader::kSize + PDBListEntry::kSize * static_cast<size_t>(state.range(0));
}
size_t FileSize(const benchmark::State& state) {
  return ListEnd(state) + static_cast<size_t>(state.range(0) * state.range(1));
}

void CountRecords(benchmark::State& state) {
  state.counters["per_record"] =
      benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BareReading(benchmark::State& state, size_t size) {
  MemoryCursorFile file(Disk());
  file.SetFullFileName(FileOf(state));
  for (auto _ : state) {
    file.OpenFile({}, u"R", {});
    Bytes bytes;
    const int32_t count = file.ReadByteArray(bytes, 0, static_cast<int32_t>(size), {});
    if (count != static_cast<int32_t>(size)) state.SkipWithError("short read");
    file.CloseFile();
    benchmark::DoNotOptimize(bytes.data());
  }
  CountRecords(state);
}

void OpenBare(benchmark::State& state) { BareReading(state, ListEnd(state)); }
void Open(benchmark::State& state) {
  const auto database = NewDatabase(FileOf(state));
  for (auto _ : state) {
    if (!database->OpenDatabase()) state.SkipWithError("not opened");
    database->CloseDatabase();
  }
  CountRecords(state);
}

void ReadAllBare(benchmark::State& state) { BareReading(state, FileSize(state)); }
void ReadAll(benchmark::State& state) {
  const auto database = NewDatabase(FileOf(state));
  PDBByteStream stream;
  for (auto _ : state) {
    database->OpenDatabase();
    int32_t index = 0;
    while (const std::optional<Record> record = database->Next()) {
      stream.Fill(record->data);
      index = record->index;
      benchmark::DoNotOptimize(stream.length());
    }
    database->CloseDatabase();
    if (index != state.range(0)) state.SkipWithError("records are missing");
  }
  CountRecords(state);
}

void WriteAll(PDBDatabase& database, ByteSpan record) {
  for (int32_t i = database.RecordCount(); i > 0; --i) {
    database.Update(i, 0, 1, eDirty, record);
  }
}

void UpdateAll(benchmark::State& state) {
  const auto database = NewDatabase(FileOf(state));
  const Bytes record = RecordOf(static_cast<size_t>(state.range(1)), 2);
  for (auto _ : state) {
    database->OpenDatabase();
    const auto start = Stopwatch::now();
    WriteAll(*database, record);
    state.SetIterationTime(SecondsSince(start));
    database->Abandon();
  }
  CountRecords(state);
}

// The least that a save needs, in its steps: a new file beside the old one, all its bytes in
// one write, the close, and the new file in the place of an old one of the same size.
void SaveBare(benchmark::State& state) {
  const Bytes bytes(FileSize(state), std::byte{1});
  MemoryCursorFile file(Disk());
  for (auto _ : state) {
    file.SetFullFileName(BenchFile("bare.pdb.new"));
    const auto start = Stopwatch::now();
    file.OpenFile({}, u"W", {});
    const bool good = file.WriteByteArray(bytes, 0, {}) == static_cast<int32_t>(bytes.size()) &&
                      file.CloseFile() && file.ReplaceFile(u"bare.pdb");
    state.SetIterationTime(SecondsSince(start));
    if (!good) state.SkipWithError("not written");
  }
  CountRecords(state);
}

// `all`: every record was changed; otherwise one, and the rest comes from the file.
void Saving(benchmark::State& state, bool all) {
  const std::u16string path = BenchFile("saved.pdb");
  Disk().files[path] = Disk().files[FileOf(state)];
  const auto database = NewDatabase(path);
  const Bytes record = RecordOf(static_cast<size_t>(state.range(1)), 3);
  for (auto _ : state) {
    database->OpenDatabase();
    if (all) {
      WriteAll(*database, record);
    } else {
      benchmark::DoNotOptimize(database->ByIndex(1));  // loads the file
      database->Update(1, 0, 0, 0, record);
    }
    const auto start = Stopwatch::now();
    database->CloseDatabase();
    state.SetIterationTime(SecondsSince(start));
  }
  CountRecords(state);
}
void SaveAllChanged(benchmark::State& state) { Saving(state, true); }
void SaveOneChanged(benchmark::State& state) { Saving(state, false); }

void FindById(benchmark::State& state) {
  const auto database = NewDatabase(FileOf(state));
  database->OpenDatabase();
  std::minstd_rand random(1);
  PDBByteStream stream;
  for (auto _ : state) {
    const auto id = static_cast<int32_t>(random() % static_cast<uint64_t>(state.range(0))) + 1;
    const std::optional<Record> record = database->ById(id);
    if (!record) state.SkipWithError("not found");
    stream.Fill(record->data);
  }
}

void RemoveOneByOne(benchmark::State& state) {
  const auto database = NewDatabase(FileOf(state));
  for (auto _ : state) {
    database->OpenDatabase();
    const auto start = Stopwatch::now();
    // In an order that is neither that of the file nor its reverse.
    const int64_t count = state.range(0);
    for (int64_t i = 0; i < count; ++i) {
      database->Remove(static_cast<int32_t>(i * 32771 % count) + 1);
    }
    state.SetIterationTime(SecondsSince(start));
    if (database->RecordCount() != 0) state.SkipWithError("records are left");
    database->Abandon();
  }
  CountRecords(state);
}

void ManyRecords(benchmark::internal::Benchmark* benchmark) {
  for (const int64_t count : {100, 10000, 65535}) benchmark->Args({count, 100});
}
void Shapes(benchmark::internal::Benchmark* benchmark) {
  ManyRecords(benchmark);
  benchmark->Args({1000, 100 * 1024 * 1024 / 1000})->Unit(benchmark::kMicrosecond);
}

BENCHMARK(OpenBare)->Apply(Shapes);
BENCHMARK(Open)->Apply(Shapes);
BENCHMARK(ReadAllBare)->Apply(Shapes);
BENCHMARK(ReadAll)->Apply(Shapes);
BENCHMARK(UpdateAll)->Apply(Shapes)->UseManualTime();
BENCHMARK(SaveBare)->Apply(Shapes)->UseManualTime();
BENCHMARK(SaveAllChanged)->Apply(Shapes)->UseManualTime();
BENCHMARK(SaveOneChanged)->Apply(Shapes)->UseManualTime();
BENCHMARK(FindById)->Apply(ManyRecords);
BENCHMARK(RemoveOneByOne)->Apply(ManyRecords)->UseManualTime();

}  // namespace
}  // namespace pylon

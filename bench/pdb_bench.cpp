// What a database costs on local files, beside the bare cost of moving the same bytes through the
// same file class: "Bare" benchmarks are the yardstick of the one that follows.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "base/Text.h"
#include "pdb/PDBDatabasePC.h"
#include "pdb/PDBFormat.h"
#include "tests/support/PosixFile.h"

namespace pylon {
namespace {

using testing::PosixFile;
using Stopwatch = std::chrono::steady_clock;

double SecondsSince(Stopwatch::time_point start) {
  return std::chrono::duration<double>(Stopwatch::now() - start).count();
}

// A folder of its own under the system's temporary one, gone at the end.
class BenchFolder {
 public:
  BenchFolder()
      : path_(std::filesystem::temp_directory_path() /
              ("pylon-bench-" + std::to_string(getpid()))) {
    std::filesystem::create_directory(path_);
  }
  ~BenchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::filesystem::path File(std::string_view name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

std::filesystem::path BenchFile(std::string_view name) {
  static const BenchFolder folder;
  return folder.File(name);
}

// As the file class wants it: folder and name are parted by a backslash.
std::u16string NameOf(const std::filesystem::path& path) {
  return FromUtf8(path.parent_path().string()) + u"\\" + FromUtf8(path.filename().string());
}

std::unique_ptr<PDBDatabasePC> NewDatabase(const std::filesystem::path& path) {
  static const SystemClock clock;
  auto database = std::make_unique<PDBDatabasePC>(std::make_unique<PosixFile>(),
                                                  AnsiCodePage::Windows1252(), clock, nullptr);
  database->SetPDBFilePath(NameOf(path));
  database->SetDatabaseFor(dftWindows);
  return database;
}

PDBByteStream RecordOf(size_t size, uint8_t fill) {
  PDBByteStream stream;
  stream.Fill(Bytes(size, std::byte{fill}));
  return stream;
}

// The file of the benchmark's shape (range 0 records of range 1 bytes), made on first use.
std::filesystem::path FileOf(const benchmark::State& state) {
  const std::filesystem::path path = BenchFile(std::to_string(state.range(0)) + ".pdb");
  const auto database = NewDatabase(path);
  if (database->FileExists()) return path;
  database->CreateDatabase();
  const PDBByteStream record = RecordOf(static_cast<size_t>(state.range(1)), 1);
  for (int64_t i = 0; i < state.range(0); ++i) {
    int32_t id = 0;
    database->Update(0, id, 0, 0, record);
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
  PosixFile file;
  file.SetFullFileName(NameOf(FileOf(state)));
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
    int32_t index = 0, id = 0, attributes = 0;
    int16_t category = 0;
    while (database->ReadNext(index, id, category, attributes, stream)) {
      benchmark::DoNotOptimize(stream.length());
    }
    database->CloseDatabase();
    if (index != state.range(0)) state.SkipWithError("records are missing");
  }
  CountRecords(state);
}

void WriteAll(PDBDatabase& database, const PDBByteStream& record) {
  for (int32_t i = database.RecordCount(); i > 0; --i) {
    int32_t id = 0;
    database.Update(i, id, 1, eDirty, record);
  }
}

void UpdateAll(benchmark::State& state) {
  const auto database = NewDatabase(FileOf(state));
  const PDBByteStream record = RecordOf(static_cast<size_t>(state.range(1)), 2);
  for (auto _ : state) {
    database->OpenDatabase();
    const auto start = Stopwatch::now();
    WriteAll(*database, record);
    state.SetIterationTime(SecondsSince(start));
    database->Abandon();
  }
  CountRecords(state);
}

// What no save can do without, in the steps of one: a new file beside the old one, all its bytes in
// one write, the close, and the new file in the place of an old one of the same size. Neither this
// nor the saves wait for the disk.
void SaveBare(benchmark::State& state) {
  const Bytes bytes(FileSize(state), std::byte{1});
  PosixFile file;
  for (auto _ : state) {
    file.SetFullFileName(NameOf(BenchFile("bare.pdb.new")));
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
  const std::filesystem::path path = BenchFile("saved.pdb");
  std::filesystem::copy_file(FileOf(state), path,
                             std::filesystem::copy_options::overwrite_existing);
  const auto database = NewDatabase(path);
  const PDBByteStream record = RecordOf(static_cast<size_t>(state.range(1)), 3);
  for (auto _ : state) {
    database->OpenDatabase();
    int32_t id = 0, attributes = 0;
    int16_t category = 0;
    PDBByteStream stream;
    if (all) {
      WriteAll(*database, record);
    } else {
      database->ReadNextByIndex(1, id, category, attributes, stream);  // loads the file
      database->Update(1, id, 0, 0, record);
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
  int32_t index = 0, attributes = 0;
  int16_t category = 0;
  for (auto _ : state) {
    const auto id = static_cast<int32_t>(random() % static_cast<uint64_t>(state.range(0))) + 1;
    if (!database->ReadNextById(index, id, category, attributes, stream)) {
      state.SkipWithError("not found");
    }
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

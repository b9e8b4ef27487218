// The cost of a sync index: a look-up among keys of three kinds, and the whole way of reading,
// looking up, changing and writing. The counters of the look-ups show how the fixed hash spreads
// such keys.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/Text.h"
#include "pdb/CHashTable.h"
#include "pdb/CSyncIndex.h"
#include "tests/support/MemoryDisk.h"

namespace pylon {
namespace {

enum Kind : int64_t { kNumbers, kFileNames, kGuids };

std::u16string KeyOf(Kind kind, int i, std::mt19937& random) {
  char text[64] = {};
  switch (kind) {
    case kNumbers:
      std::snprintf(text, sizeof text, "%d", i + 1);
      break;
    case kFileNames:
      std::snprintf(text, sizeof text, "Invoices\\Invoice %05d.txt", i + 1);
      break;
    case kGuids:
      std::snprintf(text, sizeof text, "%08x-%04x-%04x-%04x-%06x%06x", unsigned(random()),
                    unsigned(random() >> 16), unsigned(random() >> 16), unsigned(random() >> 16),
                    unsigned(random() >> 8), unsigned(random() >> 8));
      break;
  }
  return FromAscii(text);
}

std::vector<std::u16string> Keys(const benchmark::State& state) {
  std::mt19937 random(1);
  std::vector<std::u16string> keys;
  for (int i = 0; i < state.range(1); ++i) {
    keys.push_back(KeyOf(static_cast<Kind>(state.range(0)), i, random));
  }
  return keys;
}

void Count(benchmark::State& state, size_t keys) {
  state.counters["per_key"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(keys),
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void LookUp(benchmark::State& state) {
  std::vector<std::u16string> keys = Keys(state);
  CHashTable table;
  for (const std::u16string& key : keys) table.Add(key, 1);
  // In no order that memory knows.
  std::shuffle(keys.begin(), keys.end(), std::mt19937(2));
  for (auto _ : state) {
    for (const std::u16string& key : keys) benchmark::DoNotOptimize(table.Item(key));
  }
  Count(state, keys.size());
  const CHashTable::Shape shape = table.Measure();
  state.counters["buckets"] = shape.buckets;
  state.counters["longest"] = shape.longest_chain;
  state.counters["steps"] = shape.mean_steps;
}

// A sync that looks up every key and changes one in ten, file in memory.
void WholeSync(benchmark::State& state) {
  const std::vector<std::u16string> keys = Keys(state);
  testing::MemoryDisk folder;
  const SystemClock clock;
  const CSyncIndex::Surroundings surroundings{
      folder.Factory(), AnsiCodePage::Windows1252(), clock, nullptr, {}, u"C:\\data", u"PC"};
  const auto open = [&] {
    auto index = std::make_unique<CSyncIndex>(surroundings);
    index->SetDatabase({}, u"Bench");
    return index;
  };
  {
    const auto index = open();
    for (const std::u16string& key : keys) index->Add(key, 1);
    index->CloseIndex();
  }
  for (auto _ : state) {
    const auto index = open();
    int64_t sum = 0;
    for (const std::u16string& key : keys) sum += index->UniqueId(key);
    if (sum == 0) state.SkipWithError("an empty index");
    for (size_t i = 0; i < keys.size(); i += 10) {
      index->SetUniqueId(keys[i], index->UniqueId(keys[i]) + 1);
    }
    index->CloseIndex();
  }
  Count(state, keys.size());
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"kind", "keys"})
      ->ArgsProduct({{kNumbers, kFileNames, kGuids}, {1000, 10'000, 65'535}});
}
BENCHMARK(LookUp)->Apply(Sizes);
BENCHMARK(WholeSync)->Apply(Sizes)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace pylon

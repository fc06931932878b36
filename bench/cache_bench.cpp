// Cache store figures, each beside its floor in the same run.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "cache/CMyEncrypt.h"
#include "cache/record_format.h"
#include "common/json_text.h"
#include "typical_event.h"

namespace {

std::string BenchPath(const char* name) {
  return std::string("orin-bench-") + name + ".dat";
}

// Keeps the files small so both sides measure appends to a file of similar size.
void TrimEvery(benchmark::State& state, const std::string& path, std::int64_t& n) {
  if (++n % 4096 == 0) {
    state.PauseTiming();
    std::remove(path.c_str());
    state.ResumeTiming();
  }
}

// The cache lock's file goes beside the cache, as it does in the data folder the module writes
// to; without a folder for it the lock is tried twice and skipped on every append, which no
// installed module does.
void LockBesideTheCache() {
  static const int set =
      setenv("ORIN_LOCK_DIR", std::filesystem::current_path().string().c_str(), 0);
  (void)set;
}

void BM_AppendEvent(benchmark::State& state) {
  LockBesideTheCache();
  const std::string path = BenchPath("append");
  std::remove(path.c_str());
  orin::CAnalyticsFile file;
  const Json::Value event = orin::TypicalEvent(7);
  std::int64_t n = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(file.AppendEvent(path.c_str(), event));
    TrimEvery(state, path, n);
  }
  state.SetItemsProcessed(state.iterations());
  std::remove(path.c_str());
}
BENCHMARK(BM_AppendEvent);

// Floor: open, append and close the very bytes AppendEvent writes, nothing else.
void BM_AppendEvent_Floor(benchmark::State& state) {
  const std::string path = BenchPath("append-floor");
  std::remove(path.c_str());
  const std::string text = orin::ToFastText(orin::TypicalEvent(7));
  std::string record(4 + text.size(), '\0');
  orin::record::WriteLength(record.data(), static_cast<std::int32_t>(record.size()));
  std::memcpy(record.data() + 4, text.data(), text.size());
  std::int64_t n = 0;
  for (auto _ : state) {
    std::FILE* f = std::fopen(path.c_str(), "ab+");
    std::fwrite(record.data(), 1, record.size(), f);
    std::fclose(f);
    TrimEvery(state, path, n);
  }
  state.SetItemsProcessed(state.iterations());
  std::remove(path.c_str());
}
BENCHMARK(BM_AppendEvent_Floor);

constexpr int kReadBackEvents = 100000;

const std::string& ReadBackFile() {
  static const std::string path = [] {
    const std::string p = BenchPath("readback");
    std::remove(p.c_str());
    orin::CAnalyticsFile file;
    for (int i = 0; i < kReadBackEvents; ++i) file.AppendEvent(p.c_str(), orin::TypicalEvent(i));
    return p;
  }();
  return path;
}

// The delivery cycle's reading side (load, then take batches the size of one upload until done),
// beside two floors: JsonCpp parsing the same texts, already in memory and in the clear, one by
// one and dropped ("ratio"), and the same into arrays of one batch each ("ratio_same_batches"):
// the gap between the two is what JsonCpp's arrays and holding a batch cost. Every round runs all
// three, in turns which goes first, so a neighbour's load on a shared machine weighs on all alike.
constexpr std::int32_t kBatch = 100;

void BM_ReadBack_100k(benchmark::State& state) {
  const std::string& path = ReadBackFile();
  std::vector<std::string> texts;
  for (int i = 0; i < kReadBackEvents; ++i) texts.push_back(orin::ToFastText(orin::TypicalEvent(i)));
  orin::CAnalyticsFile file;
  const auto parse = [](const std::string& t, Json::Value& v) {
    benchmark::DoNotOptimize(orin::ParseJsonText(t.data(), t.data() + t.size(), v));
  };
  using Clock = std::chrono::steady_clock;
  double seconds[3] = {0, 0, 0};  // read-back, parsed and dropped, parsed into batches
  int round = 0;
  for (auto _ : state) {
    for (int turn = 0; turn < 3; ++turn) {
      const int which = (turn + round) % 3;
      const auto start = Clock::now();
      if (which == 0) {
        file.LoadFile(path.c_str());
        std::int64_t events = 0;
        for (;;) {
          Json::Value batch;
          std::int32_t count = kBatch;
          if (!file.ReadNextBatch(batch, count)) break;
          events += batch.size();
          benchmark::DoNotOptimize(batch);
        }
        if (events != kReadBackEvents) state.SkipWithError("short read");
      } else if (which == 1) {
        for (const std::string& t : texts) {
          Json::Value v;
          parse(t, v);
        }
      } else {
        for (std::size_t first = 0; first < texts.size(); first += kBatch) {
          Json::Value batch(Json::arrayValue);
          for (std::size_t i = first; i < first + kBatch && i < texts.size(); ++i) {
            parse(texts[i], batch.append(Json::Value()));
          }
          benchmark::DoNotOptimize(batch);
        }
      }
      const double took = std::chrono::duration<double>(Clock::now() - start).count();
      seconds[which] += took;
      if (which == 0) state.SetIterationTime(took);
    }
    ++round;
  }
  const double events = static_cast<double>(state.iterations()) * kReadBackEvents;
  state.SetItemsProcessed(static_cast<std::int64_t>(events));
  state.counters["floor_items_per_second"] = events / seconds[1];
  state.counters["ratio"] = seconds[1] / seconds[0];
  state.counters["ratio_same_batches"] = seconds[2] / seconds[0];
}
BENCHMARK(BM_ReadBack_100k)->UseManualTime()->Unit(benchmark::kMillisecond);

constexpr std::int32_t kMiB = 1 << 20;

void BM_XorWithKey_1MiB(benchmark::State& state) {
  orin::CMyEncrypt cipher;
  cipher.SetKey(orin::record::kCacheKey, orin::record::kCacheKeyLength);
  std::vector<char> in(kMiB, 'a'), out(kMiB);
  for (auto _ : state) {
    cipher.XorWithKey(in.data(), kMiB, out.data());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kMiB);
}
BENCHMARK(BM_XorWithKey_1MiB);

void BM_XorWithKey_1MiB_Floor(benchmark::State& state) {
  std::vector<char> in(kMiB, 'a'), out(kMiB);
  for (auto _ : state) {
    std::memcpy(out.data(), in.data(), kMiB);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kMiB);
}
BENCHMARK(BM_XorWithKey_1MiB_Floor);

}  // namespace

// The engine's two event paths, each beside its floor:
//   BM_PostEvent      the caller's cost of posting one typical event (about 12 properties)
//   BM_PostEvent_Floor  copying the same maps into a record, nothing else
//   BM_ReportNowCache   events/s cached on the caller's thread (ReportNow(true))
//   BM_ReportNowCache_Floor  the cache file's own append of the same event JSON
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "analytics/CQuillAnalyze.h"
#include "analytics/event_json.h"
#include "cache/CAnalyticsFile.h"

namespace {

using orin::CQuillAnalyze;

// A folder of its own under the system's temporary folder, removed afterwards.
class ScratchDir {
 public:
  ScratchDir() {
    static std::atomic<int> counter{0};
    path_ = std::filesystem::temp_directory_path() /
            ("orin-engine-bench-" +
             std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()) + "-" +
             std::to_string(counter++));
    std::filesystem::create_directories(path_);
  }
  ~ScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string File(const char* name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

struct EngineDeleter {
  void operator()(CQuillAnalyze* engine) const {
    engine->StopWorker();
    engine->Release();
  }
};
using EnginePtr = std::unique_ptr<CQuillAnalyze, EngineDeleter>;

// The common part of a typical event, as the facade sets it once.
void SetCommon(CQuillAnalyze& engine) {
  engine.SetCommonStringAt(0, "app-key-0123456789");
  engine.SetCommonStringAt(2, "Windows 10 Pro");
  engine.SetCommonInt64At(3, 19045);
  engine.SetCommonStringAt(4, "10.0");
  engine.SetCommonStringAt(7, "en");
  engine.SetCommonStringAt(8, "Professional");
  engine.SetCommonStringAt(9, "1700000000");
  engine.SetCommonDetailString("xid", "src-42");
}

// The per-event part: numbers, time stamp, version, one detail.
void SetEvent(CQuillAnalyze& engine, std::int32_t i) {
  engine.SetEventIds(3, i);
  engine.SetEventStringAt(5, "17.1.0.1234");
  engine.SetEventIntAt(11, 1);
  engine.SetEventDetailInt("size", i);
}

// An engine whose worker is stopped before it starts, so posted events stay queued and the
// figure holds the caller's work only.
EnginePtr NewPostingEngine(const ScratchDir& dir) {
  EnginePtr engine(new CQuillAnalyze);
  // No cache path: nothing is written to the configuration file beside the program.
  engine->InitializeWithIdFile("", dir.File("id.ini"), "", nullptr);
  engine->RequestStop();
  SetCommon(*engine);
  // The first post starts the (at once leaving) worker thread; keep that out of the figure.
  SetEvent(*engine, 0);
  engine->PostEvent(0);
  return engine;
}

constexpr std::int64_t kPostsPerEngine = 512;

void BM_PostEvent(benchmark::State& state) {
  ScratchDir dir;
  EnginePtr engine = NewPostingEngine(dir);
  std::int64_t posted = 0;
  for (auto _ : state) {
    if (posted == kPostsPerEngine) {
      state.PauseTiming();
      engine = NewPostingEngine(dir);
      posted = 0;
      state.ResumeTiming();
    }
    SetEvent(*engine, static_cast<std::int32_t>(posted));
    benchmark::DoNotOptimize(engine->PostEvent(0));
    ++posted;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PostEvent);

void BM_PostEvent_Floor(benchmark::State& state) {
  ScratchDir dir;
  EnginePtr engine = NewPostingEngine(dir);
  orin::PropertyMap common = engine->commonProperties();
  orin::PropertyMap commonDetails = engine->commonDetails();
  orin::PropertyMap event;
  orin::PropertyMap eventDetails;
  std::int32_t i = 0;
  for (auto _ : state) {
    event["t"] = orin::PropertyValue{orin::kPropertyInt, 1700000000, {}};
    event["v"] = orin::PropertyValue{orin::kPropertyText, 0, "17.1.0.1234"};
    event["c"] = orin::PropertyValue{orin::kPropertyInt, 1, {}};
    eventDetails["size"] = orin::PropertyValue{orin::kPropertyInt, i++, {}};
    orin::EventRecord record;
    record.properties = common;
    for (const auto& e : event) record.properties[e.first] = e.second;
    record.details = commonDetails;
    for (const auto& e : eventDetails) record.details[e.first] = e.second;
    benchmark::DoNotOptimize(record);
    event.clear();
    eventDetails.clear();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PostEvent_Floor);

void BM_ReportNowCache(benchmark::State& state) {
  ScratchDir dir;
  EnginePtr engine(new CQuillAnalyze);
  engine->InitializeWithIdFile(dir.File("KD_OF.dat"), dir.File("id.ini"), "", nullptr);
  SetCommon(*engine);
  std::int32_t i = 0;
  for (auto _ : state) {
    SetEvent(*engine, i++);
    if (!engine->ReportNow(true)) state.SkipWithError("cache write failed");
  }
  state.SetItemsProcessed(state.iterations());
  // The set-up recorded the cache path beside the program; leave no trace.
  std::remove(engine->GetConfigIniPath());
}
BENCHMARK(BM_ReportNowCache);

void BM_ReportNowCache_Floor(benchmark::State& state) {
  ScratchDir dir;
  EnginePtr engine = NewPostingEngine(dir);
  SetEvent(*engine, 1);
  orin::EventRecord record;
  engine->CollectEvent(record);
  const Json::Value event = orin::BuildEventJson(record);
  const std::string path = dir.File("KD_OF.dat");
  orin::CAnalyticsFile* file = orin::GetAnalyticsFile();
  for (auto _ : state) {
    if (!file->AppendEvent(path.c_str(), event)) state.SkipWithError("cache write failed");
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReportNowCache_Floor);

}  // namespace

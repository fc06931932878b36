// The facade, each figure beside its floor:
//   BM_HostPoint           the host thread's cost of SetPoint + SetPointParam + RecordPoint
//   BM_HostPoint_Floor     a bare lock + append + wake of the same request
//   BM_PointsToCache       points/s from the host's calls to the cache file, through the queue
//                          and the facade's thread
//   BM_PointsToCache_Floor the same work done directly on one thread: the environment refresh,
//                          the event JSON and the append
//   BM_BurstMemory         peak memory per queued point, a burst of 1,000,000 points posted
//                          faster than the thread drains them (counter bytes_per_point)
//   BM_BurstMemory_Floor   the same burst appended to a bare vector of requests
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "facade/CEventTap.h"
#include "facade/host_environment.h"
#include "platform/event.h"
#include "platform/thread.h"

namespace {

using orin::CEventTap;
using orin::EventTapRequest;

constexpr std::int32_t kBurst = 1000000;

// Every path of the module points into one scratch folder, set before anything reads them.
// Kept for the life of the process, since the cleanup runs at exit.
const std::string& Scratch() {
  static const std::string& dir = *new std::string([] {
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    std::string d = (std::filesystem::temp_directory_path() /
                     ("orin-facade-bench-" + std::to_string(stamp))).string();
    std::filesystem::create_directories(d + "/host");
    std::filesystem::create_directories(d + "/data");
    setenv("ORIN_HOST_DIR", (d + "/host").c_str(), 1);
    setenv("ORIN_COMMON_APPDATA", (d + "/data").c_str(), 1);
    setenv("ORIN_LOCK_DIR", d.c_str(), 1);
    std::ofstream(d + "/host/Version.ini") << "[VersionInfo]\nversionCode=7\n[ProductVersion]\nv=3\n";
    return d;
  }());
  return dir;
}

struct ScratchCleanup {
  ~ScratchCleanup() {
    std::error_code ec;
    std::filesystem::remove_all(Scratch(), ec);
  }
};

void WaitHandled(CEventTap& tap, std::uint64_t count) {
  while (tap.handledCount() < count) std::this_thread::sleep_for(std::chrono::milliseconds(1));  // leaves the cores to the work
}

// One facade for the whole run, started up like the product's: its thread never ends.
CEventTap& Facade() {
  static CEventTap* tap = [] {
    Scratch();
    auto* t = new CEventTap;
    // The figures measure the queue's growth, which the product bounds far below these bursts.
    t->SetQueueLimit(std::size_t(-1));
    WaitHandled(*t, 1);
    return t;
  }();
  return *tap;
}

void PostPoint(CEventTap& tap, std::int32_t i) {
  tap.SetPoint(3, i);
  tap.SetPointParam(0, "size", i);
  tap.RecordPoint();
}

void BM_HostPoint(benchmark::State& state) {
  CEventTap& tap = Facade();
  const std::uint64_t base = tap.handledCount();
  std::int32_t i = 0;
  for (auto _ : state) PostPoint(tap, ++i);
  state.SetItemsProcessed(state.iterations());
  WaitHandled(tap, base + static_cast<std::uint64_t>(i));  // not timed: the loop has ended
}

// A queue with the facade's shape and nothing else; its drainer throws the requests away.
struct BareQueue {
  std::vector<EventTapRequest> queue;
  std::mutex lock;
  orin::platform::EventHandle wake = orin::platform::CreateAutoResetEvent();
  std::atomic<bool> stop{false};
  std::thread drainer{[this] {
    std::vector<EventTapRequest> local;
    while (!stop.load()) {
      orin::platform::WaitEvent(wake);
      std::lock_guard<std::mutex> guard(lock);
      local.swap(queue);
      local.clear();
    }
  }};
  ~BareQueue() {
    stop = true;
    orin::platform::SignalEvent(wake);
    drainer.join();
  }
};

void BM_HostPoint_Floor(benchmark::State& state) {
  BareQueue q;
  EventTapRequest request;
  request.type = EventTapRequest::kRecordPoint;
  request.hasParam = 1;
  std::strcpy(request.paramName, "size");
  std::int32_t i = 0;
  for (auto _ : state) {
    request.second = ++i;
    request.paramValue = i;
    {
      std::lock_guard<std::mutex> guard(q.lock);
      q.queue.push_back(request);
    }
    orin::platform::SignalEvent(q.wake);
  }
  state.SetItemsProcessed(state.iterations());
}

constexpr std::int32_t kBatch = 2000;

void BM_PointsToCache(benchmark::State& state) {
  CEventTap& tap = Facade();
  for (auto _ : state) {
    const std::uint64_t base = tap.handledCount();
    for (std::int32_t i = 0; i < kBatch; ++i) PostPoint(tap, i);
    WaitHandled(tap, base + kBatch);
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

void BM_PointsToCache_Floor(benchmark::State& state) {
  Facade();  // the same engine, initialised the same way
  orin::IQuillAnalyze* engine = orin::GetAnalyzeEngine();
  for (auto _ : state) {
    for (std::int32_t i = 0; i < kBatch; ++i) {
      const std::string productId = orin::GetMarketingProductId();
      engine->SetEventIntAt(5, orin::GetEditionCode());
      engine->SetEventStringAt(11, productId);
      engine->SetEventIds(3, i);
      engine->SetEventDetailInt("size", i);
      engine->ReportNow(true);
    }
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

long ResidentKiB(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(field, 0) == 0) return std::atol(line.c_str() + std::strlen(field));
  }
  return 0;
}

// Peak resident memory added by `burst`, per point: the kernel's high-water mark is reset first.
template <typename Burst>
double PeakBytesPerPoint(Burst burst) {
  std::ofstream("/proc/self/clear_refs") << "5";
  const long before = ResidentKiB("VmRSS:");
  burst();
  const long peak = ResidentKiB("VmHWM:");
  return (peak - before) * 1024.0 / kBurst;
}

void BM_BurstMemory(benchmark::State& state) {
  CEventTap& tap = Facade();
  double perPoint = 0;
  for (auto _ : state) {
    const std::uint64_t base = tap.handledCount();
    perPoint = PeakBytesPerPoint([&] {
      for (std::int32_t i = 0; i < kBurst; ++i) PostPoint(tap, i);
    });
    state.PauseTiming();
    WaitHandled(tap, base + kBurst);
    state.ResumeTiming();
  }
  state.counters["bytes_per_point"] = perPoint;
  state.SetItemsProcessed(state.iterations() * kBurst);
}

void BM_BurstMemory_Floor(benchmark::State& state) {
  double perPoint = 0;
  for (auto _ : state) {
    std::vector<EventTapRequest> queue;
    EventTapRequest request;
    perPoint = PeakBytesPerPoint([&] {
      for (std::int32_t i = 0; i < kBurst; ++i) {
        request.second = i;
        queue.push_back(request);
      }
    });
    benchmark::DoNotOptimize(queue.data());
  }
  state.counters["bytes_per_point"] = perPoint;
  state.SetItemsProcessed(state.iterations() * kBurst);
}

// Wall-clock rates: the work happens on other threads too. A fixed count keeps the queue behind
// the host figure from growing without bound.
BENCHMARK(BM_HostPoint)->Iterations(200000)->UseRealTime();
BENCHMARK(BM_HostPoint_Floor)->Iterations(200000)->UseRealTime();
BENCHMARK(BM_PointsToCache)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_PointsToCache_Floor)->MinTime(1.0)->UseRealTime();
// The floor first: its vector goes back to the system when freed, while the facade's queue
// blocks stay in the heap and would hide the floor's growth from the high-water mark.
BENCHMARK(BM_BurstMemory_Floor)->Iterations(1)->Repetitions(1)->UseRealTime();
BENCHMARK(BM_BurstMemory)->Iterations(1)->Repetitions(1)->UseRealTime();

ScratchCleanup cleanup;

}  // namespace

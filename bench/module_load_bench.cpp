// The module's load as a host meets it (Linux only: the bench is a native program):
//   BM_ModuleLoad        dlopen of liborinpoint.so plus the first GetOrinPointObj call, on the
//                        calling thread (the module's start-up runs on its own thread)
//   BM_ModuleLoad_Floor  dlopen of a trivial module plus the call of its one function
// A module once loaded stays loaded (-z nodelete), so every round loads a fresh copy of the file,
// once the copies loaded before have gone idle. The libraries the module needs at load
// (libstdc++ and the C runtime) are already mapped in this process, as is libcurl, which each
// copy's own thread loads for its first exchange: the figure is the module's own mapping,
// relocation, constructors and call.
#include <dlfcn.h>
#include <time.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include <orinpoint/IEventTap.h>

namespace {

namespace fs = std::filesystem;

const fs::path& Copies() {
  static const fs::path dir = [] {
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    fs::path d = fs::temp_directory_path() / ("orin-load-bench-" + std::to_string(stamp));
    fs::create_directories(d / "data");
    // The started modules write their first-setup files here, not into the machine's folders.
    setenv("ORIN_COMMON_APPDATA", (d / "data").c_str(), 0);
    setenv("ORIN_HOST_DIR", d.c_str(), 0);
    setenv("ORIN_LOCK_DIR", d.c_str(), 0);
    return d;
  }();
  return dir;
}

struct CopiesCleanup {
  ~CopiesCleanup() {
    std::error_code ec;
    fs::remove_all(Copies(), ec);
  }
} cleanup;

int copies = 0;

// CPU time used so far by every thread of this process but the calling one.
std::int64_t OtherThreadsCpuNs() {
  timespec process{}, self{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &process);
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &self);
  return (process.tv_sec - self.tv_sec) * 1000000000LL + (process.tv_nsec - self.tv_nsec);
}

// Between rounds, untimed: spins (so this core stays as warm as in a back-to-back run) until the
// other threads have been idle for 5 ms, at most 300 ms. A host loads the module once; without
// this the start-up thread of the copy loaded in the previous round runs beside the next load on
// the two cores, and the figure measures that instead of the load.
void WaitUntilOtherThreadsAreIdle() {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(300);
  std::int64_t used = OtherThreadsCpuNs();
  auto idleSince = Clock::now();
  while (Clock::now() < deadline) {
    // The clock is read without entering the kernel; the CPU times only now and then.
    for (const auto until = Clock::now() + std::chrono::microseconds(250); Clock::now() < until;) {
    }
    const std::int64_t now = OtherThreadsCpuNs();
    if (now - used > 20000) {
      used = now;
      idleSince = Clock::now();
    } else if (Clock::now() - idleSince > std::chrono::milliseconds(5)) {
      return;
    }
  }
}

template <typename Call>
void LoadFreshCopies(benchmark::State& state, const char* original, const char* symbol, Call call) {
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path copy = Copies() / (std::to_string(++copies) + ".so");
    fs::copy_file(original, copy);
    WaitUntilOtherThreadsAreIdle();
    state.ResumeTiming();
    void* module = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
      state.SkipWithError(dlerror());
      return;
    }
    call(dlsym(module, symbol));
  }
}

void BM_ModuleLoad(benchmark::State& state) {
  LoadFreshCopies(state, ORIN_BENCH_MODULE, "GetOrinPointObj", [&](void* get) {
    benchmark::DoNotOptimize(reinterpret_cast<GetOrinPointObjFn>(get)());
  });
}

void BM_ModuleLoad_Floor(benchmark::State& state) {
  LoadFreshCopies(state, ORIN_BENCH_TRIVIAL, "TrivialExport", [&](void* f) {
    benchmark::DoNotOptimize(reinterpret_cast<int (*)()>(f)());
  });
}

// Each loaded module keeps its thread until the process ends: few rounds, real time.
BENCHMARK(BM_ModuleLoad)->Iterations(40)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ModuleLoad_Floor)->Iterations(40)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

// Cache delivery: events per second from a full cache to orincollect through the helper's
// delivery, beside the same batches posted straight to the collector; and the collector's intake
// of batches with a key beside the same batches without one. Needs ports 80 and 443 of
// 127.0.0.1, so ./dev bench runs it in a private network namespace; elsewhere it is skipped.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "common/json_text.h"
#include "helper/collector_client.h"
#include "helper/commands.h"
#include "helper/inflight.h"
#include "net/http_client.h"
#include "platform/files.h"
#include "platform/os.h"
#include "platform/process.h"
#include "platform/thread.h"
#include "typical_event.h"

namespace {

constexpr int kEvents = 10000;
constexpr int kBatch = 200;
const std::string kFolder = "orin-bench-collector";

bool Post(const char* path, bool get, bool secure, const std::string& body,
          const std::string& key = std::string()) {
  std::string headers = "content-type:application/json";
  if (!key.empty()) headers += "\r\nIdempotency-Key: " + key;
  orin::net::HttpRequestInfo request{"127.0.0.1", path, headers, body, get, secure, true};
  orin::net::HttpResponseInfo response;
  orin::net::ErrorInfo error;
  return orin::net::PostRequest(response, request, error) &&
         (response.statusCode == 200 || response.statusCode == 204);
}

// orincollect for the whole run, started on first use with a certificate made then.
bool CollectorUp() {
  static const bool up = [] {
    const std::string mk = "rm -rf " + kFolder + " && mkdir -p " + kFolder +
                           " && openssl req -x509 -newkey rsa:2048 -nodes -days 1"
                           " -subj /CN=127.0.0.1 -keyout " + kFolder + "/key.pem -out " +
                           kFolder + "/cert.pem >/dev/null 2>&1";
    if (std::system(mk.c_str()) != 0) return false;
    // The delivery's locks live in the cache's folder unless told otherwise; a run of this
    // benchmark alone has no data folder, so they go beside the collector's files.
    setenv("ORIN_LOCK_DIR", std::filesystem::absolute(kFolder).string().c_str(), 0);
    // ORIN_BENCH_COLLECTOR runs another build's collector, for a before-and-after in one state.
    const char* other = std::getenv("ORIN_BENCH_COLLECTOR");
    static orin::platform::ProcessHandle collector = orin::platform::StartProcess(
        std::string(other != nullptr && *other != '\0' ? other : ORIN_BENCH_COLLECTOR) + " serve --quiet --test-routes --db " + kFolder + "/events.db --cert " +
        kFolder + "/cert.pem --key " + kFolder + "/key.pem --ready " + kFolder + "/ready");
    if (collector == nullptr) return false;
    std::atexit([] {
      orin::platform::KillProcess(collector);
      orin::platform::WaitProcess(collector, 0xFFFFFFFFu);
    });
    for (int i = 0; i < 200; ++i) {
      if (std::ifstream(kFolder + "/ready")) return true;
      if (orin::platform::WaitProcess(collector, 50)) return false;  // it could not listen
    }
    return false;
  }();
  return up;
}

// The collector forgets what it stored, so every round writes into a database of the same size.
void ResetCollector() { Post("/collector/stage", false, false, "{}"); }

std::string FullCacheBytes() {
  const std::string path = kFolder + "/full.dat";
  std::remove(path.c_str());
  orin::CAnalyticsFile file;
  for (int n = 0; n < kEvents; ++n) file.AppendEvent(path.c_str(), orin::TypicalEvent(n));
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> Bodies() {
  std::vector<std::string> bodies;
  for (int first = 0; first < kEvents; first += kBatch) {
    Json::Value batch(Json::arrayValue);
    for (int n = first; n < first + kBatch; ++n) batch.append(orin::TypicalEvent(n));
    bodies.push_back(orin::ToFastText(batch));
  }
  return bodies;
}

// Every batch of a full cache, already serialised, posted one after another; with keys shaped
// like the helper's (claim id, first record, body hash) or without any.
bool PostBodies(const std::vector<std::string>& bodies, bool secure, bool keyed) {
  for (std::size_t i = 0; i < bodies.size(); ++i) {
    const std::string key =
        keyed ? "0123456789abcdef0123456789abcdef-" + std::to_string(i * kBatch) + "-89abcdef01234567"
              : std::string();
    if (!Post("/api/v2/soft/collect", false, secure, bodies[i], key)) return false;
  }
  return true;
}

void PostAll(benchmark::State& state, bool secure, bool keyed) {
  if (!CollectorUp()) {
    state.SkipWithError("no collector on ports 80/443 (run through ./dev bench)");
    return;
  }
  const std::vector<std::string> bodies = Bodies();
  for (auto _ : state) {
    state.PauseTiming();
    ResetCollector();
    state.ResumeTiming();
    if (!PostBodies(bodies, secure, keyed)) {
      state.SkipWithError("the collector refused a batch");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * kEvents);
  state.counters["batches"] = static_cast<double>(bodies.size());
}

// A full cache delivered by the helper, beside the same batches keyed as the helper keys them and
// posted straight to the collector. Every round does both, in turns which goes first, and the
// figure carries its floor and the ratio of the two: a shared machine's pace drifts by the second,
// and a floor measured in other rounds would carry that drift into the ratio.
void BM_CacheToCollector(benchmark::State& state) {
  if (!CollectorUp()) {
    state.SkipWithError("no collector on ports 80/443 (run through ./dev bench)");
    return;
  }
  const bool secure = state.range(0) != 0;
  const std::string bytes = FullCacheBytes();
  const std::vector<std::string> bodies = Bodies();
  orin::helper::Settings settings;
  settings.cachePath = kFolder + "/KD_OF.dat";
  settings.address = std::string(secure ? "https" : "http") + "://127.0.0.1/api/v2/soft/collect";
  const orin::helper::Report quiet(false);
  using Clock = std::chrono::steady_clock;
  const auto seconds = [](Clock::duration d) { return std::chrono::duration<double>(d).count(); };
  double helperSeconds = 0, floorSeconds = 0;
  bool helperFirst = true;
  for (auto _ : state) {
    orin::helper::Result result;
    bool posted = false;
    for (int turn = 0; turn < 2; ++turn) {
      ResetCollector();
      if ((turn == 0) == helperFirst) {
        std::ofstream(settings.cachePath, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
        const auto start = Clock::now();
        result = orin::helper::SubmitCache(settings, kBatch, quiet);
        const double took = seconds(Clock::now() - start);
        helperSeconds += took;
        state.SetIterationTime(took);
      } else {
        const auto start = Clock::now();
        posted = PostBodies(bodies, secure, true);
        floorSeconds += seconds(Clock::now() - start);
      }
    }
    helperFirst = !helperFirst;
    if (result.code != 0 || !posted) {
      state.SkipWithError(result.code != 0 ? result.reason.c_str() : "the collector refused a batch");
      return;
    }
  }
  const double events = static_cast<double>(state.iterations()) * kEvents;
  state.SetItemsProcessed(static_cast<std::int64_t>(events));
  state.counters["floor_items_per_second"] = events / floorSeconds;
  state.counters["ratio"] = floorSeconds / helperSeconds;
}
BENCHMARK(BM_CacheToCollector)->Arg(0)->Arg(1)->ArgName("https")->UseManualTime()->Unit(benchmark::kMillisecond);

// What the key costs the collector per batch (a unique-index insert in the batch's transaction):
// plain HTTP, where the collector's own work shows most.
void BM_CollectorKeyedIntake(benchmark::State& state) { PostAll(state, false, true); }
BENCHMARK(BM_CollectorKeyedIntake)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_CollectorKeyedIntake_Floor(benchmark::State& state) { PostAll(state, false, false); }
BENCHMARK(BM_CollectorKeyedIntake_Floor)->UseRealTime()->Unit(benchmark::kMillisecond);

// The module's device-id exchange as its client makes it over HTTPS: each call a fresh connection
// and a fresh handshake, the certificate checked as WinInet would ...
void BM_DeviceIdExchange(benchmark::State& state) {
  if (!CollectorUp()) {
    state.SkipWithError("no collector on ports 80/443 (run through ./dev bench)");
    return;
  }
  for (auto _ : state) {
    if (!Post("/api/tracking/devid", false, true, "{\"xid\":\"ab12cd34\"}\n")) {
      state.SkipWithError("the device-id exchange failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DeviceIdExchange)->UseRealTime()->Unit(benchmark::kMillisecond);

std::size_t Discard(char*, std::size_t size, std::size_t count, void*) { return size * count; }

// ... beside the same request through libcurl on a fresh connection that checks nothing, so it
// has no authorities to read.
void BM_DeviceIdExchange_Floor(benchmark::State& state) {
  if (!CollectorUp()) {
    state.SkipWithError("no collector on ports 80/443 (run through ./dev bench)");
    return;
  }
  const std::string body = "{\"xid\":\"ab12cd34\"}\n";
  for (auto _ : state) {
    CURL* c = curl_easy_init();
    curl_slist* headers = curl_slist_append(nullptr, "content-type:application/json");
    curl_easy_setopt(c, CURLOPT_URL, "https://127.0.0.1/api/tracking/devid");
    curl_easy_setopt(c, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(c, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(c, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(c, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(c, CURLOPT_FRESH_CONNECT, 1L);
    curl_easy_setopt(c, CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, Discard);
    const CURLcode code = curl_easy_perform(c);
    long status = 0;
    curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &status);
    curl_slist_free_all(headers);
    curl_easy_cleanup(c);
    if (code != CURLE_OK || status != 200) {
      state.SkipWithError("the bare exchange failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DeviceIdExchange_Floor)->UseRealTime()->Unit(benchmark::kMillisecond);

// What durability costs per batch: the count recorded after each delivered batch, written over the
// older copy in place and flushed to stable storage (in a delivery the flush overlaps the next
// post) ...
void BM_ProgressCommit(benchmark::State& state) {
  orin::platform::CreateDir(kFolder.c_str());
  const orin::helper::InflightFiles files(kFolder + "/commit.dat");
  orin::helper::ClaimProgress progress(files, "0123456789abcdef0123456789abcdef", 1 << 20);
  std::int32_t n = 0;
  for (auto _ : state) {
    ++n;  // with where the delivered records end, as a delivery records it
    benchmark::DoNotOptimize(progress.Record(n, std::int64_t{n} * 250) && progress.Flush());
  }
  std::remove(files.progress.c_str());
}
BENCHMARK(BM_ProgressCommit)->UseRealTime();

// ... beside the same write and rename without flushing anything.
void BM_ProgressCommit_Floor(benchmark::State& state) {
  orin::platform::CreateDir(kFolder.c_str());
  const std::string path = kFolder + "/commit-floor.dat.sent", next = path + ".next";
  std::int32_t n = 0;
  for (auto _ : state) {
    std::FILE* f = std::fopen(next.c_str(), "wb");
    std::fprintf(f, "%d %d %s\n", ++n, 1 << 20, "0123456789abcdef0123456789abcdef");
    std::fclose(f);
    benchmark::DoNotOptimize(std::rename(next.c_str(), path.c_str()));
  }
  std::remove(path.c_str());
}
BENCHMARK(BM_ProgressCommit_Floor)->UseRealTime();

}  // namespace

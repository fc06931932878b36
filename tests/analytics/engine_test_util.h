#pragma once
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "analytics/CQuillAnalyze.h"
#include "analytics/event_json.h"
#include "cache/CAnalyticsFile.h"
#include "common/json_text.h"
#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/thread.h"
#include "support/TempDir.h"

namespace orin::testing {

// Folder of the test program, with its separator: where the engine finds its INI files and helper.
inline std::string ProgramFolder() {
  char buffer[1024] = {};
  platform::HostExecutablePath(buffer, sizeof buffer);
  const std::string path(buffer);
  return path.substr(0, path.rfind(platform::kPathSep) + 1);
}

// The bound only keeps a broken test from hanging; it is never what a test checks.
template <typename Pred>
bool WaitUntil(Pred done, int boundMs = 30000) {
  for (int waited = 0; waited < boundMs && !done(); waited += 20) platform::SleepMs(20);
  return done();
}

struct EngineDeleter {
  void operator()(CQuillAnalyze* engine) const {
    engine->StopWorker();
    engine->Release();
  }
};
template <typename T = CQuillAnalyze>
using EnginePtr = std::unique_ptr<T, EngineDeleter>;

// Records the helper launches instead of running them; StoreEvent is the real one, recorded too.
// Safe to read from the test thread while the worker runs.
class RecordingEngine : public CQuillAnalyze {
 public:
  struct Call {
    std::string what;  // "store", "submit" or "submit_cache"
    std::string text;  // the event (store) or the array handed to the launcher (submit)
    bool wait;
  };
  bool StoreEvent(const EventRecord& record) override {
    const bool stored = CQuillAnalyze::StoreEvent(record);
    Add({"store", ToFastText(BuildEventJson(record)), false});
    return stored;
  }
  bool LaunchSubmit(const Json::Value& events, bool wait) override {
    Add({"submit", ToFastText(events), wait});
    return true;
  }
  bool LaunchCacheSubmit() override {
    Add({"submit_cache", {}, false});
    return true;
  }
  std::vector<Call> calls() {
    std::lock_guard<std::mutex> guard(lock_);
    return calls_;
  }
  std::vector<std::string> callNames(std::size_t from = 0) {
    std::vector<std::string> names;
    for (const Call& c : calls()) names.push_back(c.what);
    return std::vector<std::string>(names.begin() + static_cast<std::ptrdiff_t>(from), names.end());
  }
  bool WaitForCalls(std::size_t count) {
    return WaitUntil([&] { return calls().size() >= count; });
  }

 private:
  void Add(Call call) {
    std::lock_guard<std::mutex> guard(lock_);
    calls_.push_back(std::move(call));
  }
  std::mutex lock_;
  std::vector<Call> calls_;
};

// The engine caches the paths of its INI files per process, so every test shares the ones beside
// the program: they are removed before and after each test.
class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override { RemoveProgramFiles(); }
  void TearDown() override { RemoveProgramFiles(); }
  static void RemoveProgramFiles() {
    for (const char* name : {"OrAnacfg.ini", "other.ini", "BackupRecovery.ini", "orinhlp.ctl"}) {
      std::remove((ProgramFolder() + name).c_str());
    }
  }
  // A heap engine initialized on temp files (cache file, id file, no address).
  template <typename T = CQuillAnalyze>
  EnginePtr<T> MakeInitialized(const char* xid = nullptr) {
    EnginePtr<T> engine(new T);
    EXPECT_TRUE(engine->InitializeWithIdFile(cachePath(), dir.File("id.ini"), "", xid));
    return engine;
  }
  std::string cachePath() const { return dir.File("KD_OF.dat"); }
  std::string CachedEvents() {
    Json::Value all;
    GetAnalyticsFile()->ReadAllEvents(cachePath().c_str(), all);
    return ToFastText(all);
  }
  TempDir dir;
};

// The stand-in helper's log: one argument vector per run.
inline std::vector<std::vector<std::string>> ReadHelperLog(const std::string& path) {
  std::vector<std::vector<std::string>> runs;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    Json::Value args;
    runs.emplace_back();
    if (!ParseJsonText(line.data(), line.data() + line.size(), args)) continue;
    for (const Json::Value& a : args) runs.back().push_back(a.asString());
  }
  return runs;
}

// Points the stand-in helper at a log of the test's own, with a sleep before it logs.
inline void ControlHelper(const std::string& logPath, unsigned sleepMs = 0) {
  std::ofstream(ProgramFolder() + "orinhlp.ctl", std::ios::trunc) << logPath << "\n" << sleepMs << "\n";
}

}  // namespace orin::testing

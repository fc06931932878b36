#pragma once
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "analytics/CQuillAnalyze.h"
#include "analytics/event_json.h"
#include "cache/CAnalyticsFile.h"
#include "common/json_text.h"
#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/thread.h"
#include "support/TempDir.h"

namespace orin::testing {

// Folder of the test program (with its trailing separator): where the engine looks for its
// INI files and its helper.
inline std::string ProgramFolder() {
  char buffer[1024] = {};
  platform::HostExecutablePath(buffer, sizeof buffer);
  std::string path(buffer);
  return path.substr(0, path.rfind(platform::kPathSep) + 1);
}

// Polls until done() or the bound passes; the bound only stops a broken test from hanging.
template <typename Pred>
bool WaitUntil(Pred done, int boundMs = 30000) {
  for (int waited = 0; waited < boundMs; waited += 20) {
    if (done()) return true;
    platform::SleepMs(20);
  }
  return done();
}

// Deletes heap engines through Release, after stopping a worker they may have started.
struct EngineDeleter {
  void operator()(CQuillAnalyze* engine) const {
    engine->StopWorker();
    engine->Release();
  }
};
template <typename T>
using EnginePtr = std::unique_ptr<T, EngineDeleter>;

// An engine whose helper launches are recorded instead of run; StoreEvent is the real one and
// is recorded as well. Safe to inspect from the test thread while the worker runs.
class RecordingEngine : public CQuillAnalyze {
 public:
  struct Call {
    std::string what;  // "store", "submit", "submit_cache"
    std::string text;  // event JSON (store) or the array text handed to the launcher (submit)
    bool wait = false;
  };

  bool StoreEvent(const EventRecord& record) override {
    const bool stored = CQuillAnalyze::StoreEvent(record);
    Add({"store", ToFastText(BuildEventJson(record)), false});
    return stored;
  }
  bool LaunchSubmit(const Json::Value& events, bool wait) override {
    Add({"submit", ToFastText(events), wait});
    return launchResult;
  }
  bool LaunchCacheSubmit() override {
    Add({"submit_cache", {}, false});
    return launchResult;
  }

  std::vector<Call> calls() {
    std::lock_guard<std::mutex> guard(lock_);
    return calls_;
  }
  std::vector<std::string> callNames() {
    std::vector<std::string> names;
    for (const Call& c : calls()) names.push_back(c.what);
    return names;
  }
  bool WaitForCalls(std::size_t count) {
    std::unique_lock<std::mutex> guard(lock_);
    return changed_.wait_for(guard, std::chrono::seconds(30),
                             [&] { return calls_.size() >= count; });
  }

  bool launchResult = true;

 private:
  void Add(Call call) {
    std::lock_guard<std::mutex> guard(lock_);
    calls_.push_back(std::move(call));
    changed_.notify_all();
  }
  std::mutex lock_;
  std::condition_variable changed_;
  std::vector<Call> calls_;
};

// Fresh temp files for one engine, and the INI files beside the program removed before and after
// (the engine caches their paths per process, so every test shares the same ones).
class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override { RemoveProgramFiles(); }
  void TearDown() override { RemoveProgramFiles(); }

  static void RemoveProgramFiles() {
    for (const char* name : {"OrAnacfg.ini", "other.ini", "BackupRecovery.ini", "orinhlp.ctl",
                             "orinhlp.log"}) {
      std::remove((ProgramFolder() + name).c_str());
    }
  }

  // A heap engine of type T, initialized on temp files: cache path, id file, no address.
  template <typename T = CQuillAnalyze>
  EnginePtr<T> MakeInitialized(const char* xid = nullptr) {
    EnginePtr<T> engine(new T);
    EXPECT_TRUE(engine->InitializeWithIdFile(cachePath(), dir.File("id.ini"), "", xid));
    return engine;
  }

  std::string cachePath() const { return dir.File("KD_OF.dat"); }

  // Every event in the cache file, each as its compact text.
  std::vector<std::string> CachedEvents() {
    Json::Value all;
    std::vector<std::string> texts;
    if (!GetAnalyticsFile()->ReadAllEvents(cachePath().c_str(), all)) return texts;
    for (const Json::Value& event : all) texts.push_back(ToFastText(event));
    return texts;
  }

  TempDir dir;
};

// The stand-in helper's log: one argument vector per run.
inline std::vector<std::vector<std::string>> ReadHelperLog(const std::string& path) {
  std::vector<std::vector<std::string>> runs;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    Json::Value args;
    std::vector<std::string> run;
    if (ParseJsonText(line.data(), line.data() + line.size(), args) && args.isArray()) {
      for (const Json::Value& a : args) run.push_back(a.asString());
    }
    runs.push_back(run);
  }
  return runs;
}

// Points the stand-in helper at its own log, with an optional sleep before it logs.
inline void ControlHelper(const std::string& logPath, unsigned sleepMs = 0) {
  std::ofstream(ProgramFolder() + "orinhlp.ctl", std::ios::trunc) << logPath << "\n"
                                                                  << sleepMs << "\n";
}

}  // namespace orin::testing

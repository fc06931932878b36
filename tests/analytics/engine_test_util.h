#pragma once
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "analytics/CQuillAnalyze.h"
#include "analytics/event_json.h"
#include "common/json_text.h"
#include "support/HostFiles.h"

namespace orin::testing {

// Records the helper launches instead of starting them; stores really happen and are recorded.
// A store throws while `throwsLeft` is above 0, standing for anything that can throw inside.
class RecordingEngine : public CQuillAnalyze {
 public:
  ~RecordingEngine() override { StopWorker(); }
  bool StoreEvent(const EventRecord& record) override {
    if (throwsLeft-- > 0) throw std::runtime_error("store failed");
    const bool stored = CQuillAnalyze::StoreEvent(record);
    Add("store", ToFastText(BuildEventJson(record)));
    return stored;
  }
  bool LaunchSubmit(const Json::Value& events, bool wait) override {
    return Add(wait ? "submit wait" : "submit", ToFastText(events));
  }
  bool LaunchCacheSubmit() override { return Add("submit_cache", ""); }
  // What each call from the given one on was.
  std::vector<std::string> calls(std::size_t from = 0) {
    std::lock_guard<std::mutex> guard(lock_);
    return {names_.begin() + static_cast<std::ptrdiff_t>(from), names_.end()};
  }
  // The stored event, or the array handed to the launcher.
  std::string text(std::size_t call) {
    std::lock_guard<std::mutex> guard(lock_);
    return texts_.at(call);
  }
  std::atomic<int> throwsLeft{0};

 private:
  bool Add(const char* name, std::string text) {
    std::lock_guard<std::mutex> guard(lock_);
    names_.push_back(name);
    texts_.push_back(std::move(text));
    return true;
  }
  std::mutex lock_;
  std::vector<std::string> names_, texts_;
};

// Heap engines go through Release, so a leak or a wrong destructor shows under LeakSanitizer.
struct ReleaseEngine {
  void operator()(IQuillAnalyze* engine) const { engine->Release(); }
};
template <typename T = CQuillAnalyze>
using Engine = std::unique_ptr<T, ReleaseEngine>;

// The engine caches its INI paths per process, so every test shares the files beside the program.
class EngineTest : public ::testing::Test {
 protected:
  void SetUp() override { RemoveProgramFiles(); }
  void TearDown() override { RemoveProgramFiles(); }
  static void RemoveProgramFiles() {
    for (const char* name :
         {"OrAnacfg.ini", "other.ini", "BackupRecovery.ini", "orinhlp.ctl", "orinhlp.log"}) {
      std::remove(Beside(name).c_str());
    }
  }
  template <typename T = CQuillAnalyze>
  Engine<T> MakeInitialized() {
    Engine<T> engine(new T);
    EXPECT_TRUE(engine->InitializeWithIdFile(cachePath(), dir.File("id.ini"), "", nullptr));
    return engine;
  }
  std::string cachePath() const { return dir.File("KD_OF.dat"); }
  TempDir dir;
};

}  // namespace orin::testing

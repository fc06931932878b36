#include "analytics/CQuillAnalyze.h"

#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "analytics/event_json.h"
#include "analytics/worker_gate.h"
#include "cache/CAnalyticsFile.h"
#include "common/json_text.h"

namespace orin {

platform::ThreadHandle CQuillAnalyze::InvalidThread() {
  return reinterpret_cast<platform::ThreadHandle>(~static_cast<std::uintptr_t>(0));
}

CQuillAnalyze::CQuillAnalyze() : workerThread_(InvalidThread()) {}

// Neither stops nor waits for a worker: the owner calls StopWorker first.
CQuillAnalyze::~CQuillAnalyze() {
  if (workerThread_ != InvalidThread()) platform::CloseThread(workerThread_);
}

void CQuillAnalyze::Release() {
  // The process-wide engine sits in static storage and goes away with the module.
  if (processWide_) return;
  delete this;
}

std::int32_t CQuillAnalyze::GetLastErrorCode() {
  // Nothing ever writes the field after construction, so callers comparing it with system error
  // numbers never match; that is the behaviour the helper and its hosts were built around.
  return lastError_;
}

std::string CQuillAnalyze::CachePath() const {
  std::lock_guard<std::mutex> guard(cachePathLock_);
  return cachePath_;
}

void CQuillAnalyze::SetCachePath(std::string path) {
  std::lock_guard<std::mutex> guard(cachePathLock_);
  cachePath_ = std::move(path);
}

void CQuillAnalyze::StopWorkerAtExit() {
  static std::once_flag once;
  std::call_once(once, [this] {
    // Everything with static lifetime that a dispatch touches, built now if it is not yet.
    GetAnalyticsFile();
    ToFastText(BuildEventJson(EventRecord{}));
    WorkerGateHolds(PropertyMap{});
    GetHelperPath();
    std::atexit([] { GetAnalyzeEngine()->StopWorker(); });
  });
}

IQuillAnalyze* GetAnalyzeEngine() {
  static CQuillAnalyze* const engine = [] {
    static CQuillAnalyze instance;
    instance.processWide_ = true;
    return &instance;
  }();
  return engine;
}

}  // namespace orin

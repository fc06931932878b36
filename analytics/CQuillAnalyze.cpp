#include "analytics/CQuillAnalyze.h"

#include <cstdint>

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

IQuillAnalyze* GetAnalyzeEngine() {
  static CQuillAnalyze* const engine = [] {
    static CQuillAnalyze instance;
    instance.processWide_ = true;
    return &instance;
  }();
  return engine;
}

}  // namespace orin

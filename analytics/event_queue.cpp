#include <utility>

#include "analytics/CQuillAnalyze.h"
#include "analytics/worker_gate.h"

namespace orin {
namespace {

constexpr std::uint32_t kIdlePauseMs = 500;
constexpr std::uint32_t kEventPauseMs = 100;
constexpr std::uint32_t kStopWaitMs = 5000;

// target[key] = value for every entry; a whole-tree copy when target is still empty.
void Overlay(PropertyMap& target, const PropertyMap& source) {
  if (target.empty()) {
    target = source;
    return;
  }
  for (const auto& entry : source) target[entry.first] = entry.second;
}

// The thread body is a boundary: whatever an overridden loop throws ends the worker, not the host.
unsigned WorkerThreadProc(void* engine) {
  try {
    static_cast<CQuillAnalyze*>(engine)->WorkerLoop();
  } catch (...) {
  }
  return 0;
}

}  // namespace

bool CQuillAnalyze::PostEvent(std::int32_t dispatch) try {
  if (!initialized_) return false;
  if (workerThread_ == InvalidThread()) {
    if (processWide_) StopWorkerAtExit();
    workerThread_ = platform::StartThread(&WorkerThreadProc, this);
    // A failed start leaves nullptr, which this test lets through on purpose: the event is
    // still queued, and no later call tries to start a worker again.
    if (workerThread_ == InvalidThread()) return false;
  }
  EventRecord record;
  record.dispatch = dispatch;
  {
    std::lock_guard<std::recursive_mutex> state(stateLock_);
    CollectEvent(record);
  }
  std::lock_guard<std::mutex> guard(queueLock_);
  queue_.push_back(std::move(record));
  return true;
} catch (...) {
  return false;
}

void CQuillAnalyze::CollectEvent(EventRecord& record) {
  record.l = pendingL_;
  record.n = pendingN_;
  // Event values win over common ones of the same key.
  Overlay(record.properties, commonProperties_);
  Overlay(record.properties, eventProperties_);
  Overlay(record.details, commonDetails_);
  Overlay(record.details, eventDetails_);
  ClearEventProperties();
}

void CQuillAnalyze::ClearEventProperties() {
  eventProperties_.clear();
  eventDetails_.clear();
  pendingL_ = 0;
  pendingN_ = 0;
}

void CQuillAnalyze::WorkerLoop() {
  EventRecord record;
  for (;;) {
    if (stopRequested_) return;
    bool gateHolds;
    {
      std::lock_guard<std::recursive_mutex> state(stateLock_);
      gateHolds = WorkerGateHolds(commonProperties_);
    }
    {
      std::unique_lock<std::mutex> guard(queueLock_);
      if (queue_.empty() || gateHolds) {
        guard.unlock();
        platform::SleepMs(kIdlePauseMs);
        continue;
      }
      record = std::move(queue_.front());
      queue_.pop_front();
    }
    try {
      DispatchQueued(record);
    } catch (...) {
      // Dropped, as any event that could not be stored or handed over; the worker goes on.
    }
    platform::SleepMs(kEventPauseMs);
  }
}

// Results are ignored: an event that could not be stored or handed over is dropped.
void CQuillAnalyze::DispatchQueued(const EventRecord& record) {
  if (record.dispatch == kDispatchCache || forceCache_ || !sendEnabled_) {
    StoreEvent(record);
  } else if (record.dispatch == kDispatchSend) {
    SendEvent(record, false);
  } else {
    StoreEvent(record);
    LaunchCacheSubmit();
  }
}

// The stop flag is never cleared: a later PostEvent starts a worker that leaves at once, and its
// events stay queued for good.
bool CQuillAnalyze::StopWorker() try {
  if (workerThread_ == InvalidThread()) return true;
  stopRequested_ = true;
  platform::WaitThread(workerThread_, kStopWaitMs);
  platform::CloseThread(workerThread_);
  workerThread_ = InvalidThread();
  return true;
} catch (...) {
  return true;
}

void CQuillAnalyze::RequestStop() { stopRequested_ = true; }

std::size_t CQuillAnalyze::queuedCount() {
  std::lock_guard<std::mutex> guard(queueLock_);
  return queue_.size();
}

}  // namespace orin

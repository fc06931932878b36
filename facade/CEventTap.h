#pragma once
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <deque>

#include <orinpoint/IEventTap.h>
#include <orinpoint/IQuillAnalyze.h>

#include "facade/EventTapRequest.h"
#include "platform/event.h"

namespace orin {

// The facade behind the module's export. Host calls become requests that one thread of the
// facade's own handles in order; the lock guards the queue only. The pending point is unlocked:
// one host thread at a time fills and posts it. The engine belongs to the engine's own singleton.
class CEventTap : public IEventTap {
 public:
  CEventTap();
  // Frees the queue only; the thread, the event and the lock stay until the process ends.
  ~CEventTap();
  // What the module's exit routine does: frees the queue, as the destructor would, but keeps
  // the object alive, since its thread may still wake and look at the (empty) queue.
  void ReleaseQueue();
  CEventTap(const CEventTap&) = delete;
  CEventTap& operator=(const CEventTap&) = delete;

  // IEventTap, in its order. Each is a boundary towards the host: nothing thrown inside leaves.
  void SetPoint(std::int32_t first, std::int32_t second) override;
  void SubmitCache() override;
  void RecordPoint() override;
  void PrepareAndSubmitCache() override;
  void PreparePoint(std::int32_t first, std::int32_t second) override;
  void ReportPointNow() override;
  void SubmitCacheNow() override;
  void SetPointParam(std::int32_t kind, const char* name, std::int32_t value) override;

  // Requests posted and not yet taken by the thread, and requests the thread has finished; for
  // diagnostics, tests and benchmarks.
  std::size_t queuedCount();
  std::uint64_t handledCount() const { return handled_.load(std::memory_order_acquire); }

 private:
  static unsigned ThreadMain(void* self);
  void Post();
  void PostAs(std::int32_t type);
  void Handle(const EventTapRequest& request);
  void InitializeEngine();
  void RegisterExitHook();
  // The per-event values every point carries: the edition ("v") and the product id ("c").
  void RefreshEnvironment(IQuillAnalyze* engine);
  // The synchronous operations wait for the start-up request, so a point reported right after
  // the first GetOrinPointObj is not lost; nullptr when there is no engine to call.
  IQuillAnalyze* EngineAfterStartUp();
  void MarkStartUpDone();

  // A deque rather than one contiguous array: a burst of posts never copies or re-faults the
  // whole queue on the host's thread as it grows.
  std::deque<EventTapRequest> queue_;
  platform::EventHandle wake_ = nullptr;
  std::mutex queueLock_;
  // Written by the facade thread, read by host threads for the synchronous operations.
  std::atomic<IQuillAnalyze*> engine_{nullptr};
  EventTapRequest pending_;
  std::mutex startUpLock_;
  std::condition_variable startUpDone_;
  bool startUpFinished_ = false;
  std::atomic<std::uint64_t> handled_{0};
  // Held while one request is handled. At process exit the facade stops handling requests
  // before the engine and the cached paths it uses are destroyed (POSIX runs those destructors
  // while other threads still run; Windows ends them first).
  std::mutex handling_;
  bool exiting_ = false;

 public:
  // Registered with the runtime's exit list once the engine exists, so it runs before the
  // engine's own destruction: waits for the request in hand and handles no other.
  void StopHandlingAtExit();
};

}  // namespace orin

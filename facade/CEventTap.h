#pragma once
#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include <orinpoint/IEventTap.h>

#include "analytics/CQuillAnalyze.h"
#include "facade/EventTapRequest.h"
#include "platform/event.h"

namespace orin {

// The facade behind the module's export. Host calls become requests that one thread of the
// facade's own handles in order; the lock guards the queue only. The pending point is unlocked:
// one host thread at a time fills and posts it. The engine belongs to the engine's own singleton;
// its state lock keeps a point filled on the host's thread and one filled on the facade's thread
// apart.
class CEventTap : public IEventTap {
 public:
  // Requests waiting beyond this are refused (and counted): a facade thread stuck on the cache
  // mutex must not grow the host's heap for good. About 4.5 MB of queue.
  static constexpr std::size_t kDefaultQueueLimit = 16384;

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

  // Requests posted and not yet taken by the thread, requests the thread has finished, and
  // posts refused because the queue was full; for diagnostics, tests and benchmarks.
  std::size_t queuedCount();
  std::uint64_t handledCount() const { return handled_.load(std::memory_order_acquire); }
  std::uint64_t refusedCount() const { return refused_.load(std::memory_order_acquire); }
  void SetQueueLimit(std::size_t limit) { queueLimit_.store(limit); }

  // Registered with the runtime's exit list before the start-up's first network exchange, so it
  // runs before the engine, the transport and the cached paths are destroyed: ends any exchange
  // in flight, waits for the request in hand and handles no other.
  void StopHandlingAtExit();

 private:
  // The per-event values every point carries, read from the host's files before the engine's
  // state lock is taken: the edition ("v") and the product id ("c").
  struct PointEnvironment {
    std::int32_t edition = 0;
    std::string productId;
  };

  static unsigned ThreadMain(void* self);
  void Post();
  void PostAs(std::int32_t type);
  // False when the queue is full and the request was refused.
  bool Enqueue(const EventTapRequest& request);
  void Handle(const EventTapRequest& request);
  void InitializeEngine();
  void RegisterExitHook();
  static PointEnvironment ReadPointEnvironment();
  // The fill that SetEventIds and the optional parameter make of a request, as one step of the
  // engine's state.
  void ReportOrPrepare(CQuillAnalyze* engine, const EventTapRequest& request);
  void MarkStartUpDone();
  // True when the synchronous work must go to the facade's thread; then it has been queued.
  bool HandOver(const EventTapRequest& request);

  // A deque rather than one contiguous array: a burst of posts never copies or re-faults the
  // whole queue on the host's thread as it grows.
  std::deque<EventTapRequest> queue_;
  platform::EventHandle wake_ = nullptr;
  std::mutex queueLock_;
  // Written by the facade thread, read by host threads for the synchronous operations.
  std::atomic<CQuillAnalyze*> engine_{nullptr};
  EventTapRequest pending_;
  // Until the start-up request has run, the synchronous operations hand their work to the
  // facade's thread instead of waiting on the host's; while some of that work is still queued,
  // later ones follow it there, so they stay in the order the host made them.
  std::atomic<bool> startUpFinished_{false};
  std::atomic<std::uint32_t> handedOver_{0};
  std::atomic<std::uint64_t> handled_{0};
  std::atomic<std::uint64_t> refused_{0};
  std::atomic<std::size_t> queueLimit_{kDefaultQueueLimit};
  // Held while one request is handled. At process exit the facade stops handling requests
  // before the engine and the cached paths it uses are destroyed (POSIX runs those destructors
  // while other threads still run; Windows ends them first).
  std::mutex handling_;
  bool exiting_ = false;
};

}  // namespace orin

#include "facade/CEventTap.h"

#include <cstring>
#include <utility>

#include "platform/os.h"
#include "platform/text.h"
#include "platform/thread.h"

namespace orin {
namespace {

// Indexes into the engine's short-key table.
constexpr std::int32_t kKeyEdition = 5;     // "v"
constexpr std::int32_t kKeyProductId = 11;  // "c"

}  // namespace

CEventTap::CEventTap() {
  pending_.Reset();
  wake_ = platform::CreateAutoResetEvent();
  queue_.clear();
  // Never joined: the thread lives as long as the process.
  platform::ThreadHandle thread = platform::StartThread(&CEventTap::ThreadMain, this);
  if (thread != nullptr) {
    platform::CloseThread(thread);
  } else {
    MarkStartUpDone();  // nothing will ever initialise the engine: never wait for it
  }
  pending_.type = EventTapRequest::kInitialize;
  try {
    Post();
  } catch (...) {
    pending_.Reset();  // no initialisation: the engine then ignores every point
  }
}

CEventTap::~CEventTap() { ReleaseQueue(); }

void CEventTap::ReleaseQueue() {
  std::lock_guard<std::mutex> guard(queueLock_);
  std::deque<EventTapRequest>().swap(queue_);
}

unsigned CEventTap::ThreadMain(void* self) {
  auto* tap = static_cast<CEventTap*>(self);
  std::deque<EventTapRequest> local;
  for (;;) {
    if (!platform::WaitEvent(tap->wake_)) platform::SleepMs(100);
    {
      std::lock_guard<std::mutex> guard(tap->queueLock_);
      if (tap->queue_.empty()) continue;
      local.swap(tap->queue_);
    }
    for (const EventTapRequest& request : local) {
      std::lock_guard<std::mutex> busy(tap->handling_);
      if (tap->exiting_) break;
      tap->Handle(request);
      tap->handled_.fetch_add(1, std::memory_order_release);
    }
    local.clear();  // a deque gives its blocks back as it empties
  }
}

// Boundary of the facade thread: a request that throws is dropped, the next ones still run.
void CEventTap::Handle(const EventTapRequest& request) {
  const bool handedOver = request.type == EventTapRequest::kReportNowCache ||
                          request.type == EventTapRequest::kReportNowSend ||
                          request.type == EventTapRequest::kSubmitCacheNow;
  try {
    switch (request.type) {
      case EventTapRequest::kInitialize:
        InitializeEngine();
        break;
      case EventTapRequest::kSubmitCache:
      case EventTapRequest::kSubmitCacheNow:
        if (CQuillAnalyze* engine = engine_.load()) engine->LaunchCacheSubmit();
        break;
      case EventTapRequest::kRecordPoint:
      case EventTapRequest::kPrepareAndSubmit:
      case EventTapRequest::kReportNowCache:
      case EventTapRequest::kReportNowSend:
        if (CQuillAnalyze* engine = engine_.load()) ReportOrPrepare(engine, request);
        break;
      default:
        break;
    }
  } catch (...) {
  }
  if (request.type == EventTapRequest::kInitialize) MarkStartUpDone();
  if (handedOver) handedOver_.fetch_sub(1);
}

// The file reads come first, outside the engine's state lock; the engine's setters and the
// collection of the point then run as one step, so a point filled on another thread never mixes
// into this one. The store, the helper's start and its wait come after the lock.
void CEventTap::ReportOrPrepare(CQuillAnalyze* engine, const EventTapRequest& request) {
  const PointEnvironment environment = ReadPointEnvironment();
  // The host's code page becomes UTF-8 here, on the facade's thread, not in SetPointParam.
  const std::string paramName =
      request.hasParam != 0 ? platform::HostTextToUtf8(request.paramName) : std::string();
  auto fill = [&] {
    engine->SetEventIntAt(kKeyEdition, environment.edition);
    engine->SetEventStringAt(kKeyProductId, environment.productId);
    engine->SetEventIds(request.first, request.second);
    if (request.hasParam != 0) engine->SetEventDetailInt(paramName, request.paramValue);
  };
  switch (request.type) {
    case EventTapRequest::kPrepareAndSubmit:
      // The point stays pending in the engine; its next report carries it.
      engine->FillEvent(fill);
      engine->LaunchCacheSubmit();
      return;
    case EventTapRequest::kReportNowSend:
      engine->FillAndReport(fill, false);
      return;
    default:
      engine->FillAndReport(fill, true);
      return;
  }
}

void CEventTap::StopHandlingAtExit() {
  // Windows has already ended the thread, possibly in the middle of a request with the lock
  // held: waiting for it would hang the exit.
  if (platform::kIsWindows) return;
  std::lock_guard<std::mutex> busy(handling_);
  exiting_ = true;
}

void CEventTap::MarkStartUpDone() { startUpFinished_.store(true, std::memory_order_release); }

bool CEventTap::Enqueue(const EventTapRequest& request) {
  {
    std::lock_guard<std::mutex> guard(queueLock_);
    if (queue_.size() >= queueLimit_.load(std::memory_order_relaxed)) {
      refused_.fetch_add(1, std::memory_order_relaxed);
      return false;
    }
    queue_.push_back(request);
  }
  platform::SignalEvent(wake_);
  return true;
}

bool CEventTap::HandOver(const EventTapRequest& request) {
  if (startUpFinished_.load(std::memory_order_acquire) && handedOver_.load() == 0) return false;
  handedOver_.fetch_add(1);
  if (!Enqueue(request)) handedOver_.fetch_sub(1);
  return true;
}

void CEventTap::Post() {
  Enqueue(pending_);
  pending_.Reset();
}

std::size_t CEventTap::queuedCount() {
  std::lock_guard<std::mutex> guard(queueLock_);
  return queue_.size();
}

void CEventTap::SetPoint(std::int32_t first, std::int32_t second) {
  pending_.first = first;
  pending_.second = second;
}

// The posting operations are boundaries towards the host: a failed allocation drops the point.
void CEventTap::PostAs(std::int32_t type) {
  try {
    pending_.type = type;
    Post();
  } catch (...) {
    pending_.Reset();
  }
}

void CEventTap::SubmitCache() { PostAs(EventTapRequest::kSubmitCache); }

void CEventTap::RecordPoint() { PostAs(EventTapRequest::kRecordPoint); }

void CEventTap::PrepareAndSubmitCache() { PostAs(EventTapRequest::kPrepareAndSubmit); }

// Deliberately posts nothing: it only prepares ReportPointNow.
void CEventTap::PreparePoint(std::int32_t first, std::int32_t second) {
  pending_.first = first;
  pending_.second = second;
  pending_.type = EventTapRequest::kRecordPoint;
}

// Runs on the host's thread once the start-up is over; before that (and while work handed over
// then is still queued), the facade's thread reports the point right after the start-up, so the
// host never waits on the device-id exchange. The pending parameter is not passed on and the
// pending point is kept either way.
void CEventTap::ReportPointNow() {
  try {
    EventTapRequest request;
    request.type = pending_.type == EventTapRequest::kRecordPoint
                       ? EventTapRequest::kReportNowCache
                       : EventTapRequest::kReportNowSend;
    request.first = pending_.first;
    request.second = pending_.second;
    if (HandOver(request)) return;
    if (CQuillAnalyze* engine = engine_.load()) ReportOrPrepare(engine, request);
  } catch (...) {
  }
}

void CEventTap::SubmitCacheNow() {
  try {
    EventTapRequest request;
    request.type = EventTapRequest::kSubmitCacheNow;
    if (HandOver(request)) return;
    if (CQuillAnalyze* engine = engine_.load()) engine->LaunchCacheSubmit();
  } catch (...) {
  }
}

// A name that does not fit the 260-byte field (terminator included) is refused like any other
// unusable call: the pending point stays as it was, rather than carrying a cut or empty name.
void CEventTap::SetPointParam(std::int32_t kind, const char* name, std::int32_t value) {
  if (name == nullptr || kind != 0) return;
  const std::size_t length = strnlen(name, EventTapRequest::kNameSize);
  if (length == EventTapRequest::kNameSize) return;
  pending_.hasParam = 1;
  std::memcpy(pending_.paramName, name, length + 1);
  pending_.paramValue = value;
}

}  // namespace orin

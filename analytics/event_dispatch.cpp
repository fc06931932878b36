#include "analytics/CQuillAnalyze.h"
#include "analytics/event_json.h"
#include "cache/CAnalyticsFile.h"
#include "common/json_text.h"

namespace orin {

bool CQuillAnalyze::ReportNow(bool cacheOnly) try {
  return FillAndReport(nullptr, cacheOnly);
} catch (...) {
  return false;
}

void CQuillAnalyze::FillEvent(const std::function<void()>& fill) {
  std::lock_guard<std::recursive_mutex> guard(stateLock_);
  fill();
}

// The store or hand-over runs after the state lock is released: a thread filling the next point
// never waits on this one's file, process start or wait.
bool CQuillAnalyze::FillAndReport(const std::function<void()>& fill, bool cacheOnly) {
  EventRecord record;
  record.dispatch = cacheOnly ? kDispatchCache : kDispatchSend;
  {
    std::lock_guard<std::recursive_mutex> guard(stateLock_);
    if (fill) fill();
    if (!initialized_) return false;
    CollectEvent(record);
  }
  if (!cacheOnly && !forceCache_ && sendEnabled_) return SendEvent(record, true);
  return StoreEvent(record);
}

bool CQuillAnalyze::StoreEvent(const EventRecord& record) {
  return GetAnalyticsFile()->AppendEvent(CachePath().c_str(), BuildEventJson(record));
}

// Always false, also after a successful launch; callers such as ReportNow pass it on.
bool CQuillAnalyze::SendEvent(const EventRecord& record, bool wait) {
  Json::Value events(Json::arrayValue);
  events.append(BuildEventJson(record));
  LaunchSubmit(events, wait);
  return false;
}

bool CQuillAnalyze::AppendJsonText(const Json::Value& value) {
  return AppendTextToCache(ToFastText(value).c_str());
}

}  // namespace orin

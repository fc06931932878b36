#include "analytics/CQuillAnalyze.h"
#include "analytics/event_json.h"
#include "cache/CAnalyticsFile.h"
#include "common/json_text.h"

namespace orin {

bool CQuillAnalyze::ReportNow(bool cacheOnly) try {
  if (!initialized_) return false;
  EventRecord record;
  record.dispatch = cacheOnly ? kDispatchCache : kDispatchSend;
  CollectEvent(record);
  if (!cacheOnly && !forceCache_ && sendEnabled_) return SendEvent(record, true);
  return StoreEvent(record);
} catch (...) {
  return false;
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

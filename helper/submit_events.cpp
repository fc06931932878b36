#include <string>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "common/json_text.h"
#include "helper/batch_key.h"
#include "helper/collector_client.h"
#include "helper/commands.h"
#include "helper/quarantine.h"

namespace orin::helper {

Result SubmitEvents(const Settings& settings, const std::string& json, const Report& report) {
  Json::Value events;
  if (!ParseJsonText(json.data(), json.data() + json.size(), events) ||
      !(events.isArray() || events.isObject())) {
    // Whatever the module meant to send is kept, not dropped.
    if (!settings.experienceOn || settings.cachePath.empty() || json.empty() ||
        !SetAsideText(settings.cachePath, json)) {
      return Result::Fail(kBadUsage, "-submit needs a JSON array of events");
    }
    return Result::Fail(kNotDelivered, "-submit text is not a JSON array of events; kept in " +
                                           QuarantinePath(settings.cachePath));
  }
  if (events.isObject()) {
    Json::Value one(Json::arrayValue);
    one.append(events);
    events = one;
  }
  if (events.empty()) {
    report.Note("nothing to submit");
    return Result::Ok();
  }
  if (!settings.experienceOn) {
    report.Note("user experience is off: nothing sent");
    return Result::Ok();
  }
  Endpoint endpoint;
  PostOutcome outcome;
  if (SplitAddress(settings.address, endpoint)) {
    outcome = PostEvents(endpoint, events, SubmitKey(), settings.requestDeadlineMs);
  } else {
    outcome.reason = "unusable collect address '" + settings.address + "'";
  }
  if (outcome.delivered) {
    report.Note(std::to_string(events.size()) + " events delivered");
    return Result::Ok();
  }
  // Not delivered: every event goes to the cache, for the next cache delivery.
  if (settings.cachePath.empty()) {
    return Result::Fail(kLocalFiles, outcome.reason + "; no cache path to keep the events in");
  }
  int kept = 0;
  for (const Json::Value& event : events) {
    if (!event.isObject() || event.empty()) continue;
    if (!GetAnalyticsFile()->AppendEvent(settings.cachePath.c_str(), event)) {
      return Result::Fail(kLocalFiles, outcome.reason + "; cannot append to " + settings.cachePath);
    }
    ++kept;
  }
  return Result::Fail(kNotDelivered,
                      outcome.reason + "; " + std::to_string(kept) + " events kept in the cache");
}

}  // namespace orin::helper

#pragma once
#include <cstdint>
#include <string>

#include <json/value.h>

#include "helper/helper_settings.h"

namespace orin::helper {

// The collector's acknowledgement: status 200 with a JSON object whose "code" is 0. Nothing else
// counts as delivered: not a 204, not a redirect (never followed), not a 200 from a proxy or a
// captive portal that answers in the collector's place.
struct PostOutcome {
  bool delivered = false;
  // Refused with a status that will not change on a resend (4xx but 408 and 429).
  bool refusedForGood = false;
  std::uint32_t status = 0;  // 0: never reached the collector
  std::string reason;        // why not delivered, for a person
};

// Posts a JSON array of events through the module's own HTTP client, with the batch's key
// (helper/batch_key.h) as the Idempotency-Key header; an empty key sends none.
PostOutcome PostEvents(const Endpoint& endpoint, const Json::Value& events, const std::string& key,
                       std::uint32_t deadlineMs);
// The same with the array already written as text.
PostOutcome PostBody(const Endpoint& endpoint, const std::string& body, const std::string& key,
                     std::uint32_t deadlineMs);

}  // namespace orin::helper

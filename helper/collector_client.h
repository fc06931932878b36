#pragma once
#include <cstdint>
#include <string>

#include <json/value.h>

#include "helper/helper_settings.h"

namespace orin::helper {

struct PostOutcome {
  bool delivered = false;   // the collector answered 200 or 204
  std::uint32_t status = 0;  // 0: never reached the collector
  std::string reason;        // why not delivered, for a person
};

// Posts a JSON array of events through the module's own HTTP client.
PostOutcome PostEvents(const Endpoint& endpoint, const Json::Value& events);
// The same with the array already written as text.
PostOutcome PostBody(const Endpoint& endpoint, const std::string& body);

}  // namespace orin::helper

#pragma once
#include <cstdint>

#include <json/value.h>
#include <orinpoint/EventRecord.h>

namespace orin {

// The low 32 bits of a number as a signed value: how every number property is written.
std::int32_t LowInt32(std::int64_t value);

// The JSON object of one event: "l", "n", the top-level properties, and "p" only when the event
// has details. Pure function; safe from any thread.
Json::Value BuildEventJson(const EventRecord& record);

}  // namespace orin

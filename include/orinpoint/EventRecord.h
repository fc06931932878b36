#pragma once
#include <cstdint>
#include <map>
#include <string>

// The records an event travels in, from the engine's pending state through its queue to the
// dispatcher. Plain values: copied into the queue and out of it, never shared between threads.

namespace orin {

// Values of PropertyValue::kind. The field stays a plain int32: a kind outside these three is
// carried along and simply writes nothing.
enum PropertyKind : std::int32_t {
  kPropertyInt = 0,
  kPropertyInt64 = 1,
  kPropertyText = 2,
};

// Values of EventRecord::dispatch. Any value other than the first two means "cache, then submit
// the cache", so the field stays a plain int32 as well.
enum EventDispatch : std::int32_t {
  kDispatchCache = 0,
  kDispatchSend = 1,
  kDispatchCacheThenSubmit = 2,
};

struct PropertyValue {
  std::int32_t kind = kPropertyInt;
  std::int64_t number = 0;  // kinds 0 and 1; 0 for text
  std::string text;         // kind 2; empty otherwise
};

using PropertyMap = std::map<std::string, PropertyValue>;

struct EventRecord {
  std::int32_t dispatch = kDispatchCache;
  std::int32_t l = 0;
  std::int32_t n = 0;
  PropertyMap properties;  // top-level members of the event
  PropertyMap details;     // members of the event's "p" object
};

}  // namespace orin

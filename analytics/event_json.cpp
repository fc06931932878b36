#include "analytics/event_json.h"

namespace orin {
namespace {

// Kinds 0 and 1 both go out as a 32-bit Int (64-bit values deliberately cut); unknown kinds add
// nothing.
void AddProperties(Json::Value& target, const PropertyMap& properties) {
  for (const auto& entry : properties) {
    const PropertyValue& value = entry.second;
    if (value.kind == kPropertyInt || value.kind == kPropertyInt64) {
      target[entry.first] = Json::Value(static_cast<Json::Int>(LowInt32(value.number)));
    } else if (value.kind == kPropertyText) {
      target[entry.first] = Json::Value(value.text);
    }
  }
}

}  // namespace

std::int32_t LowInt32(std::int64_t value) {
  const std::uint32_t low = static_cast<std::uint32_t>(static_cast<std::uint64_t>(value));
  // Spelled out so the wrap is defined on every compiler, not left to the implementation.
  if (low <= 0x7FFFFFFFu) return static_cast<std::int32_t>(low);
  return static_cast<std::int32_t>(static_cast<std::int64_t>(low) - 0x100000000LL);
}

Json::Value BuildEventJson(const EventRecord& record) {
  Json::Value root;
  Json::Value detail;
  root["l"] = Json::Value(static_cast<Json::Int>(record.l));
  root["n"] = Json::Value(static_cast<Json::Int>(record.n));
  AddProperties(root, record.properties);
  if (!record.details.empty()) {
    AddProperties(detail, record.details);
    root["p"] = detail;
  }
  return root;
}

}  // namespace orin

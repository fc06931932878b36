#include <ctime>
#include <utility>

#include "analytics/CQuillAnalyze.h"
#include "analytics/event_json.h"

namespace orin {
namespace {

constexpr const char* PropertyKeyTable[16] = {"m", "u", "o", "w", "re", "v", "s", "la",
                                               "i", "id", "r", "c", "l", "n", "t", "p"};
constexpr std::int32_t kTimeKeyIndex = 14;

// An index outside the table names no key: the call is dropped rather than read past the table.
bool KeyAt(std::int32_t index, std::string& key) {
  if (index < 0 || index >= 16) return false;
  key = PropertyKeyTable[index];
  return true;
}

PropertyValue IntValue(std::int32_t value) { return PropertyValue{kPropertyInt, value, {}}; }
PropertyValue Int64Value(std::int64_t value) { return PropertyValue{kPropertyInt64, value, {}}; }
PropertyValue TextValue(const std::string& value) { return PropertyValue{kPropertyText, 0, value}; }

}  // namespace

void CQuillAnalyze::Put(PropertyMap& map, std::string key, PropertyValue value) {
  std::lock_guard<std::recursive_mutex> guard(stateLock_);
  map[std::move(key)] = std::move(value);
}

void CQuillAnalyze::SetEventIds(std::int32_t l, std::int32_t n) try {
  std::lock_guard<std::recursive_mutex> guard(stateLock_);
  pendingL_ = l;
  pendingN_ = n;
  StampEventTime();
} catch (...) {
}

void CQuillAnalyze::StampEventTime() {
  std::lock_guard<std::recursive_mutex> guard(stateLock_);
  if (eventProperties_.find("t") != eventProperties_.end()) return;
  const std::int64_t now = static_cast<std::int64_t>(std::time(nullptr));
  SetEventIntAt(kTimeKeyIndex, LowInt32(now));
}

void CQuillAnalyze::SetCommonStringAt(std::int32_t index, const std::string& value) try {
  std::string key;
  if (KeyAt(index, key)) SetCommonString(key, value);
} catch (...) {
}
void CQuillAnalyze::SetCommonString(std::string key, const std::string& value) try {
  Put(commonProperties_, std::move(key), TextValue(value));
} catch (...) {
}
void CQuillAnalyze::SetCommonInt64At(std::int32_t index, std::int64_t value) try {
  std::string key;
  if (KeyAt(index, key)) SetCommonInt64(key, value);
} catch (...) {
}
void CQuillAnalyze::SetCommonInt64(std::string key, std::int64_t value) try {
  Put(commonProperties_, std::move(key), Int64Value(value));
} catch (...) {
}
void CQuillAnalyze::SetCommonIntAt(std::int32_t index, std::int32_t value) try {
  std::string key;
  if (KeyAt(index, key)) SetCommonInt(key, value);
} catch (...) {
}
void CQuillAnalyze::SetCommonInt(std::string key, std::int32_t value) try {
  Put(commonProperties_, std::move(key), IntValue(value));
} catch (...) {
}

void CQuillAnalyze::SetEventStringAt(std::int32_t index, const std::string& value) try {
  std::string key;
  if (KeyAt(index, key)) SetEventString(key, value);
} catch (...) {
}
void CQuillAnalyze::SetEventString(std::string key, const std::string& value) try {
  Put(eventProperties_, std::move(key), TextValue(value));
} catch (...) {
}
void CQuillAnalyze::SetEventInt64At(std::int32_t index, std::int64_t value) try {
  std::string key;
  if (KeyAt(index, key)) SetEventInt64(key, value);
} catch (...) {
}
void CQuillAnalyze::SetEventInt64(std::string key, std::int64_t value) try {
  Put(eventProperties_, std::move(key), Int64Value(value));
} catch (...) {
}
void CQuillAnalyze::SetEventIntAt(std::int32_t index, std::int32_t value) try {
  std::string key;
  if (KeyAt(index, key)) SetEventInt(key, value);
} catch (...) {
}
void CQuillAnalyze::SetEventInt(std::string key, std::int32_t value) try {
  Put(eventProperties_, std::move(key), IntValue(value));
} catch (...) {
}

void CQuillAnalyze::SetCommonDetailString(std::string key, const std::string& value) try {
  Put(commonDetails_, std::move(key), TextValue(value));
} catch (...) {
}
void CQuillAnalyze::SetCommonDetailInt64(std::string key, std::int64_t value) try {
  Put(commonDetails_, std::move(key), Int64Value(value));
} catch (...) {
}
// Stores kind 1, not 0, as this setter always has; both kinds are written alike.
void CQuillAnalyze::SetCommonDetailInt(std::string key, std::int32_t value) try {
  Put(commonDetails_, std::move(key), Int64Value(value));
} catch (...) {
}
void CQuillAnalyze::SetEventDetailString(std::string key, const std::string& value) try {
  Put(eventDetails_, std::move(key), TextValue(value));
} catch (...) {
}
void CQuillAnalyze::SetEventDetailInt64(std::string key, std::int64_t value) try {
  Put(eventDetails_, std::move(key), Int64Value(value));
} catch (...) {
}
void CQuillAnalyze::SetEventDetailInt(std::string key, std::int32_t value) try {
  Put(eventDetails_, std::move(key), IntValue(value));
} catch (...) {
}

void CQuillAnalyze::SetForceCache(bool forceCache) { forceCache_ = forceCache; }
void CQuillAnalyze::SetSendEnabled(bool sendEnabled) { sendEnabled_ = sendEnabled; }
void CQuillAnalyze::SetAuxText(const std::string& value) try {
  std::lock_guard<std::recursive_mutex> guard(stateLock_);
  auxText_ = value;
} catch (...) {
}

}  // namespace orin

#include "staging.h"

#include <chrono>
#include <cstdlib>

namespace orincollect {

bool ParseStagePair(const std::string& text, std::int64_t& n, std::int64_t& value) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 == text.size()) return false;
  char* end = nullptr;
  const std::string left = text.substr(0, colon), right = text.substr(colon + 1);
  n = std::strtoll(left.c_str(), &end, 10);
  if (*end != '\0' || n < 1) return false;
  value = std::strtoll(right.c_str(), &end, 10);
  return *end == '\0' && value >= 0;
}

bool ParseStage(const Json::Value& json, Stage& stage) {
  if (!json.isObject()) return false;
  for (const std::string part : {"fail", "delay", "trickle", "hold_after_store"}) {
    const Json::Value& map = json[part];
    if (map.isNull()) continue;
    if (!map.isObject()) return false;
    for (const std::string& key : map.getMemberNames()) {
      std::int64_t n = 0, value = 0;
      if (!map[key].isIntegral() || !ParseStagePair(key + ":" + std::to_string(map[key].asInt64()), n, value)) {
        return false;
      }
      if (part == "fail") {
        stage.fail[n] = static_cast<int>(value);
      } else if (part == "delay") {
        stage.delayMs[n] = value;
      } else if (part == "hold_after_store") {
        stage.holdAfterStoreMs[n] = value;
      } else {
        stage.trickleMs[n] = value;
      }
    }
  }
  return true;
}

void RequestLog::Reset(const Stage& stage) {
  std::lock_guard<std::mutex> guard(lock_);
  stage_ = stage;
  entries_.clear();
}

std::int64_t RequestLog::Arrive(int& failStatus, std::int64_t& delayMs, std::int64_t& trickleMs,
                               std::int64_t& holdAfterStoreMs) {
  std::lock_guard<std::mutex> guard(lock_);
  Entry e;
  e.number = static_cast<std::int64_t>(entries_.size()) + 1;
  entries_.push_back(e);
  const auto f = stage_.fail.find(e.number);
  failStatus = f != stage_.fail.end() ? f->second : 0;
  const auto d = stage_.delayMs.find(e.number);
  delayMs = d != stage_.delayMs.end() ? d->second : 0;
  const auto t = stage_.trickleMs.find(e.number);
  trickleMs = t != stage_.trickleMs.end() ? t->second : 0;
  const auto h = stage_.holdAfterStoreMs.find(e.number);
  holdAfterStoreMs = h != stage_.holdAfterStoreMs.end() ? h->second : 0;
  return e.number;
}

bool RequestLog::Delay(std::int64_t delayMs) {
  if (delayMs <= 0) return false;
  std::unique_lock<std::mutex> guard(lock_);
  const std::uint64_t seen = releases_;
  return released_.wait_for(guard, std::chrono::milliseconds(delayMs),
                            [&] { return releases_ != seen; });
}

void RequestLog::Release() {
  std::lock_guard<std::mutex> guard(lock_);
  ++releases_;
  released_.notify_all();
}

void RequestLog::Answered(std::int64_t number, int status, std::int64_t events, bool repeat) {
  std::lock_guard<std::mutex> guard(lock_);
  if (number < 1 || number > static_cast<std::int64_t>(entries_.size())) return;  // reset since
  entries_[static_cast<std::size_t>(number - 1)].status = status;
  entries_[static_cast<std::size_t>(number - 1)].events = events;
  entries_[static_cast<std::size_t>(number - 1)].repeat = repeat;
}

Json::Value RequestLog::ToJson() {
  std::lock_guard<std::mutex> guard(lock_);
  Json::Value out(Json::arrayValue);
  for (const Entry& e : entries_) {
    Json::Value j;
    j["n"] = static_cast<Json::Int64>(e.number);
    j["status"] = e.status;
    j["events"] = static_cast<Json::Int64>(e.events);
    j["repeat"] = e.repeat;
    out.append(j);
  }
  return out;
}

}  // namespace orincollect

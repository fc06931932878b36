#pragma once
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <json/value.h>

namespace orincollect {

// Failures staged for collect requests, counted from 1 in arrival order: a status to answer
// instead of storing, and a delay before the answer that a release call can cut short.
struct Stage {
  std::map<std::int64_t, int> fail;             // request number -> status
  std::map<std::int64_t, std::int64_t> delayMs;  // request number -> milliseconds
  // request number -> milliseconds of an answer trickled a byte at a time, storing nothing
  std::map<std::int64_t, std::int64_t> trickleMs;
  // request number -> milliseconds the answer is held after the batch is stored: a client that
  // dies meanwhile never hears that it was
  std::map<std::int64_t, std::int64_t> holdAfterStoreMs;
};

// "N:VALUE" (both positive integers); false when the text is not of that form.
bool ParseStagePair(const std::string& text, std::int64_t& n, std::int64_t& value);
// {"fail": {"3": 500}, "delay": {"2": 60000}, "trickle": {"1": 60000},
//  "hold_after_store": {"4": 60000}}; false on anything else.
bool ParseStage(const Json::Value& json, Stage& stage);

// The collect requests seen so far and what became of each.
class RequestLog {
 public:
  struct Entry {
    std::int64_t number = 0;
    int status = 0;  // 0 while it waits
    std::int64_t events = 0;
    bool repeat = false;  // its key was stored before: acknowledged, nothing stored
  };

  void Reset(const Stage& stage);
  // Counts a new collect request; its number and what is staged for it.
  std::int64_t Arrive(int& failStatus, std::int64_t& delayMs, std::int64_t& trickleMs,
                      std::int64_t& holdAfterStoreMs);
  // Waits out the request's delay, or less when Release comes first.
  // True when it was cut short.
  bool Delay(std::int64_t delayMs);
  void Release();
  void Answered(std::int64_t number, int status, std::int64_t events, bool repeat = false);
  Json::Value ToJson();

 private:
  std::mutex lock_;
  std::condition_variable released_;
  std::uint64_t releases_ = 0;
  Stage stage_;
  std::vector<Entry> entries_;
};

}  // namespace orincollect

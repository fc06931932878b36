#include "helper/batch_key.h"

#include <cinttypes>
#include <cstdio>

#include "helper/inflight.h"

namespace orin::helper {
namespace {

// The device id is whatever the ini held when the event was made; hashed, so any text it holds
// makes a valid header value.
std::uint64_t Fnv1a64(const std::string& text) {
  std::uint64_t h = 0xcbf29ce484222325ull;
  for (unsigned char c : text) {
    h ^= c;
    h *= 0x100000001b3ull;
  }
  return h;
}

}  // namespace

std::string CachedBatchKey(const std::string& claimId, std::int32_t firstRecord,
                           const Json::Value& firstEvent) {
  if (claimId.empty()) return {};
  std::string device;
  if (firstEvent.isObject() && firstEvent["u"].isString()) device = firstEvent["u"].asString();
  char tail[48];
  std::snprintf(tail, sizeof tail, "-%" PRId32 "-%016" PRIx64, firstRecord, Fnv1a64(device));
  return claimId + tail;
}

std::string SubmitKey() {
  const std::string id = NewClaimId();
  return id.empty() ? id : "submit-" + id;
}

}  // namespace orin::helper

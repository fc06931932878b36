#include "helper/batch_key.h"

#include <cinttypes>
#include <cstdio>

#include "common/fnv1a.h"
#include "helper/inflight.h"

namespace orin::helper {

std::string CachedBatchKey(const std::string& claimId, std::int32_t firstRecord,
                           const Json::Value& firstEvent) {
  if (claimId.empty()) return {};
  std::string device;
  if (firstEvent.isObject() && firstEvent["u"].isString()) device = firstEvent["u"].asString();
  // The device id is whatever the ini held when the event was made; hashed, so any text it holds
  // makes a valid header value.
  char tail[48];
  std::snprintf(tail, sizeof tail, "-%" PRId32 "-%016" PRIx64, firstRecord, Fnv1a64(device));
  return claimId + tail;
}

std::string SubmitKey() {
  const std::string id = NewClaimId();
  return id.empty() ? id : "submit-" + id;
}

}  // namespace orin::helper

#include "helper/batch_key.h"

#include <cinttypes>
#include <cstdio>

#include "common/fnv1a.h"
#include "helper/inflight.h"

namespace orin::helper {

std::string CachedBatchKey(const std::string& claimId, std::int32_t firstRecord,
                           const std::string& body) {
  if (claimId.empty()) return {};
  char tail[48];
  std::snprintf(tail, sizeof tail, "-%" PRId32 "-%016" PRIx64, firstRecord, WordHash64(body));
  return claimId + tail;
}

std::string SubmitKey() {
  const std::string id = NewClaimId();
  return id.empty() ? id : "submit-" + id;
}

}  // namespace orin::helper

#include "helper/progress_record.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "platform/checksum.h"

namespace orin::helper {
namespace {

// The line, its padding, then 8 hex digits of its check and a line feed.
constexpr std::size_t kChecked = kProgressSlot - 9;

std::uint32_t Check(const char* line) {
  return platform::Crc32(line, static_cast<std::int32_t>(kChecked));
}

bool ParseLine(const char* line, ProgressRecord& out) {
  char id[64] = {};
  std::int32_t delivered = 0;
  std::int64_t size = -1, bytes = -1;
  if (std::sscanf(line, "%" SCNd32 " %" SCNd64 " %63s %" SCNd64, &delivered, &size, id, &bytes) < 3) {
    return false;
  }
  out = {delivered, size, id, bytes};
  return true;
}

}  // namespace

std::string ProgressSlot(const ProgressRecord& record) {
  char line[kProgressSlot + 1];
  int n = std::snprintf(line, sizeof line, "%" PRId32 " %" PRId64 " %s", record.delivered,
                        record.claimedSize, record.claimId.c_str());
  if (n > 0 && record.deliveredBytes >= 0 && static_cast<std::size_t>(n) < kChecked) {
    n += std::snprintf(line + n, sizeof line - static_cast<std::size_t>(n), " %" PRId64,
                       record.deliveredBytes);
  }
  if (n < 0 || static_cast<std::size_t>(n) >= kChecked || record.claimId.size() > 63) return {};
  std::memset(line + n, ' ', kChecked - static_cast<std::size_t>(n));
  std::snprintf(line + kChecked, sizeof line - kChecked, "%08" PRIx32 "\n", Check(line));
  return std::string(line, kProgressSlot);
}

unsigned ParseProgressCopies(const std::string& bytes, ProgressRecord out[2]) {
  if (bytes.size() != kProgressFile) return ParseLine(bytes.c_str(), out[0]) ? 1u : 0u;
  unsigned found = 0;
  for (std::size_t i = 0; i < 2; ++i) {
    const std::size_t at = i * kProgressSlot;
    char line[kProgressSlot + 1];
    std::memcpy(line, bytes.data() + at, kProgressSlot);
    line[kProgressSlot] = '\0';
    char check[9];
    std::snprintf(check, sizeof check, "%08" PRIx32, Check(line));
    if (std::memcmp(line + kChecked, check, 8) != 0 || line[kProgressSlot - 1] != '\n') continue;
    line[kChecked] = '\0';
    if (ParseLine(line, out[i])) found |= 1u << i;
  }
  return found;
}

bool ParseProgress(const std::string& bytes, ProgressRecord& out) {
  ProgressRecord copies[2];
  const unsigned found = ParseProgressCopies(bytes, copies);
  if (found == 0) return false;
  const bool second = found == 2u || (found == 3u && copies[1].delivered > copies[0].delivered);
  out = copies[second ? 1 : 0];
  return true;
}

}  // namespace orin::helper

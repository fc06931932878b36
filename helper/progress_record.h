#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

// How cache.sent holds a claim's count: two copies of one fixed-size line ("count size claim-id",
// padded, then a CRC-32 of the line), written one after the other. The file keeps its size, so a
// new count goes over the old one in place; a write cut short spoils at most one copy, which its
// check gives away, and the other still holds the old count or the new one.

namespace orin::helper {

inline constexpr std::size_t kProgressSlot = 128;
inline constexpr std::size_t kProgressFile = 2 * kProgressSlot;

struct ProgressRecord {
  std::int32_t delivered = 0;
  std::int64_t claimedSize = -1;
  std::string claimId;
};

// One copy of the line; empty when the claim id does not fit.
std::string ProgressSlot(const ProgressRecord& record);

// The count in a file's bytes: the first copy whose check holds, or, for a file not of this form
// (an older helper's single line), that line as it is. False when neither reads.
bool ParseProgress(const std::string& bytes, ProgressRecord& out);

}  // namespace orin::helper

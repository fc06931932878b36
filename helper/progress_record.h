#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

// How cache.sent holds a claim's count: two copies of a fixed-size line ("count size claim-id
// bytes", the last the count's byte offset in the claimed file, absent in older helpers' lines,
// padded, then a CRC-32 of the line). The file keeps its size: a new count goes in place over the
// copy that does not hold the newest one, and reaches the disk before the copy after it is
// written. So a write cut short, or lost to a power cut, spoils at most one copy, which its check
// gives away, and the other holds the count before it. A reader takes the larger count.

namespace orin::helper {

inline constexpr std::size_t kProgressSlot = 128;
inline constexpr std::size_t kProgressFile = 2 * kProgressSlot;

struct ProgressRecord {
  std::int32_t delivered = 0;
  std::int64_t claimedSize = -1;
  std::string claimId;
  std::int64_t deliveredBytes = -1;  // where the first record not delivered starts; -1: unknown
};

// One copy of the line; empty when the claim id does not fit.
std::string ProgressSlot(const ProgressRecord& record);

// The copies in a file's bytes, each in its place: bit i of the result is set when copy i's check
// holds and it reads (an older helper's single line is taken as it is, as the first copy).
unsigned ParseProgressCopies(const std::string& bytes, ProgressRecord out[2]);
// The newest count: the larger of the copies. False when none reads.
bool ParseProgress(const std::string& bytes, ProgressRecord& out);

}  // namespace orin::helper

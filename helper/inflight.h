#pragma once
#include <cstdint>
#include <string>

// The files a delivery works with, all beside the cache file:
//   cache             the live cache; the module appends to it under the cache lock
//   cache.sending     records claimed for delivery: taken from the live cache by one rename
//                     under the cache lock, so later appends start a fresh live cache
//   cache.claim       the claim's id, new for every claim, written before the claimed file appears
//   cache.sent        how many records of cache.sending are delivered, with the claim id and the
//                     size of the file the count belongs to (a count for another claim or another
//                     size is stale); after a claim's first count, written over in place and
//                     flushed (helper/progress_record.h)
//   cache.damaged     bytes a reader could not take as records, kept for support staff
// The others are replaced only by a durable rename, so a helper killed at any moment, or a power
// cut, leaves whole files.

namespace orin::helper {

struct InflightFiles {
  explicit InflightFiles(const std::string& cachePath);
  std::string cache, claimed, claimId, progress, damaged;
  std::string claimedNext() const { return claimed + ".next"; }
};

// -1 when the file cannot be opened.
std::int64_t FileSize(const std::string& path);
bool FileExists(const std::string& path);
bool ReadWholeFile(const std::string& path, std::string& bytes);
// Writes beside `path`, flushes to stable storage and renames over it.
bool ReplaceFileDurably(const std::string& path, const std::string& bytes);

// A new random id, 32 hex digits; empty when none can be made.
std::string NewClaimId();

// The id of the current claim; a claimed file left without one (an older helper's) gets one.
// Empty when none can be written.
std::string CurrentClaimId(const InflightFiles& files);

// The count of a claim's delivered records in cache.sent (helper/progress_record.h). One thread.
//
// Every count goes in place at once, so a kill keeps it. It goes over the copy without the newest
// flushed count, and counts written before the next flush go over the same copy: the flushed copy
// is never written over, so a power cut costs at most the counts written since the last flush,
// whose batches are sent again under the same keys. A flush on every count would be the safest,
// but on a virtual disk it costs as much as posting a batch.
class ClaimProgress {
 public:
  // How long a count may wait for its flush before FlushIfDue does it.
  static constexpr std::int64_t kFlushWithinMs = 20;

  ClaimProgress(const InflightFiles& files, std::string claimId, std::int64_t claimedSize);
  // The count recorded for this claim and size; 0 when there is none or it is another's.
  std::int32_t Read();
  // A claim's first count (or one that cannot go in place) is a new file, flushed. deliveredBytes:
  // where the first record not delivered starts in the claimed file, so that the count can be
  // carried over a damage walk that moves records before it.
  bool Record(std::int32_t delivered, std::int64_t deliveredBytes);
  // Brings the last count to stable storage.
  bool Flush();
  // Flush, once the oldest unflushed count has waited kFlushWithinMs.
  bool FlushIfDue();
  // Flushed, with both copies alike: for where a run stops with its claim left.
  bool Settle();
  std::int32_t recorded() const { return recorded_; }
  std::int64_t recordedBytes() const { return recordedBytes_; }  // -1: not known

 private:
  bool WriteCopy(int copy, bool flush);

  const std::string path_, claimId_;
  const std::int64_t claimedSize_;
  std::string line_;      // the newest count's copy
  int flushed_ = -1;      // the copy with the newest flushed count; -1 until this claim's file is known
  bool pending_ = false;  // the other copy holds a newer count, not flushed yet
  std::int64_t pendingSinceMs_ = 0;
  bool alike_ = false;    // both copies hold the newest count
  std::int32_t recorded_ = 0;
  std::int64_t recordedBytes_ = -1;
};

// Under the cache lock: moves a non-empty live cache to the claimed name under a new claim id.
// kNothing when there is no live cache to claim (or a claim waits); kFailed when its id or the
// move could not be written (a full disk, say): the live cache then stays as it was.
enum class Claim { kClaimed, kNothing, kFailed };
Claim ClaimCache(const InflightFiles& files);

// Removes the claimed file once everything in it is delivered, then its count and id. False when
// it cannot be removed: the count, which says all is delivered, then stays with it, so it is
// never sent again.
bool RemoveDeliveredClaim(const InflightFiles& files);

}  // namespace orin::helper

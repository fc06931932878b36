#pragma once
#include <cstdint>
#include <string>

// The files a delivery works with, all beside the cache file:
//   cache             the live cache; the module appends to it under the cache lock
//   cache.sending     records claimed for delivery: taken from the live cache by one rename
//                     under the cache lock, so later appends start a fresh live cache
//   cache.sent        how many records of cache.sending are delivered, and the size of the file
//                     that count belongs to (a count for a file of another size is stale)
// Each is replaced only by a rename, so a helper killed at any moment leaves whole files.

namespace orin::helper {

struct InflightFiles {
  explicit InflightFiles(const std::string& cachePath);
  std::string cache, claimed, progress;
  std::string claimedNext() const { return claimed + ".next"; }
  std::string progressNext() const { return progress + ".next"; }
};

// -1 when the file cannot be opened.
std::int64_t FileSize(const std::string& path);
bool FileExists(const std::string& path);
bool ReadWholeFile(const std::string& path, std::string& bytes);

// Records of the claimed file already delivered; 0 when unknown or stale.
std::int32_t ReadProgress(const InflightFiles& files, std::int64_t claimedSize);
bool WriteProgress(const InflightFiles& files, std::int32_t delivered, std::int64_t claimedSize);

// Under the cache lock: moves a non-empty live cache to the claimed name. False when there is
// nothing to claim or the move failed (the live cache then stays as it was).
bool ClaimCache(const InflightFiles& files);

// Under the cache lock: hands the claimed file back as the live cache when nothing was appended
// since the claim. False leaves the claimed file for the next run.
bool ReturnClaim(const InflightFiles& files);

}  // namespace orin::helper

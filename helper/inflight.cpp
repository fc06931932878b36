#include "helper/inflight.h"

#include <cinttypes>
#include <cstdio>

#include "cache/CacheFileLock.h"
#include "platform/files.h"

namespace orin::helper {

InflightFiles::InflightFiles(const std::string& cachePath)
    : cache(cachePath), claimed(cachePath + ".sending"), progress(cachePath + ".sent") {}

std::int64_t FileSize(const std::string& path) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return -1;
  std::int64_t size = -1;
  if (std::fseek(f, 0, SEEK_END) == 0) size = std::ftell(f);
  std::fclose(f);
  return size;
}

bool FileExists(const std::string& path) {
  return platform::QueryPath(path.c_str()) == platform::PathStatus::kExists;
}

bool ReadWholeFile(const std::string& path, std::string& bytes) {
  const std::int64_t size = FileSize(path);
  if (size < 0) return false;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return false;
  bytes.resize(static_cast<std::size_t>(size));
  const std::size_t got = std::fread(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
  bytes.resize(got);
  return got == static_cast<std::size_t>(size);
}

std::int32_t ReadProgress(const InflightFiles& files, std::int64_t claimedSize) {
  std::FILE* f = std::fopen(files.progress.c_str(), "rb");
  if (f == nullptr) return 0;
  std::int32_t delivered = 0;
  std::int64_t size = -1;
  const int got = std::fscanf(f, "%" SCNd32 " %" SCNd64, &delivered, &size);
  std::fclose(f);
  if (got != 2 || size != claimedSize || delivered < 0) return 0;
  return delivered;
}

bool WriteProgress(const InflightFiles& files, std::int32_t delivered, std::int64_t claimedSize) {
  const std::string next = files.progressNext();
  std::FILE* f = std::fopen(next.c_str(), "wb");
  if (f == nullptr) return false;
  const bool written =
      std::fprintf(f, "%" PRId32 " %" PRId64 "\n", delivered, claimedSize) > 0;
  const bool closed = std::fclose(f) == 0;
  return written && closed && platform::MoveFileReplacing(next.c_str(), files.progress.c_str());
}

bool ClaimCache(const InflightFiles& files) {
  CacheFileLock lock;
  lock.Lock();
  // An unfinished claim comes first; moving over it would lose it.
  if (FileExists(files.claimed) || FileSize(files.cache) <= 0) return false;
  // A count left from an earlier claim must never apply to this one.
  platform::RemoveFile(files.progress.c_str());
  return platform::MoveFileReplacing(files.cache.c_str(), files.claimed.c_str());
}

bool ReturnClaim(const InflightFiles& files) {
  CacheFileLock lock;
  lock.Lock();
  if (FileSize(files.cache) > 0) return false;
  if (!platform::MoveFileReplacing(files.claimed.c_str(), files.cache.c_str())) return false;
  platform::RemoveFile(files.progress.c_str());
  return true;
}

}  // namespace orin::helper

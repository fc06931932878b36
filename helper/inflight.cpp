#include "helper/inflight.h"

#include <cinttypes>
#include <cstdio>

#include "cache/CacheFileLock.h"
#include "helper/progress_record.h"
#include "platform/files.h"
#include "platform/guid.h"

namespace orin::helper {

InflightFiles::InflightFiles(const std::string& cachePath)
    : cache(cachePath),
      claimed(cachePath + ".sending"),
      claimId(cachePath + ".claim"),
      progress(cachePath + ".sent"),
      damaged(cachePath + ".damaged") {}

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

bool ReplaceFileDurably(const std::string& path, const std::string& bytes) {
  const std::string next = path + ".next";
  std::FILE* f = std::fopen(next.c_str(), "wb");
  if (f == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  const bool closed = std::fclose(f) == 0;
  if (written && closed && platform::MoveFileDurably(next.c_str(), path.c_str())) return true;
  platform::RemoveFile(next.c_str());
  return false;
}

std::string NewClaimId() {
  platform::Guid g{};
  if (!platform::CreateGuid(&g)) return {};
  char text[40];
  std::snprintf(text, sizeof text, "%08" PRIx32 "%04x%04x%02x%02x%02x%02x%02x%02x%02x%02x",
                g.data1, g.data2, g.data3, g.data4[0], g.data4[1], g.data4[2], g.data4[3],
                g.data4[4], g.data4[5], g.data4[6], g.data4[7]);
  return text;
}

namespace {

std::string ReadClaimId(const InflightFiles& files) {
  std::string id;
  if (!ReadWholeFile(files.claimId, id)) return {};
  while (!id.empty() && (id.back() == '\n' || id.back() == '\r')) id.pop_back();
  return id;
}

bool WriteClaimId(const InflightFiles& files, const std::string& id) {
  return !id.empty() && ReplaceFileDurably(files.claimId, id + "\n");
}

}  // namespace

std::string CurrentClaimId(const InflightFiles& files) {
  std::string id = ReadClaimId(files);
  if (!id.empty()) return id;
  id = NewClaimId();
  return WriteClaimId(files, id) ? id : std::string();
}

std::int32_t ReadProgress(const InflightFiles& files, const std::string& claimId,
                          std::int64_t claimedSize) {
  std::string bytes;
  ProgressRecord record;
  if (claimId.empty() || !ReadWholeFile(files.progress, bytes) || !ParseProgress(bytes, record)) {
    return 0;
  }
  if (record.claimedSize != claimedSize || record.delivered < 0 || record.claimId != claimId) return 0;
  return record.delivered;
}

bool WriteProgress(const InflightFiles& files, const std::string& claimId, std::int32_t delivered,
                   std::int64_t claimedSize) {
  if (claimId.empty()) return false;
  const std::string slot = ProgressSlot({delivered, claimedSize, claimId});
  if (slot.empty()) return false;
  // One copy after the other: a kill cuts short at most one of them.
  const platform::FilePiece pieces[] = {
      {0, slot.data(), slot.size()},
      {static_cast<std::int64_t>(kProgressSlot), slot.data(), slot.size()}};
  if (platform::OverwriteDurably(files.progress.c_str(), static_cast<std::int64_t>(kProgressFile),
                                 pieces, 2)) {
    return true;
  }
  // A claim's first count, or a file of another form: a whole new file.
  return ReplaceFileDurably(files.progress, slot + slot);
}

bool ClaimCache(const InflightFiles& files) {
  CacheFileLock lock;
  lock.Lock();
  // An unfinished claim comes first; moving over it would lose it.
  if (FileExists(files.claimed) || FileSize(files.cache) <= 0) return false;
  // The id is in place before the claimed file appears, so a count left from an earlier claim
  // (one that could not be removed, say) never applies to this one.
  if (!WriteClaimId(files, NewClaimId())) return false;
  platform::RemoveFile(files.progress.c_str());
  return platform::MoveFileDurably(files.cache.c_str(), files.claimed.c_str());
}

bool RemoveDeliveredClaim(const InflightFiles& files) {
  // The claimed file first: a count without its file is recognised as stale.
  if (!platform::RemoveFile(files.claimed.c_str())) return false;
  platform::SyncFolderOf(files.claimed.c_str());
  platform::RemoveFile(files.progress.c_str());
  platform::RemoveFile(files.claimId.c_str());
  return true;
}

}  // namespace orin::helper

#include "helper/inflight.h"

#include <chrono>
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

ClaimProgress::ClaimProgress(const InflightFiles& files, std::string claimId,
                             std::int64_t claimedSize)
    : path_(files.progress), claimId_(std::move(claimId)), claimedSize_(claimedSize) {}

namespace {

std::int64_t NowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

std::int32_t ClaimProgress::Read() {
  recorded_ = 0;
  recordedBytes_ = -1;
  pending_ = false;
  std::string bytes;
  ProgressRecord copies[2];
  const unsigned found =
      claimId_.empty() || !ReadWholeFile(path_, bytes) ? 0u : ParseProgressCopies(bytes, copies);
  int best = -1;
  for (int i = 0; i < 2; ++i) {
    const ProgressRecord& r = copies[i];
    if ((found & (1u << i)) == 0 || r.claimedSize != claimedSize_ || r.claimId != claimId_ ||
        r.delivered < 0 || (best >= 0 && r.delivered <= recorded_)) {
      continue;
    }
    best = i;
    recorded_ = r.delivered;
    recordedBytes_ = r.deliveredBytes;
  }
  // Only a file of two copies is written in place; any other form is replaced whole.
  flushed_ = bytes.size() == kProgressFile ? best : -1;
  alike_ = found == 3u && copies[0].delivered == copies[1].delivered;
  line_ = ProgressSlot({recorded_, claimedSize_, claimId_, recordedBytes_});
  return recorded_;
}

bool ClaimProgress::WriteCopy(int copy, bool flush) {
  const platform::FilePiece piece{static_cast<std::int64_t>(copy) * static_cast<std::int64_t>(kProgressSlot),
                                  line_.data(), line_.size()};
  return platform::Overwrite(path_.c_str(), static_cast<std::int64_t>(kProgressFile), &piece, 1, flush);
}

bool ClaimProgress::Record(std::int32_t delivered, std::int64_t deliveredBytes) {
  if (claimId_.empty()) return false;
  line_ = ProgressSlot({delivered, claimedSize_, claimId_, deliveredBytes});
  if (line_.empty()) return false;
  if (flushed_ >= 0 && WriteCopy(1 - flushed_, false)) {
    if (!pending_) pendingSinceMs_ = NowMs();
    pending_ = true;
    alike_ = false;
  } else if (ReplaceFileDurably(path_, line_ + line_)) {
    flushed_ = 0;
    pending_ = false;
    alike_ = true;
  } else {
    return false;
  }
  recorded_ = delivered;
  recordedBytes_ = deliveredBytes;
  return true;
}

bool ClaimProgress::Flush() {
  if (pending_ && platform::SyncFileData(path_.c_str())) {
    flushed_ = 1 - flushed_;
    pending_ = false;
  }
  return !pending_;
}

bool ClaimProgress::FlushIfDue() {
  return !pending_ || NowMs() - pendingSinceMs_ < kFlushWithinMs || Flush();
}

bool ClaimProgress::Settle() {
  if (!Flush()) return false;
  if (alike_ || flushed_ < 0) return true;
  alike_ = WriteCopy(1 - flushed_, true);
  return alike_;
}

Claim ClaimCache(const InflightFiles& files) {
  CacheFileLock lock;
  lock.Lock();
  // An unfinished claim comes first; moving over it would lose it.
  if (FileExists(files.claimed) || FileSize(files.cache) <= 0) return Claim::kNothing;
  // The id is in place before the claimed file appears, so a count left from an earlier claim
  // (one that could not be removed, say) never applies to this one.
  if (!WriteClaimId(files, NewClaimId())) return Claim::kFailed;
  platform::RemoveFile(files.progress.c_str());
  // The records go as they are: renaming them makes them no more and no less durable, and what
  // the module appended reaches the disk as it would have under the old name.
  return platform::RenameDurably(files.cache.c_str(), files.claimed.c_str()) ? Claim::kClaimed
                                                                             : Claim::kFailed;
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

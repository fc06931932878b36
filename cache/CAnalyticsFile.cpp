#include "cache/CAnalyticsFile.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <new>

#include "cache/CacheFileLock.h"
#include "cache/record_format.h"
#include "common/json_text.h"
#include "platform/files.h"

namespace orin {
namespace {

// Shared by every ReadChunk caller, unguarded, as the chunked reader has always worked.
char g_chunkArea[record::kChunkSize];

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

File Open(const char* path, const char* mode) {
  return File(path != nullptr ? std::fopen(path, mode) : nullptr);
}

// File length as a 32-bit value, as the format has always been read; -1 when unknown.
std::int64_t FileLength(std::FILE* f) {
  if (std::fseek(f, 0, SEEK_END) != 0) return -1;
  const long end = std::ftell(f);
  if (end < 0 || end > std::numeric_limits<std::int32_t>::max()) return -1;
  return end;
}

// Into a buffer an earlier record left: no allocation once the buffers are as large as the records.
void DecryptPayload(CMyEncrypt& cipher, const char* record, std::int32_t length, std::string& text) {
  const std::int32_t n = length - record::kHeaderSize;
  text.assign(record + record::kHeaderSize, static_cast<std::size_t>(n));
  cipher.Decrypt(text.data(), n, text.data(), n);
}

}  // namespace

CAnalyticsFile::CAnalyticsFile() { cipher_.SetKey(record::kCacheKey, record::kCacheKeyLength); }

CAnalyticsFile::~CAnalyticsFile() = default;

bool CAnalyticsFile::LoadFile(const char* path) try {
  readIndex_ = 0;
  fileBuffer_.reset();
  records_.clear();
  fileSize_ = 0;
  recordsEnd_ = 0;
  return LoadRecords(path, records_);
} catch (...) {
  // A partial index would still be a consistent prefix, but nothing half-loaded is offered.
  records_.clear();
  return false;
}

bool CAnalyticsFile::LoadRecords(const char* path, std::vector<const char*>& out) {
  File f = Open(path, "rb");
  if (!f) return false;
  const std::int64_t size = FileLength(f.get());
  if (size < 0 || std::fseek(f.get(), 0, SEEK_SET) != 0) return false;
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[static_cast<std::size_t>(size) + 1]);
  if (!buffer) return false;
  // A file that shrank meanwhile: only the bytes really read are walked.
  const std::int64_t got =
      static_cast<std::int64_t>(std::fread(buffer.get(), 1, static_cast<std::size_t>(size), f.get()));
  // The old image goes, so the records pointing into it go first.
  records_.clear();
  readIndex_ = 0;
  fileBuffer_ = std::move(buffer);
  fileSize_ = got;
  // Counted first, so the index is allocated once: the walk reads only the length fields.
  std::size_t records = 0;
  std::int64_t offset = 0;
  std::int32_t length = 0;
  while (offset < got &&
         record::Classify(fileBuffer_.get(), offset, got, length) == record::Step::kRecord) {
    ++records;
    offset += length;
  }
  recordsEnd_ = offset;
  out.reserve(out.size() + records);
  for (offset = 0; records > 0; --records) {
    out.push_back(fileBuffer_.get() + offset);
    offset += record::ReadLength(fileBuffer_.get() + offset);
  }
  return true;
}

const std::vector<std::string>& CAnalyticsFile::TakeRecords(std::int32_t& count) {
  ReleaseBatchTexts();
  std::int32_t taken = 0;
  std::size_t i = static_cast<std::size_t>(readIndex_);
  while (taken < count && i < records_.size()) {
    if (spareTexts_.empty()) {
      batchTexts_.emplace_back();
    } else {
      batchTexts_.push_back(std::move(spareTexts_.back()));
      spareTexts_.pop_back();
    }
    DecryptPayload(cipher_, records_[i], record::ReadLength(records_[i]), batchTexts_.back());
    ++i;
    ++taken;
  }
  count = taken;
  return batchTexts_;
}

void CAnalyticsFile::CommitTaken(std::int32_t count) {
  readIndex_ += count;
  ReleaseBatchTexts();
}

// A batch that fails half-way is not taken: count 0, readIndex unchanged, so its records stay
// for the next batch and for the rewrite.
bool CAnalyticsFile::ReadNextBatch(Json::Value& out, std::int32_t& count) try {
  const std::vector<std::string>& texts = TakeRecords(count);
  if (texts.empty()) return false;
  ParseRecords(out, texts);
  CommitTaken(count);
  return true;
} catch (...) {
  count = 0;
  return false;
}

bool CAnalyticsFile::ReadNextBatchText(BatchText& out, std::int32_t& count) try {
  const std::vector<std::string>& texts = TakeRecords(count);
  if (texts.empty()) return false;
  JoinRecordTexts(texts, out);
  CommitTaken(count);
  return true;
} catch (...) {
  count = 0;
  return false;
}

bool CAnalyticsFile::ReadNextBatchWithUser(Json::Value& out, std::int32_t& count,
                                           const char* user) try {
  const std::vector<std::string>& texts = TakeRecords(count);
  if (texts.empty()) return false;
  ParseRecordsWithUser(out, texts, user);
  CommitTaken(count);
  return true;
} catch (...) {
  count = 0;
  return false;
}

void CAnalyticsFile::ReleaseBatchTexts() {
  // Upload-sized batches keep the list's room for the next one; a huge batch gives it back.
  constexpr std::size_t kKeptCapacity = 4096;
  // A text as large as a record is kept for the next batch; a huge one is given back.
  constexpr std::size_t kKeptText = 4096;
  for (std::string& text : batchTexts_) {
    if (spareTexts_.size() >= kKeptCapacity) break;
    if (text.capacity() <= kKeptText) spareTexts_.push_back(std::move(text));
  }
  batchTexts_.clear();
  if (batchTexts_.capacity() > kKeptCapacity) std::vector<std::string>().swap(batchTexts_);
}

void CAnalyticsFile::PutBack(std::int32_t count) {
  // Floors at 0; a negative count cannot push the index past the loaded records either, or a
  // later CommitConsumed would report records as delivered that never were.
  const std::int64_t index = std::int64_t{readIndex_} - count;
  const auto last = static_cast<std::int64_t>(records_.size());
  readIndex_ = static_cast<std::int32_t>(std::clamp<std::int64_t>(index, 0, std::max<std::int64_t>(last, readIndex_)));
}

// False (keep the file) is also the answer when the rewrite itself fails by throwing.
bool CAnalyticsFile::CommitConsumed(const char* path) try {
  if (static_cast<std::size_t>(readIndex_) < records_.size()) {
    WriteUnread(path);
    return false;
  }
  return true;
} catch (...) {
  return false;
}

bool CAnalyticsFile::WriteUnread(const char* path) {
  // Checked before the open: "wb" would empty a cache that nothing was loaded from.
  if (!fileBuffer_) return false;
  File f = Open(path, "wb");
  if (!f) return false;
  const char* start;
  if (static_cast<std::size_t>(readIndex_) < records_.size()) {
    start = records_[static_cast<std::size_t>(readIndex_)];
  } else if (records_.empty()) {
    start = fileBuffer_.get();
  } else {
    start = records_.back() + record::ReadLength(records_.back());
  }
  const char* end = fileBuffer_.get() + fileSize_;
  const auto n = static_cast<std::size_t>(end - start);
  // A full disk must not pass for a written tail: the caller would drop the old file for it.
  const bool written = std::fwrite(start, 1, n, f.get()) == n;
  return std::fclose(f.release()) == 0 && written;
}

bool CAnalyticsFile::ReadChunk(const char* path, std::vector<std::string>& out,
                               std::int64_t& offset) {
  File f = Open(path, "rb");
  if (!f) return false;
  const std::int64_t size = FileLength(f.get());
  if (size < 0 || size == offset || size - offset < 0) return false;
  if (std::fseek(f.get(), static_cast<long>(static_cast<std::int32_t>(offset)), SEEK_SET) != 0) {
    return false;
  }
  // Bounded by the whole file's size, not by what remains after offset: kept as it always was.
  const std::int64_t n = std::min<std::int64_t>(size, record::kChunkSize);
  // Only the bytes actually read are walked, never a stale earlier chunk behind them.
  const std::int64_t got =
      static_cast<std::int64_t>(std::fread(g_chunkArea, 1, static_cast<std::size_t>(n), f.get()));
  std::int64_t pos = 0;
  std::int32_t length = 0;
  while (pos < got && record::Classify(g_chunkArea, pos, got, length) == record::Step::kRecord) {
    char* payload = g_chunkArea + pos + record::kHeaderSize;
    const std::int32_t m = length - record::kHeaderSize;
    cipher_.Decrypt(payload, m, payload, m);
    out.emplace_back(payload, static_cast<std::size_t>(m));
    pos += length;
  }
  offset += pos;
  return true;
}

// The chunks already pushed stay the caller's when a later one throws.
bool CAnalyticsFile::ReadChunks(const char* path, std::vector<Json::Value*>& out) try {
  std::int64_t offset = 0;
  for (;;) {
    std::vector<std::string> texts;
    if (!ReadChunk(path, texts, offset) || texts.empty()) break;
    auto chunk = std::make_unique<Json::Value>();
    ParseRecords(*chunk, texts);
    if (!chunk->empty()) out.push_back(chunk.release());
  }
  return true;
} catch (...) {
  return false;
}

bool CAnalyticsFile::ReadRecordTexts(const char* path, std::vector<std::string>& out) {
  std::unique_ptr<char[]> buffer(new (std::nothrow) char[record::kChunkSize]);
  if (!buffer) return false;
  File f = Open(path, "rb");
  if (!f) return false;
  const std::int64_t size = FileLength(f.get());
  if (size < 0) return false;
  std::int64_t position = 0;
  std::int64_t remaining = size;
  while (remaining > 0) {
    const std::int64_t n = std::min<std::int64_t>(remaining, record::kChunkSize);
    if (std::fseek(f.get(), static_cast<long>(position), SEEK_SET) != 0) break;
    const std::int64_t got =
        static_cast<std::int64_t>(std::fread(buffer.get(), 1, static_cast<std::size_t>(n), f.get()));
    std::int64_t pos = 0;
    bool consumedAll = false;
    while (pos < got) {
      std::int32_t length = 0;
      const record::Step step = record::Classify(buffer.get(), pos, got, length);
      if (step == record::Step::kZero) {
        pos += 8;  // 8, not 4: the reader has always skipped a zero record this way
        continue;
      }
      if (step != record::Step::kRecord) {
        // A record running past the chunk (or a length that cannot be one) ends this call: the
        // rest of the file counts as consumed.
        consumedAll = true;
        break;
      }
      char* payload = buffer.get() + pos + record::kHeaderSize;
      const std::int32_t m = length - record::kHeaderSize;
      cipher_.Decrypt(payload, m, payload, m);
      out.emplace_back(payload, static_cast<std::size_t>(m));
      pos += length;
    }
    if (consumedAll || got == 0) break;
    position += pos;
    remaining -= pos;
  }
  return true;
}

bool CAnalyticsFile::ReadAllEvents(const char* path, Json::Value& out) try {
  std::vector<std::string> texts;
  if (!ReadRecordTexts(path, texts)) return false;
  ParseRecords(out, texts);
  return true;
} catch (...) {
  return false;
}

namespace {

// Parses each text straight into a new last element of out and drops it again when it did not
// parse or is null, {} or []: no copies, and as fast as parsing alone. A caller's out that is
// neither null nor an array cannot take elements; it is left alone rather than letting JsonCpp
// throw into the host.
template <typename OnKept>
void ParseInto(Json::Value& out, const std::vector<std::string>& texts, OnKept onKept) {
  if (!out.isNull() && !out.isArray()) return;
  const bool wasNull = out.isNull();
  for (const std::string& text : texts) {
    Json::Value& slot = out.append(Json::Value());
    if (ParseJsonText(text.data(), text.data() + text.size(), slot) && !slot.empty()) {
      onKept(slot);
    } else {
      Json::Value dropped;
      out.removeIndex(out.size() - 1, &dropped);
    }
  }
  // A batch that kept nothing leaves a null out null, as it found it.
  if (wasNull && out.empty()) out = Json::Value();
}

}  // namespace

void CAnalyticsFile::ParseRecords(Json::Value& out, const std::vector<std::string>& texts) {
  ParseInto(out, texts, [](Json::Value&) {});
}

void CAnalyticsFile::ParseRecordsWithUser(Json::Value& out, const std::vector<std::string>& texts,
                                          const char* user) {
  const char* u = user != nullptr ? user : "";
  // Only objects have members; other kept values pass through unchanged.
  ParseInto(out, texts, [u](Json::Value& v) {
    if (v.isObject()) v["u"] = u;
  });
}

bool CAnalyticsFile::AppendText(const char* path, const char* text) try {
  if (text == nullptr) return false;
  return AppendPayload(path, std::string(text));
} catch (...) {
  return false;
}

bool CAnalyticsFile::AppendEvent(const char* path, const Json::Value& event) try {
  std::string text;
  text.reserve(512);
  AppendFastText(event, text);
  return AppendPayload(path, text);
} catch (...) {
  return false;
}

bool CAnalyticsFile::AppendPayload(const char* path, const std::string& payload) {
  constexpr auto kMaxPayload = std::numeric_limits<std::int32_t>::max() - record::kHeaderSize;
  if (payload.size() > static_cast<std::size_t>(kMaxPayload)) return false;
  const auto n = static_cast<std::int32_t>(payload.size());
  std::unique_ptr<char[]> buffer(NewRecord(n + record::kHeaderSize));
  if (!buffer) return false;
  cipher_.Encrypt(payload.data(), n, buffer.get() + record::kHeaderSize, n);
  return AppendRecord(path, buffer.get(), n + record::kHeaderSize);
}

bool CAnalyticsFile::AppendRecord(const char* path, const void* record, std::int32_t size) {
  CacheFileLock lock;
  lock.Lock();  // the write goes ahead even when the lock could not be taken
  File f = Open(path, "ab+");
  if (!f) return false;
  if (size <= 0) return true;
  // Unbuffered: the record goes out in one write, and the stream sizes no buffer for it.
  std::setvbuf(f.get(), nullptr, _IONBF, 0);
  // Where this record begins: a write that falls short (a full disk) is cut back to here, so no
  // torn record ever stands in front of later appends.
  const std::int64_t start = platform::OpenFileSize(f.get());
  const auto n = static_cast<std::size_t>(size);
  const bool written = std::fwrite(record, 1, n, f.get()) == n && std::fflush(f.get()) == 0;
  const bool closed = std::fclose(f.release()) == 0;
  if (written && closed) return true;
  platform::TruncateFile(path, start < 0 ? 0 : start);
  return false;
}

char* CAnalyticsFile::NewRecord(std::int32_t size) {
  if (size < record::kHeaderSize) return nullptr;
  char* buffer = new (std::nothrow) char[static_cast<std::size_t>(size)];
  if (buffer != nullptr) record::WriteLength(buffer, size);
  return buffer;
}

CAnalyticsFile* GetAnalyticsFile() {
  static CAnalyticsFile instance;
  return &instance;
}

}  // namespace orin

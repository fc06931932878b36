#include "cache/record_scanner.h"

#include "cache/CMyEncrypt.h"
#include "cache/record_format.h"
#include "common/json_scan.h"
#include "common/json_text.h"

namespace orin {
namespace {

// '{' and a line feed: the smallest payload the signature allows.
constexpr std::int32_t kMinSignedLength = record::kHeaderSize + 2;

bool Parses(const std::string& text) {
  // What the strict scan passes is whole; a tree is built only for the rest.
  if (PlainJsonObjectEnd(text.data(), text.data() + text.size()) != nullptr) return true;
  return IsWholeJsonText(text.data(), text.data() + text.size());
}

std::string Payload(CMyEncrypt& cipher, const char* data, std::int64_t offset,
                    std::int32_t length) {
  const std::int32_t n = length - record::kHeaderSize;
  std::string text(data + offset + record::kHeaderSize, static_cast<std::size_t>(n));
  cipher.Decrypt(text.data(), n, text.data(), n);
  return text;
}

// The next offset at or after `from` where a record that looks as the module writes it begins;
// `size` when there is none.
std::int64_t FindNextRecord(CMyEncrypt& cipher, const char* data, std::int64_t from,
                            std::int64_t size) {
  // The key repeats every three bytes from a payload's start, so single bytes unscramble alone.
  const char zeros[3] = {0, 0, 0};
  char key[3];
  cipher.XorWithKey(zeros, 3, key);
  const auto plain = [&key](const char* payload, std::int32_t i) {
    return static_cast<char>(payload[i] ^ key[i % 3]);
  };
  for (std::int64_t p = from; p + kMinSignedLength <= size; ++p) {
    std::int32_t length = 0;
    if (record::Classify(data, p, size, length) != record::Step::kRecord ||
        length < kMinSignedLength) {
      continue;
    }
    const char* payload = data + p + record::kHeaderSize;
    const std::int32_t n = length - record::kHeaderSize;
    if (plain(payload, 0) != '{' || plain(payload, n - 1) != '\n') continue;
    if (Parses(Payload(cipher, data, p, length))) return p;
  }
  return size;
}

}  // namespace

const char* RecordStatusName(RecordStatus status) {
  switch (status) {
    case RecordStatus::kOk: return "ok";
    case RecordStatus::kUnparsable: return "unparsable";
    case RecordStatus::kZeroLength: return "zero length";
    case RecordStatus::kBadLength: return "bad length";
    case RecordStatus::kTorn: return "torn tail";
  }
  return "unknown";
}

std::vector<ScannedRecord> ScanCacheBytes(const char* data, std::int64_t size) {
  CMyEncrypt cipher;
  cipher.SetKey(record::kCacheKey, record::kCacheKeyLength);
  std::vector<ScannedRecord> out;
  std::int64_t offset = 0;
  while (offset < size) {
    ScannedRecord r;
    r.offset = offset;
    const record::Step step = record::Classify(data, offset, size, r.length);
    if (step == record::Step::kRecord) {
      r.text = Payload(cipher, data, offset, r.length);
      if (Parses(r.text)) {
        r.span = r.length;
        offset += r.length;
        out.push_back(std::move(r));
        continue;
      }
    }
    r.status = step == record::Step::kRecord      ? RecordStatus::kUnparsable
               : step == record::Step::kZero      ? RecordStatus::kZeroLength
               : step == record::Step::kBadLength ? RecordStatus::kBadLength
                                                  : RecordStatus::kTorn;
    const std::int64_t next = FindNextRecord(cipher, data, offset + 1, size);
    r.span = next - offset;
    offset = next;
    out.push_back(std::move(r));
  }
  return out;
}

bool AllRecordsWhole(const char* data, std::int64_t size) {
  CMyEncrypt cipher;
  cipher.SetKey(record::kCacheKey, record::kCacheKeyLength);
  std::string text;
  for (std::int64_t offset = 0; offset < size;) {
    std::int32_t length = 0;
    if (record::Classify(data, offset, size, length) != record::Step::kRecord) return false;
    const std::int32_t n = length - record::kHeaderSize;
    text.assign(data + offset + record::kHeaderSize, static_cast<std::size_t>(n));
    cipher.Decrypt(text.data(), n, text.data(), n);
    if (!Parses(text)) return false;
    offset += length;
  }
  return true;
}

SplitBytes SplitCacheBytes(const char* data, std::int64_t size) {
  SplitBytes out;
  for (const ScannedRecord& r : ScanCacheBytes(data, size)) {
    std::string& to = r.status == RecordStatus::kOk ? out.whole : out.damaged;
    to.append(data + r.offset, static_cast<std::size_t>(r.span));
    if (r.status == RecordStatus::kOk) ++out.records;
  }
  return out;
}

}  // namespace orin

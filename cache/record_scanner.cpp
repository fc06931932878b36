#include "cache/record_scanner.h"

#include <json/value.h>

#include "cache/CMyEncrypt.h"
#include "cache/record_format.h"
#include "common/json_text.h"

namespace orin {

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
    if (step != record::Step::kRecord) {
      r.status = step == record::Step::kZero        ? RecordStatus::kZeroLength
                 : step == record::Step::kBadLength ? RecordStatus::kBadLength
                                                    : RecordStatus::kTorn;
      out.push_back(std::move(r));
      break;
    }
    const std::int32_t n = r.length - record::kHeaderSize;
    r.text.assign(data + offset + record::kHeaderSize, static_cast<std::size_t>(n));
    cipher.Decrypt(r.text.data(), n, r.text.data(), n);
    Json::Value value;
    r.status = ParseJsonText(r.text.data(), r.text.data() + r.text.size(), value)
                   ? RecordStatus::kOk
                   : RecordStatus::kUnparsable;
    offset += r.length;
    out.push_back(std::move(r));
  }
  return out;
}

}  // namespace orin

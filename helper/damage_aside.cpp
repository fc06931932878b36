#include "helper/damage_aside.h"

#include "cache/record_format.h"
#include "cache/record_scanner.h"
#include "helper/inflight.h"
#include "platform/files.h"

namespace orin::helper {
namespace {

// Where the delivered records end, by their lengths when the count has none recorded.
std::int64_t EndOfDelivered(const std::string& bytes, const DeliveredPart& part) {
  if (part.bytes >= 0) return part.bytes;
  const auto size = static_cast<std::int64_t>(bytes.size());
  std::int64_t offset = 0;
  for (std::int32_t i = 0; i < part.records; ++i) {
    std::int32_t length = 0;
    if (record::Classify(bytes.data(), offset, size, length) != record::Step::kRecord) return -1;
    offset += length;
  }
  return offset;
}

// The same records in the file without its damage: those wholly before `end`.
DeliveredPart CarriedOver(const std::string& bytes, std::int64_t end) {
  DeliveredPart moved{0, 0};
  if (end < 0) return moved;
  for (const ScannedRecord& r : ScanCacheBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()))) {
    if (r.offset + r.span > end) break;
    if (r.status != RecordStatus::kOk) continue;
    ++moved.records;
    moved.bytes += r.span;
  }
  return moved;
}

}  // namespace

bool SetDamageAside(const std::string& path, const std::string& sideFile, const Report& report,
                    DeliveredPart* delivered) {
  std::string bytes;
  if (!ReadWholeFile(path, bytes)) return false;
  if (AllRecordsWhole(bytes.data(), static_cast<std::int64_t>(bytes.size()))) return true;
  const SplitBytes split = SplitCacheBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()));
  if (split.damaged.empty()) return true;
  const DeliveredPart moved =
      delivered != nullptr ? CarriedOver(bytes, EndOfDelivered(bytes, *delivered)) : DeliveredPart{};
  // A kill between these two steps leaves the damage in the side file twice, never nowhere.
  if (!platform::AppendDurably(sideFile.c_str(), split.damaged.data(), split.damaged.size()) ||
      !ReplaceFileDurably(path, split.whole)) {
    return false;
  }
  if (delivered != nullptr) *delivered = moved;
  report.Note(std::to_string(split.damaged.size()) + " damaged bytes of " + path + " kept in " +
              sideFile + "; " + std::to_string(split.records) + " whole records go on");
  return true;
}

}  // namespace orin::helper

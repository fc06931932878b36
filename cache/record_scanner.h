#pragma once
#include <cstdint>
#include <string>
#include <vector>

// A support-side view of a cache file: every record with its offset and condition, the
// damaged tail included, which the delivery readers silently skip. Thread-safe (no shared state).

namespace orin {

enum class RecordStatus {
  kOk,          // whole, and its text parses as JSON
  kUnparsable,  // whole, but its text does not parse
  kZeroLength,  // length field 0: the delivery readers stop here
  kBadLength,   // negative, or too short for its own length field
  kTorn,        // runs past the end of the file
};

struct ScannedRecord {
  std::int64_t offset = 0;
  std::int32_t length = 0;  // the length field as stored (0 when even that is cut off)
  RecordStatus status = RecordStatus::kOk;
  std::string text;         // decrypted payload of a whole record
};

const char* RecordStatusName(RecordStatus status);

// Walks the bytes of a cache file; the walk ends after the first record that is not whole.
std::vector<ScannedRecord> ScanCacheBytes(const char* data, std::int64_t size);

}  // namespace orin

#pragma once
#include <cstdint>
#include <string>
#include <vector>

// A reader's view of a cache file that goes on after damage: every whole record with its offset,
// and every stretch of bytes that is not one, up to where the next whole record begins.
//
// The format has no magic, so what counts as a whole record is:
//   - in sequence (right after the previous record, or at offset 0): a length that fits in the
//     data and a payload that unscrambles to JSON text;
//   - after damage, found by trying every later offset: the same, and moreover the payload starts
//     with `{` and ends with a line feed, as the module writes every event.
// Thread-safe (no shared state).

namespace orin {

enum class RecordStatus {
  kOk,          // whole, and its text parses as JSON
  kUnparsable,  // its length fits, but its text does not parse
  kZeroLength,  // length field 0
  kBadLength,   // negative, or too short for its own length field
  kTorn,        // runs past the end of the file
};

struct ScannedRecord {
  std::int64_t offset = 0;
  std::int32_t length = 0;  // the length field as stored (0 when even that is cut off)
  RecordStatus status = RecordStatus::kOk;
  // Damaged entries: bytes from offset to the next whole record (or the end of the data).
  std::int64_t span = 0;
  std::string text;         // decrypted payload of a record whose length fits
};

const char* RecordStatusName(RecordStatus status);

// Walks the bytes of a cache file to the end. Whole records come as kOk entries (span = length);
// every other entry covers damaged bytes, and the entries together cover the data exactly once.
std::vector<ScannedRecord> ScanCacheBytes(const char* data, std::int64_t size);

// The data split into what the delivery readers can use and what they cannot.
struct SplitBytes {
  std::string whole;    // every whole record, in file order
  std::string damaged;  // every other byte, in file order
  std::int64_t records = 0;
};
SplitBytes SplitCacheBytes(const char* data, std::int64_t size);

// True when the data is whole records and nothing else, so splitting it would keep it all:
// the same walk without a copy of each record.
bool AllRecordsWhole(const char* data, std::int64_t size);

}  // namespace orin

#pragma once
#include <cstdint>

// The cache file is a headerless sequence of records:
//
//   offset 0  int32 little-endian  length: size of the whole record, this field included
//   offset 4  length - 4 bytes     payload: one event's text scrambled with CMyEncrypt keyed with
//                                  kCacheKey; no NUL stored. AppendEvent writes the compact
//                                  one-line JSON (ending in a line feed), AppendText the caller's text.
//
// No magic, no checksum: a damaged payload only shows as text that does not parse. A length of 0
// ends the usable data for the whole-file readers. The readers here also end a walk at any length
// that could not be a record (negative, shorter than its own field, past the data), so damaged
// content never moves a walk backwards or outside its buffer.

namespace orin::record {

inline constexpr const char kCacheKey[] = "QuillWorx";
inline constexpr std::int32_t kCacheKeyLength = 9;

inline constexpr std::int32_t kHeaderSize = 4;
// Chunk size of the chunked readers, and of the module-wide scratch area.
inline constexpr std::int32_t kChunkSize = 102400;

inline std::int32_t ReadLength(const char* p) {
  const auto* b = reinterpret_cast<const unsigned char*>(p);
  const std::uint32_t v = std::uint32_t{b[0]} | (std::uint32_t{b[1]} << 8) |
                          (std::uint32_t{b[2]} << 16) | (std::uint32_t{b[3]} << 24);
  return static_cast<std::int32_t>(v);
}

inline void WriteLength(char* p, std::int32_t length) {
  const auto v = static_cast<std::uint32_t>(length);
  for (int i = 0; i < 4; ++i) p[i] = static_cast<char>((v >> (8 * i)) & 0xFFu);
}

enum class Step {
  kRecord,     // a whole record of `length` bytes starts here
  kZero,       // length 0: end of usable data
  kBadLength,  // negative, or too short to hold its own length field
  kTorn,       // runs past the end of the data (or the length field itself does)
};

// Classifies the record at `offset` within `available` bytes; `length` is set when it is readable.
inline Step Classify(const char* data, std::int64_t offset, std::int64_t available,
                     std::int32_t& length) {
  length = 0;
  if (available - offset < kHeaderSize) return Step::kTorn;
  length = ReadLength(data + offset);
  if (length == 0) return Step::kZero;
  if (length < kHeaderSize) return Step::kBadLength;
  if (length > available - offset) return Step::kTorn;
  return Step::kRecord;
}

}  // namespace orin::record

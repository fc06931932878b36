#pragma once
#include <cstddef>

namespace orin {

// The length (1 to 4) of the well-formed UTF-8 sequence at p, or 0: no overlong form, no
// surrogate, nothing above U+10FFFF, nothing cut off by end.
inline std::size_t Utf8SequenceLength(const unsigned char* p, const unsigned char* end) {
  if (p >= end) return 0;
  const unsigned char c = *p;
  if (c < 0x80) return 1;
  std::size_t extra;
  unsigned char low = 0x80, high = 0xBF;  // the second byte's range
  if (c >= 0xC2 && c <= 0xDF) {
    extra = 1;
  } else if (c >= 0xE0 && c <= 0xEF) {
    extra = 2;
    if (c == 0xE0) low = 0xA0;
    if (c == 0xED) high = 0x9F;
  } else if (c >= 0xF0 && c <= 0xF4) {
    extra = 3;
    if (c == 0xF0) low = 0x90;
    if (c == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (static_cast<std::size_t>(end - p) <= extra) return 0;
  if (p[1] < low || p[1] > high) return 0;
  for (std::size_t i = 2; i <= extra; ++i) {
    if (p[i] < 0x80 || p[i] > 0xBF) return 0;
  }
  return extra + 1;
}

}  // namespace orin

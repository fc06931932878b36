#pragma once
#include <cstdint>
#include <cstring>
#include <string>

namespace orin {

// 64-bit FNV-1a: a cheap, stable name for a text or a file's bytes (not a defence against
// anyone choosing the input).
inline std::uint64_t Fnv1a64(const std::string& bytes) {
  std::uint64_t h = 0xcbf29ce484222325ull;
  for (unsigned char c : bytes) {
    h ^= c;
    h *= 0x100000001b3ull;
  }
  return h;
}

// The same job for texts of many kilobytes, eight bytes a step (little-endian on every target).
inline std::uint64_t WordHash64(const std::string& bytes) {
  std::uint64_t h = 0x9e3779b97f4a7c15ull ^ bytes.size();
  std::size_t i = 0;
  for (; i + 8 <= bytes.size(); i += 8) {
    std::uint64_t word;
    std::memcpy(&word, bytes.data() + i, 8);
    h = (h ^ word) * 0xff51afd7ed558ccdull;
    h ^= h >> 32;
  }
  std::uint64_t tail = 0;
  std::memcpy(&tail, bytes.data() + i, bytes.size() - i);
  h = (h ^ tail) * 0xc4ceb9fe1a85ec53ull;
  return h ^ (h >> 29);
}

}  // namespace orin

#pragma once
#include <cstdint>
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

}  // namespace orin

#include "cache/CMyEncrypt.h"

#include <cstring>

#include "platform/checksum.h"

namespace orin {
namespace {

constexpr int kBlockWords = CMyEncrypt::kBlockWords;
constexpr int kBlockBytes = kBlockWords * 8;

// Less than a block, through a block of its own: kept apart from the whole blocks' loop, whose
// block then stays in registers.
void XorTail(const char* in, std::size_t n, char* out, const std::uint64_t* words) {
  std::uint64_t block[kBlockWords] = {};
  std::memcpy(block, in, n);
  for (int w = 0; w < kBlockWords; ++w) block[w] ^= words[w];
  std::memcpy(out, block, n);
}

}  // namespace

bool CMyEncrypt::SetKey(const char* key, std::int32_t length) {
  keyState_ = platform::BRCrc32(key, length);
  // Only the three low bytes take part; the fourth is ignored, or old caches stop reading.
  const unsigned char bytes[3] = {static_cast<unsigned char>(keyState_),
                                  static_cast<unsigned char>(keyState_ >> 8),
                                  static_cast<unsigned char>(keyState_ >> 16)};
  unsigned char block[kBlockBytes];
  for (int i = 0; i < kBlockBytes; ++i) block[i] = bytes[i % 3];
  std::memcpy(pattern_, block, sizeof pattern_);
  return true;
}

bool CMyEncrypt::Encrypt(const char* in, std::int32_t length, char* out, std::int32_t capacity) {
  return DoEncrypt(in, length, out, capacity);
}

bool CMyEncrypt::Decrypt(const char* in, std::int32_t length, char* out, std::int32_t capacity) {
  return DoDecrypt(in, length, out, capacity);
}

bool CMyEncrypt::DoEncrypt(const char* in, std::int32_t length, char* out, std::int32_t capacity) {
  if (length > capacity) return false;
  XorWithKey(in, length, out);
  return true;
}

bool CMyEncrypt::DoDecrypt(const char* in, std::int32_t length, char* out, std::int32_t capacity) {
  if (length > capacity) return false;
  XorWithKey(in, length, out);
  return true;
}

void CMyEncrypt::XorWithKey(const char* in, std::int32_t length, char* out) {
  if (length <= 0) return;
  // A local copy: out may alias the member, which would keep the compiler from holding the
  // pattern in registers.
  std::uint64_t words[kBlockWords];
  for (int w = 0; w < kBlockWords; ++w) words[w] = pattern_[w];
  // memcpy keeps the word loads legal at any alignment and for in == out.
  std::int32_t i = 0;
  for (; length - i >= kBlockBytes; i += kBlockBytes) {
    for (int w = 0; w < kBlockWords; ++w) {
      std::uint64_t word;
      std::memcpy(&word, in + i + 8 * w, 8);
      word ^= words[w];
      std::memcpy(out + i + 8 * w, &word, 8);
    }
  }
  // Blocks are whole key cycles, so the tail is the start of one more block.
  if (i < length) XorTail(in + i, static_cast<std::size_t>(length - i), out + i, pattern_);
}

}  // namespace orin

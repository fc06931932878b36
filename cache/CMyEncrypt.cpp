#include "cache/CMyEncrypt.h"

#include <cstring>

#include "platform/checksum.h"

namespace orin {
namespace {

// 24 bytes is the smallest run that is both a whole number of 8-byte words and of key cycles;
// four of them give the compiler room to use vector registers.
constexpr int kBlockWords = 12;
constexpr int kBlockBytes = kBlockWords * 8;

}  // namespace

bool CMyEncrypt::SetKey(const char* key, std::int32_t length) {
  keyState_ = platform::BRCrc32(key, length);
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
  // Only the three low bytes take part; the fourth is ignored, or old caches stop reading.
  const unsigned char key[3] = {static_cast<unsigned char>(keyState_),
                                static_cast<unsigned char>(keyState_ >> 8),
                                static_cast<unsigned char>(keyState_ >> 16)};
  unsigned char pattern[kBlockBytes];
  for (int i = 0; i < kBlockBytes; ++i) pattern[i] = key[i % 3];
  std::uint64_t words[kBlockWords];
  std::memcpy(words, pattern, sizeof words);

  // memcpy keeps the word loads legal at any alignment and for in == out.
  std::int32_t i = 0;
  for (; length - i >= kBlockBytes; i += kBlockBytes) {
    std::uint64_t block[kBlockWords];
    std::memcpy(block, in + i, sizeof block);
    for (int w = 0; w < kBlockWords; ++w) block[w] ^= words[w];
    std::memcpy(out + i, block, sizeof block);
  }
  // Blocks are whole key cycles, so the tail restarts at key byte 0.
  for (int j = 0; i < length; ++i, ++j) {
    out[i] = static_cast<char>(static_cast<unsigned char>(in[i]) ^ pattern[j]);
  }
}

}  // namespace orin

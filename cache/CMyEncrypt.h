#pragma once
#include <cstdint>

namespace orin {

// Repeating-key XOR over the three low bytes of a checksum of the key text; the same transform
// encrypts and decrypts. Owned by its cache file object; read-only (thread-safe) once keyed.
class CMyEncrypt {
 public:
  CMyEncrypt() = default;

  virtual bool SetKey(const char* key, std::int32_t length);
  virtual bool Encrypt(const char* in, std::int32_t length, char* out, std::int32_t capacity);
  virtual bool Decrypt(const char* in, std::int32_t length, char* out, std::int32_t capacity);
  virtual bool DoEncrypt(const char* in, std::int32_t length, char* out, std::int32_t capacity);
  virtual bool DoDecrypt(const char* in, std::int32_t length, char* out, std::int32_t capacity);
  // in and out may be the same buffer; a length of 0 or less writes nothing.
  virtual void XorWithKey(const char* in, std::int32_t length, char* out);
  // Last, so the operations keep slots 0 to 5 under every compiler (see IAnalyticsFile.h).
  virtual ~CMyEncrypt() = default;

  std::uint32_t keyState() const { return keyState_; }

  // 24 bytes is the smallest run that is both a whole number of 8-byte words and of key cycles;
  // four of them give the compiler room to use vector registers.
  static constexpr int kBlockWords = 12;

 private:
  std::uint32_t keyState_ = 0;
  // The key's bytes repeated over one block, made once per key rather than per call.
  std::uint64_t pattern_[kBlockWords] = {};
};

}  // namespace orin

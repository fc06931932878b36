#pragma once
#include <cstdint>
#include <string>

#include "cache/CMyEncrypt.h"
#include "cache/record_format.h"

namespace orin::testing {

// One record's bytes, built by hand so the tests see the format independently of the writer.
inline std::string RawRecord(const std::string& text) {
  CMyEncrypt cipher;
  cipher.SetKey(record::kCacheKey, record::kCacheKeyLength);
  std::string bytes(4 + text.size(), '\0');
  record::WriteLength(bytes.data(), static_cast<std::int32_t>(bytes.size()));
  const auto n = static_cast<std::int32_t>(text.size());
  cipher.Encrypt(text.data(), n, bytes.data() + 4, n);
  return bytes;
}

inline std::string LengthField(std::int32_t length) {
  std::string bytes(4, '\0');
  record::WriteLength(bytes.data(), length);
  return bytes;
}

inline std::string EventText(int n) {
  return "{\"l\":1,\"m\":\"test\",\"n\":" + std::to_string(n) + "}\n";
}

}  // namespace orin::testing

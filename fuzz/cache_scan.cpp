// The inspector's record scanner over arbitrary bytes.
#include <cstdint>

#include "cache/record_scanner.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orin::ScanCacheBytes(reinterpret_cast<const char*>(data), static_cast<std::int64_t>(size));
  return 0;
}

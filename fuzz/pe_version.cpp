// The portable PE version-resource reader over arbitrary image bytes, straight from memory.
#include <cstddef>
#include <cstdint>

#include "platform/pe_version.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orin::platform::FileVersion version;
  orin::platform::ReadPeFileVersion(data, size, version);
  return 0;
}

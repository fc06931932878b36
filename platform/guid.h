#pragma once
#include <cstdint>

namespace orin::platform {

struct Guid {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];
};

// CoCreateGuid; POSIX: random version-4 UUID from the OS random source. Thread-safe.
bool CreateGuid(Guid* out);

}  // namespace orin::platform

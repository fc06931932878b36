#include "platform/guid.h"

#include <unistd.h>

namespace orin::platform {

// Sixteen bytes from the kernel's generator, with the version (4) and variant bits set: a random
// GUID without a library to load.
bool CreateGuid(Guid* out) {
  unsigned char raw[16];
  if (out == nullptr || getentropy(raw, sizeof raw) != 0) return false;
  raw[6] = static_cast<unsigned char>((raw[6] & 0x0F) | 0x40);
  raw[8] = static_cast<unsigned char>((raw[8] & 0x3F) | 0x80);
  // The text form of a GUID reads its first three fields as numbers; the UUID bytes are big-endian.
  out->data1 = (static_cast<std::uint32_t>(raw[0]) << 24) |
               (static_cast<std::uint32_t>(raw[1]) << 16) |
               (static_cast<std::uint32_t>(raw[2]) << 8) | raw[3];
  out->data2 = static_cast<std::uint16_t>((raw[4] << 8) | raw[5]);
  out->data3 = static_cast<std::uint16_t>((raw[6] << 8) | raw[7]);
  for (int i = 0; i < 8; ++i) out->data4[i] = raw[8 + i];
  return true;
}

}  // namespace orin::platform

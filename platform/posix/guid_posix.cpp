#include "platform/guid.h"

#include <uuid/uuid.h>

namespace orin::platform {

bool CreateGuid(Guid* out) {
  if (out == nullptr) return false;
  uuid_t raw;
  // Sets the version (4) and variant bits itself.
  uuid_generate_random(raw);
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

#include "platform/checksum.h"

namespace orin::platform {

// No host library on POSIX: the built-in checksum keeps caches portable between builds.
std::uint32_t BRCrc32(const void* data, std::int32_t length) { return Crc32(data, length); }

}  // namespace orin::platform

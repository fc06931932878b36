#pragma once
#include <cstdint>

namespace orin::platform {

// Standard CRC-32 (reflected 0xEDB88320, init and final XOR 0xFFFFFFFF). Thread-safe.
std::uint32_t Crc32(const void* data, std::int32_t length);

// The checksum behind the cache key: BRCrc32 of the host's Encrypt.dll where the backend can
// load it from the host's folder, otherwise Crc32. Thread-safe.
std::uint32_t BRCrc32(const void* data, std::int32_t length);

}  // namespace orin::platform

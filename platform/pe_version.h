#pragma once
#include <cstddef>
#include <cstdint>

#include "platform/file_version.h"

// A reader of the version resource of a PE image (EXE or DLL, 32 or 64 bit) that needs no
// Windows: DOS header, PE headers, section table, resource directory RT_VERSION -> first name ->
// first language -> VS_VERSIONINFO -> VS_FIXEDFILEINFO. It takes untrusted bytes: every offset is
// checked against the source, nothing is read outside it, and bad input gives false.

namespace orin::platform {

// Random access to the image's bytes. ReadAt is true only when all size bytes at offset exist.
class ByteSource {
 public:
  virtual bool ReadAt(std::uint64_t offset, void* out, std::size_t size) const = 0;

 protected:
  ~ByteSource() = default;
};

bool ReadPeFileVersion(const ByteSource& image, FileVersion& out);
bool ReadPeFileVersion(const std::uint8_t* data, std::size_t size, FileVersion& out);

}  // namespace orin::platform

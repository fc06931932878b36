#pragma once
#include <cstdint>

namespace orin::platform {

// The four 16-bit parts of a file version, most significant first: 7,3,1,9 for "7.3.1.9".
struct FileVersion {
  std::uint16_t part[4] = {0, 0, 0, 0};
};

// The fixed file information of a file's version resource.
// The path is UTF-8, so a file in a folder of any name is found.
// Win32: GetFileVersionInfoSizeW / GetFileVersionInfoW / VerQueryValueW("\\") on the path in
// UTF-16. POSIX: the portable PE reader (pe_version.h) over the file's bytes.
// False when the file is missing or has no version resource; out is then untouched.
bool ReadFileVersion(const char* path, FileVersion& out);

}  // namespace orin::platform

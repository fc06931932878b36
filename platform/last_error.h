#pragma once
#include <cstdint>

namespace orin::platform {

// GetLastError of the calling thread. POSIX: errno in Win32 terms where there is a match
// (ENOENT 2, ENOTDIR 3, EACCES/EPERM 5, EEXIST 183, EROFS 19, ENOSPC 112, ENAMETOOLONG 206),
// otherwise errno itself. Read it right after the failed call.
std::int32_t LastErrorCode();

}  // namespace orin::platform

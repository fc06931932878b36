#include "platform/last_error.h"

#include <cerrno>

namespace orin::platform {

std::int32_t LastErrorCode() {
  switch (errno) {
    case ENOENT: return 2;        // ERROR_FILE_NOT_FOUND
    case ENOTDIR: return 3;       // ERROR_PATH_NOT_FOUND
    case EACCES:
    case EPERM: return 5;         // ERROR_ACCESS_DENIED
    case EROFS: return 19;        // ERROR_WRITE_PROTECT
    case ENOSPC: return 112;      // ERROR_DISK_FULL
    case EEXIST: return 183;      // ERROR_ALREADY_EXISTS
    case ENAMETOOLONG: return 206;  // ERROR_FILENAME_EXCED_RANGE
    default: return errno;
  }
}

}  // namespace orin::platform

#pragma once
#include <cerrno>
#include <cstddef>

#include <unistd.h>

namespace orin::platform {

// Writes every byte, going on after short writes and interruptions; false on the first error.
inline bool WriteAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace orin::platform

#include <cstring>

#include "platform/host_paths.h"
#include "platform/os.h"

namespace orin::platform {

std::string HostRelativePath(const char* fileName) {
  char buffer[260] = {};
  if (HostExecutablePath(buffer, sizeof buffer) == 0) {
    buffer[0] = '.';
    buffer[1] = kPathSep;
    buffer[2] = '\0';
  } else {
    char* lastSep = std::strrchr(buffer, kPathSep);
    if (lastSep != nullptr && lastSep[1] != '\0') lastSep[1] = '\0';
  }
  return std::string(buffer) + fileName;
}

}  // namespace orin::platform

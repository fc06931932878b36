#include "platform/host_paths.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

namespace orin::platform {
namespace {

std::string ExecutablePath() {
  char link[PATH_MAX + 1];
  const ssize_t len = ::readlink("/proc/self/exe", link, PATH_MAX);
  if (len <= 0) return std::string();
  std::string path(link, static_cast<std::size_t>(len));
  // Tests and sandboxed hosts move the "installation folder" without moving the binary.
  const char* dir = std::getenv("ORIN_HOST_DIR");
  if (dir != nullptr && *dir != '\0') {
    const std::size_t slash = path.rfind('/');
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    std::string folder = dir;
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    path = folder + (folder == "/" ? "" : "/") + name;
  }
  return path;
}

}  // namespace

std::uint32_t HostExecutablePath(char* buffer, std::uint32_t size) {
  if (buffer == nullptr || size == 0) return 0;
  const std::string path = ExecutablePath();
  if (path.empty()) {
    buffer[0] = '\0';
    return 0;
  }
  // Like GetModuleFileNameA: a short buffer gets size-1 characters and the NUL, and the
  // result is then the buffer size.
  if (path.size() >= size) {
    std::memcpy(buffer, path.data(), size - 1);
    buffer[size - 1] = '\0';
    return size;
  }
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return static_cast<std::uint32_t>(path.size());
}

std::string HostExecutablePathUtf8(std::uint32_t wideChars) {
  if (wideChars == 0) return std::string();
  std::string path = ExecutablePath();
  if (path.size() >= wideChars) path.resize(wideChars - 1);
  return path;
}

std::size_t WideLength(const std::string& utf8) { return utf8.size(); }

bool CommonAppDataFolder(char* buffer, std::uint32_t size) {
  if (buffer == nullptr || size == 0) return false;
  const char* env = std::getenv("ORIN_COMMON_APPDATA");
  std::string folder = (env != nullptr && *env != '\0') ? env : "/var/lib";
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  if (folder.size() >= size) {
    buffer[0] = '\0';
    return false;
  }
  std::memcpy(buffer, folder.c_str(), folder.size() + 1);
  return true;
}

}  // namespace orin::platform

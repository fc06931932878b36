#include "platform/host_paths.h"

#include <cstring>

#include <windows.h>
#include <shlobj.h>

namespace orin::platform {

std::uint32_t HostExecutablePath(char* buffer, std::uint32_t size) {
  if (buffer == nullptr || size == 0) return 0;
  const DWORD n = GetModuleFileNameA(nullptr, buffer, size);
  // Older kernels (and Wine) leave a cut path without its NUL; callers rely on one being there.
  if (n >= size) buffer[size - 1] = '\0';
  return n;
}

bool CommonAppDataFolder(char* buffer, std::uint32_t size) {
  if (buffer == nullptr || size == 0) return false;
  // The shell call writes up to MAX_PATH bytes whatever the caller's buffer is.
  char path[MAX_PATH] = {};
  if (FAILED(SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, path))) {
    buffer[0] = '\0';
    return false;
  }
  const std::size_t len = std::strlen(path);
  if (len >= size) {
    buffer[0] = '\0';
    return false;
  }
  std::memcpy(buffer, path, len + 1);
  return true;
}

}  // namespace orin::platform

#include "platform/profile.h"

#include <windows.h>

// windows.h maps this name onto its own WriteProfileStringA/W.
#undef WriteProfileString

namespace orin::platform {

std::uint32_t ReadProfileString(const char* section, const char* key, const char* defaultValue,
                                char* buffer, std::uint32_t size, const char* path) {
  if (buffer == nullptr || size == 0) return 0;
  if (section == nullptr || key == nullptr || path == nullptr) {
    buffer[0] = '\0';
    return 0;
  }
  return GetPrivateProfileStringA(section, key, defaultValue, buffer, size, path);
}

std::uint32_t ReadProfileInt(const char* section, const char* key, std::int32_t defaultValue,
                             const char* path) {
  if (section == nullptr || key == nullptr || path == nullptr) {
    return static_cast<std::uint32_t>(defaultValue);
  }
  return GetPrivateProfileIntA(section, key, defaultValue, path);
}

bool WriteProfileString(const char* section, const char* key, const char* value, const char* path) {
  if (section == nullptr || key == nullptr || value == nullptr || path == nullptr) return false;
  return WritePrivateProfileStringA(section, key, value, path) != FALSE;
}

}  // namespace orin::platform

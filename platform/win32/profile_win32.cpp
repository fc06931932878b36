#include "platform/profile.h"

#include <vector>

#include <windows.h>

#include "platform/win32/wide_text.h"

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

std::string ReadProfileStringUtf8(const char* section, const char* key, const char* defaultValue,
                                  std::uint32_t size, const char* path) {
  if (section == nullptr || key == nullptr || path == nullptr || size == 0) return std::string();
  using win32::WideFromUtf8;
  std::vector<wchar_t> buffer(size, L'\0');
  const DWORD n = GetPrivateProfileStringW(
      WideFromUtf8(section).c_str(), WideFromUtf8(key).c_str(),
      defaultValue == nullptr ? nullptr : WideFromUtf8(defaultValue).c_str(), buffer.data(), size,
      WideFromUtf8(path).c_str());
  return win32::Utf8FromWide(buffer.data(), n);
}

std::uint32_t ReadProfileIntUtf8(const char* section, const char* key, std::int32_t defaultValue,
                                 const char* path) {
  if (section == nullptr || key == nullptr || path == nullptr) {
    return static_cast<std::uint32_t>(defaultValue);
  }
  using win32::WideFromUtf8;
  return GetPrivateProfileIntW(WideFromUtf8(section).c_str(), WideFromUtf8(key).c_str(),
                               defaultValue, WideFromUtf8(path).c_str());
}

bool WriteProfileString(const char* section, const char* key, const char* value, const char* path) {
  if (section == nullptr || key == nullptr || value == nullptr || path == nullptr) return false;
  return WritePrivateProfileStringA(section, key, value, path) != FALSE;
}

}  // namespace orin::platform

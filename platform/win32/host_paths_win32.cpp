#include "platform/host_paths.h"

#include <cstring>
#include <vector>

#include <windows.h>
#include <shlobj.h>

#include "platform/win32/wide_text.h"

namespace orin::platform {

std::uint32_t HostExecutablePath(char* buffer, std::uint32_t size) {
  if (buffer == nullptr || size == 0) return 0;
  const DWORD n = GetModuleFileNameA(nullptr, buffer, size);
  // Older kernels (and Wine) leave a cut path without its NUL; callers rely on one being there.
  if (n >= size) buffer[size - 1] = '\0';
  return n;
}

std::string HostExecutablePathUtf8(std::uint32_t wideChars) {
  if (wideChars == 0) return std::string();
  std::vector<wchar_t> buffer(wideChars, L'\0');
  DWORD n = GetModuleFileNameW(nullptr, buffer.data(), wideChars);
  if (n >= wideChars) n = wideChars - 1;
  return win32::Utf8FromWide(buffer.data(), n);
}

std::size_t WideLength(const std::string& utf8) { return win32::WideFromUtf8(utf8).size(); }

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

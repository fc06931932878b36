#include "platform/file_version.h"

#include <memory>
#include <new>
#include <string>

#include <windows.h>

#include "platform/win32/wide_text.h"

namespace orin::platform {

bool ReadFileVersion(const char* path, FileVersion& out) {
  if (path == nullptr) return false;
  const std::wstring wide = win32::WideFromUtf8(path);
  if (wide.empty()) return false;

  DWORD handle = 0;
  const DWORD size = GetFileVersionInfoSizeW(wide.c_str(), &handle);
  if (size == 0) return false;
  // Twice the reported size, and the allocation is retried until it succeeds (the host's own
  // behaviour: a version read is not worth failing over a passing shortage).
  std::unique_ptr<unsigned char[]> block;
  while (!block) block.reset(new (std::nothrow) unsigned char[std::size_t(size) * 2]);
  if (!GetFileVersionInfoW(wide.c_str(), 0, size * 2, block.get())) return false;
  void* value = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(block.get(), L"\\", &value, &length) || value == nullptr ||
      length < sizeof(VS_FIXEDFILEINFO)) {
    return false;
  }
  const auto* info = static_cast<const VS_FIXEDFILEINFO*>(value);
  out.part[0] = HIWORD(info->dwFileVersionMS);
  out.part[1] = LOWORD(info->dwFileVersionMS);
  out.part[2] = HIWORD(info->dwFileVersionLS);
  out.part[3] = LOWORD(info->dwFileVersionLS);
  return true;
}

}  // namespace orin::platform

#include "platform/durable_append.h"

#include <algorithm>

#include <windows.h>

namespace orin::platform {

bool AppendDurably(const std::string& path, const std::string& bytes) {
  HANDLE file = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                            OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  LARGE_INTEGER start{};
  bool ok = SetFilePointerEx(file, LARGE_INTEGER{}, &start, FILE_END) != 0;
  std::size_t done = 0;
  while (ok && done < bytes.size()) {
    DWORD written = 0;
    const DWORD want = static_cast<DWORD>(std::min<std::size_t>(bytes.size() - done, 1u << 30));
    ok = WriteFile(file, bytes.data() + done, want, &written, nullptr) != 0 && written > 0;
    done += written;
  }
  ok = ok && FlushFileBuffers(file) != 0;
  if (!ok && done > 0 && SetFilePointerEx(file, start, nullptr, FILE_BEGIN)) SetEndOfFile(file);
  return CloseHandle(file) != 0 && ok;
}

}  // namespace orin::platform

#include "platform/files.h"

#include <windows.h>
#include <io.h>

#include <string>

namespace orin::platform {

PathStatus QueryPath(const char* path) {
  if (path == nullptr) return PathStatus::kOtherError;
  if (GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES) return PathStatus::kExists;
  return GetLastError() == ERROR_FILE_NOT_FOUND ? PathStatus::kNotFound : PathStatus::kOtherError;
}

bool CreateDir(const char* path) {
  if (path == nullptr) return false;
  return CreateDirectoryA(path, nullptr) != FALSE;
}

bool MoveFileReplacing(const char* from, const char* to) {
  if (from == nullptr || to == nullptr) return false;
  return MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED) != FALSE;
}

bool CopyFileOverwriting(const char* from, const char* to) {
  if (from == nullptr || to == nullptr) return false;
  return CopyFileA(from, to, FALSE) != FALSE;
}

bool RemoveFile(const char* path) {
  if (path == nullptr) return false;
  return DeleteFileA(path) != FALSE;
}

namespace {

// The paths are the C runtime's narrow ones, in the ANSI code page.
std::wstring Wide(const char* path) {
  const int n = MultiByteToWideChar(CP_ACP, 0, path, -1, nullptr, 0);
  if (n <= 0) return {};
  std::wstring out(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_ACP, 0, path, -1, out.data(), n);
  out.resize(static_cast<std::size_t>(n - 1));
  return out;
}

}  // namespace

bool SyncFile(const char* path) {
  if (path == nullptr) return false;
  HANDLE h = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                         nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  const bool ok = FlushFileBuffers(h) != FALSE;
  CloseHandle(h);
  return ok;
}

bool SyncFolderOf(const char* path) { return path != nullptr; }

bool SyncFileData(const char* path) { return SyncFile(path); }

bool MoveFileDurably(const char* from, const char* to) {
  return from != nullptr && SyncFile(from) && RenameDurably(from, to);
}

bool RenameDurably(const char* from, const char* to) {
  if (from == nullptr || to == nullptr) return false;
  const std::wstring wideFrom = Wide(from), wideTo = Wide(to);
  if (wideFrom.empty() || wideTo.empty()) return false;
  return MoveFileExW(wideFrom.c_str(), wideTo.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
}

std::int64_t FileSizeOf(const char* path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (path == nullptr || !GetFileAttributesExA(path, GetFileExInfoStandard, &data)) return -1;
  return (static_cast<std::int64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

std::int64_t OpenFileSize(std::FILE* file) {
  if (file == nullptr) return -1;
  const __int64 size = _filelengthi64(_fileno(file));
  return size < 0 ? -1 : static_cast<std::int64_t>(size);
}

bool TruncateFile(const char* path, std::int64_t size) {
  if (path == nullptr || size < 0) return false;
  HANDLE h = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                         nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  LARGE_INTEGER at;
  at.QuadPart = size;
  const bool ok = SetFilePointerEx(h, at, nullptr, FILE_BEGIN) != FALSE && SetEndOfFile(h) != FALSE;
  CloseHandle(h);
  return ok;
}

bool AppendDurably(const char* path, const char* data, std::size_t size) {
  if (path == nullptr) return false;
  HANDLE h = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  LARGE_INTEGER start{}, zero{};
  bool ok = SetFilePointerEx(h, zero, &start, FILE_END) != FALSE;
  while (ok && size > 0) {
    const DWORD chunk = size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size);
    DWORD wrote = 0;
    ok = WriteFile(h, data, chunk, &wrote, nullptr) != FALSE && wrote > 0;
    data += wrote;
    size -= wrote;
  }
  ok = ok && FlushFileBuffers(h) != FALSE;
  if (!ok && SetFilePointerEx(h, start, nullptr, FILE_BEGIN) != FALSE) SetEndOfFile(h);
  CloseHandle(h);
  return ok;
}

bool Overwrite(const char* path, std::int64_t size, const FilePiece* pieces, std::size_t count,
               bool flush) {
  if (path == nullptr) return false;
  HANDLE h = CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  LARGE_INTEGER current{};
  bool ok = GetFileSizeEx(h, &current) != FALSE && current.QuadPart == size;
  for (std::size_t i = 0; ok && i < count; ++i) {
    const char* data = pieces[i].data;
    std::size_t left = pieces[i].size;
    std::uint64_t at = static_cast<std::uint64_t>(pieces[i].offset);
    while (ok && left > 0) {
      OVERLAPPED where{};
      where.Offset = static_cast<DWORD>(at);
      where.OffsetHigh = static_cast<DWORD>(at >> 32);
      const DWORD chunk = left > 0x40000000u ? 0x40000000u : static_cast<DWORD>(left);
      DWORD wrote = 0;
      ok = WriteFile(h, data, chunk, &wrote, &where) != FALSE && wrote > 0;
      data += wrote;
      left -= wrote;
      at += wrote;
    }
  }
  ok = ok && (!flush || FlushFileBuffers(h) != FALSE);
  CloseHandle(h);
  return ok;
}

}  // namespace orin::platform

#include "platform/files.h"

#include <windows.h>

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

}  // namespace orin::platform

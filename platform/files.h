#pragma once
#include <cstdint>

// Thin file-system services with the Win32 results the engine's algorithms test.

namespace orin::platform {

enum class PathStatus { kExists, kNotFound /* ERROR_FILE_NOT_FOUND */, kOtherError };
// GetFileAttributesA plus the error that explains a failure.
PathStatus QueryPath(const char* path);
// CreateDirectoryA: one level only.
bool CreateDir(const char* path);
// MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED).
bool MoveFileReplacing(const char* from, const char* to);
// CopyFileA(from, to, FALSE): overwrites.
bool CopyFileOverwriting(const char* from, const char* to);
// DeleteFileA.
bool RemoveFile(const char* path);

}  // namespace orin::platform

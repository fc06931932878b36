#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>

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

// Durable steps for data that replaces or removes other data: what was written reaches stable
// storage before the old data goes, and a rename survives a power cut.
// fsync / FlushFileBuffers of the file's data, whoever wrote it.
bool SyncFile(const char* path);
// The folder holding `path` records its renames and removals (POSIX: fsync of the folder; on
// Windows the moves below are written through, so there is nothing left to flush).
bool SyncFolderOf(const char* path);
// From replaces to in one rename that is itself made durable (MoveFileExW with
// MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH); the data goes as it is, flushed or not.
bool RenameDurably(const char* from, const char* to);
// SyncFile(from), then RenameDurably: for data written to take the place of other data.
bool MoveFileDurably(const char* from, const char* to);
// The file's size in bytes; -1 when it does not exist or cannot be queried.
std::int64_t FileSizeOf(const char* path);
// The same for a file the C runtime has open.
std::int64_t OpenFileSize(std::FILE* file);
// Cuts the file back to `size` bytes.
bool TruncateFile(const char* path, std::int64_t size);
// Appends the bytes and flushes them to stable storage; a short write is cut back, so the file is
// either as it was or has all of them.
bool AppendDurably(const char* path, const char* data, std::size_t size);

// Bytes to write at an offset of a file.
struct FilePiece {
  std::int64_t offset;
  const char* data;
  std::size_t size;
};
// Writes the pieces in their order over an existing file of exactly `size` bytes, which keeps its
// size and its name; with `flush`, they reach stable storage (fdatasync / FlushFileBuffers) before
// it returns true. False when the file is missing or of another size (nothing written), or when a
// write or the flush fails.
bool Overwrite(const char* path, std::int64_t size, const FilePiece* pieces, std::size_t count,
               bool flush);
// fdatasync / FlushFileBuffers: a file's data written in place, without its other metadata.
bool SyncFileData(const char* path);

}  // namespace orin::platform

#include "platform/files.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/fd_io.h"

namespace orin::platform {
namespace {

int OpenRetrying(const char* path, int flags, mode_t mode = 0) {
  int fd;
  do {
    fd = ::open(path, flags | O_CLOEXEC, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

std::string ParentOf(const std::string& path) {
  std::string p = path;
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  const std::size_t slash = p.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return p.substr(0, slash);
}

}  // namespace

PathStatus QueryPath(const char* path) {
  if (path == nullptr || *path == '\0') return PathStatus::kOtherError;
  struct stat st;
  if (::stat(path, &st) == 0) return PathStatus::kExists;
  if (errno != ENOENT) return PathStatus::kOtherError;
  // Windows says "file not found" only when the folder above exists; a missing folder on the
  // way is "path not found", which callers must not mistake for a creatable last level.
  struct stat parent;
  if (::stat(ParentOf(path).c_str(), &parent) == 0 && S_ISDIR(parent.st_mode)) {
    return PathStatus::kNotFound;
  }
  return PathStatus::kOtherError;
}

bool CreateDir(const char* path) {
  if (path == nullptr || *path == '\0') return false;
  return ::mkdir(path, 0777) == 0;
}

bool CopyFileOverwriting(const char* from, const char* to) {
  if (from == nullptr || to == nullptr) return false;
  const int in = OpenRetrying(from, O_RDONLY);
  if (in < 0) return false;
  struct stat st;
  if (::fstat(in, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(in);
    return false;
  }
  const int out = OpenRetrying(to, O_WRONLY | O_CREAT | O_TRUNC, st.st_mode & 0777);
  if (out < 0) {
    ::close(in);
    return false;
  }
  bool ok = true;
  char chunk[65536];
  for (;;) {
    const ssize_t n = ::read(in, chunk, sizeof chunk);
    if (n < 0) {
      if (errno == EINTR) continue;
      ok = false;
      break;
    }
    if (n == 0) break;
    if (!WriteAll(out, chunk, static_cast<std::size_t>(n))) {
      ok = false;
      break;
    }
  }
  ::close(in);
  if (::close(out) != 0) ok = false;
  return ok;
}

bool MoveFileReplacing(const char* from, const char* to) {
  if (from == nullptr || to == nullptr) return false;
  if (::rename(from, to) == 0) return true;
  if (errno != EXDEV) return false;
  // Across file systems, as MOVEFILE_COPY_ALLOWED does: copy, then drop the source.
  if (!CopyFileOverwriting(from, to)) return false;
  return ::unlink(from) == 0;
}

bool RemoveFile(const char* path) {
  if (path == nullptr) return false;
  return ::unlink(path) == 0;
}

namespace {

bool SyncFd(int fd, bool dataOnly = false) {
  int r;
  do {
    r = dataOnly ? ::fdatasync(fd) : ::fsync(fd);
  } while (r != 0 && errno == EINTR);
  return r == 0;
}

bool SyncPath(const char* path, int flags, bool dataOnly = false) {
  const int fd = OpenRetrying(path, flags);
  if (fd < 0) return false;
  const bool ok = SyncFd(fd, dataOnly);
  return ::close(fd) == 0 && ok;
}

}  // namespace

bool SyncFile(const char* path) {
  if (path == nullptr) return false;
  return SyncPath(path, O_RDONLY);
}

bool SyncFolderOf(const char* path) {
  if (path == nullptr) return false;
  return SyncPath(ParentOf(path).c_str(), O_RDONLY | O_DIRECTORY);
}

bool SyncFileData(const char* path) {
  if (path == nullptr) return false;
  return SyncPath(path, O_RDONLY, true);
}

bool RenameDurably(const char* from, const char* to) {
  return MoveFileReplacing(from, to) && SyncFolderOf(to);
}

bool MoveFileDurably(const char* from, const char* to) { return SyncFile(from) && RenameDurably(from, to); }

std::int64_t FileSizeOf(const char* path) {
  struct stat st;
  if (path == nullptr || ::stat(path, &st) != 0) return -1;
  return static_cast<std::int64_t>(st.st_size);
}

std::int64_t OpenFileSize(std::FILE* file) {
  struct stat st;
  if (file == nullptr || ::fstat(::fileno(file), &st) != 0) return -1;
  return static_cast<std::int64_t>(st.st_size);
}

bool TruncateFile(const char* path, std::int64_t size) {
  if (path == nullptr || size < 0) return false;
  int r;
  do {
    r = ::truncate(path, static_cast<off_t>(size));
  } while (r != 0 && errno == EINTR);
  return r == 0;
}

bool AppendDurably(const char* path, const char* data, std::size_t size) {
  if (path == nullptr) return false;
  const int fd = OpenRetrying(path, O_WRONLY | O_CREAT | O_APPEND, 0666);
  if (fd < 0) return false;
  struct stat st;
  const bool sized = ::fstat(fd, &st) == 0;
  const bool ok = sized && WriteAll(fd, data, size) && SyncFd(fd);
  if (!ok && sized) {
    while (::ftruncate(fd, st.st_size) != 0 && errno == EINTR) {
    }
  }
  const bool closed = ::close(fd) == 0;
  return ok && closed && SyncFolderOf(path);
}

bool Overwrite(const char* path, std::int64_t size, const FilePiece* pieces, std::size_t count,
               bool flush) {
  if (path == nullptr) return false;
  const int fd = OpenRetrying(path, O_WRONLY);
  if (fd < 0) return false;
  struct stat st;
  bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size == size;
  for (std::size_t i = 0; ok && i < count; ++i) {
    const char* data = pieces[i].data;
    std::size_t left = pieces[i].size;
    off_t at = static_cast<off_t>(pieces[i].offset);
    while (ok && left > 0) {
      const ssize_t n = ::pwrite(fd, data, left, at);
      if (n < 0 && errno == EINTR) continue;
      ok = n > 0;
      if (!ok) break;
      data += n;
      left -= static_cast<std::size_t>(n);
      at += n;
    }
  }
  // The size and the name stay, so the data alone has to reach the disk.
  ok = ok && (!flush || SyncFd(fd, true));
  return ::close(fd) == 0 && ok;
}

}  // namespace orin::platform

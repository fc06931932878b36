#include "platform/named_mutex.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

// Each handle is its own open file description, so flock excludes other handles of the same
// process as well as other processes. The kernel drops the lock when a holder dies; that cannot be
// told apart from a clean release, so kAbandoned is never reported here.

namespace orin::platform {
namespace {

struct PosixMutex {
  int fd;
  bool owned;
};

std::string LockPath(const wchar_t* name) {
  const char* dir = std::getenv("ORIN_LOCK_DIR");
  std::string path = (dir != nullptr && *dir != '\0') ? dir : "/tmp";
  path += "/orinpoint-";
  for (const wchar_t* p = name; *p != L'\0'; ++p) {
    const wchar_t c = *p;
    const bool plain = (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') ||
                       (c >= L'0' && c <= L'9') || c == L'-' || c == L'{' || c == L'}';
    path += plain ? static_cast<char>(c) : '_';
  }
  path += ".lock";
  return path;
}

MutexHandle OpenLockFile(const wchar_t* name, int extraFlags) {
  if (name == nullptr) return nullptr;
  const std::string path = LockPath(name);
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | extraFlags, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return nullptr;
  // Other users share the lock file as they would share the mutex; umask must not stop them.
  if ((extraFlags & O_CREAT) != 0) (void)::fchmod(fd, 0666);
  return new PosixMutex{fd, false};
}

PosixMutex* Get(MutexHandle handle) {
  return (handle == nullptr || handle == InvalidMutexHandle()) ? nullptr
                                                               : static_cast<PosixMutex*>(handle);
}

}  // namespace

MutexHandle OpenNamedMutex(const wchar_t* name) { return OpenLockFile(name, 0); }
MutexHandle CreateNamedMutex(const wchar_t* name) { return OpenLockFile(name, O_CREAT); }

WaitResult WaitNamedMutex(MutexHandle handle) {
  PosixMutex* m = Get(handle);
  if (m == nullptr) return WaitResult::kFailed;
  int rc;
  do {
    rc = ::flock(m->fd, LOCK_EX);
  } while (rc != 0 && errno == EINTR);
  if (rc != 0) return WaitResult::kFailed;
  m->owned = true;
  return WaitResult::kAcquired;
}

bool ReleaseNamedMutex(MutexHandle handle) {
  PosixMutex* m = Get(handle);
  if (m == nullptr || !m->owned) return false;
  m->owned = false;
  return ::flock(m->fd, LOCK_UN) == 0;
}

bool CloseNamedMutex(MutexHandle handle) {
  PosixMutex* m = Get(handle);
  if (m == nullptr) return false;
  const bool ok = ::close(m->fd) == 0;
  delete m;
  return ok;
}

}  // namespace orin::platform

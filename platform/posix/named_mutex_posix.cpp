#include "platform/named_mutex.h"

#include "platform/host_paths.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

// A named mutex is a lock file, locked with flock. Each process opens a name's file once and keeps
// it: appends take this lock every time, and opening and closing the file per lock cost as much
// as the append itself. Threads of the process queue on an in-process recursive mutex first, so
// they exclude each other and a thread may re-enter, as with a Windows mutex. The kernel drops the
// flock when a holder dies; that cannot be told from a clean release, so kAbandoned never occurs.

namespace orin::platform {
namespace {

struct LockFile {
  std::string path;
  int fd = -1;
  std::recursive_mutex threads;
  int depth = 0;  // nesting of the owning thread; guarded by `threads`
  std::chrono::steady_clock::time_point checked{};
};

struct Handle {
  LockFile* file;
  int owned;  // this handle's share of the nesting
};

// One file per distinct name: other characters are spelled as "_" and their code in hex, so
// "GLOBAL/..." and "GLOBAL\\..." (or "GLOBAL_...") never share a lock.
// The cache's own folder, not a world-writable one: whoever could create or lock the file there
// could stall the host's appends or, by making it first, leave them unlocked.
std::string LockFolder() {
  const char* dir = std::getenv("ORIN_LOCK_DIR");
  if (dir != nullptr && *dir != '\0') return dir;
  char appData[4096] = {};
  if (!CommonAppDataFolder(appData, sizeof appData)) return std::string();
  return std::string(appData) + "/QuillBR";
}

std::string LockPath(const wchar_t* name) {
  std::string path = LockFolder();
  path += "/orinpoint-";
  for (const wchar_t* p = name; *p != L'\0'; ++p) {
    const wchar_t c = *p;
    const bool plain = (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') ||
                       (c >= L'0' && c <= L'9') || c == L'-' || c == L'{' || c == L'}';
    if (plain) {
      path += static_cast<char>(c);
    } else {
      char code[16];
      std::snprintf(code, sizeof code, "_%x_", static_cast<unsigned>(c));
      path += code;
    }
  }
  path += ".lock";
  return path;
}

int OpenPath(const std::string& path, bool create) {
  int fd;
  do {
    fd = ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC | (create ? O_CREAT : 0), 0660);
  } while (fd < 0 && errno == EINTR);
  // The owner and the data folder's group, who may write the cache, share the lock whatever the
  // umask; other users cannot even open it, so they cannot hold it and stall the host's appends.
  // A lock file an older build left open to everyone is narrowed by its owner.
  if (fd >= 0) (void)::fchmod(fd, 0660);
  return fd;
}

// Lock files stay open for the life of the process; never destroyed, so exit order cannot matter.
std::mutex& RegistryLock() {
  static auto* m = new std::mutex;
  return *m;
}
std::map<std::wstring, LockFile*>& Registry() {
  static auto* r = new std::map<std::wstring, LockFile*>;
  return *r;
}

MutexHandle OpenHandle(const wchar_t* name, bool create) {
  if (name == nullptr) return nullptr;
  std::lock_guard<std::mutex> guard(RegistryLock());
  // Keyed by the name as given; the lock folder is read when a name is first opened.
  auto it = Registry().find(name);
  if (it == Registry().end()) {
    const std::string path = LockPath(name);
    const int fd = OpenPath(path, create);
    if (fd < 0) return nullptr;
    auto file = std::make_unique<LockFile>();
    file->path = path;
    file->fd = fd;
    it = Registry().emplace(name, file.release()).first;
  }
  return new Handle{it->second, 0};
}

Handle* Get(MutexHandle handle) {
  return (handle == nullptr || handle == InvalidMutexHandle()) ? nullptr : static_cast<Handle*>(handle);
}

// A cleaner may delete a lock file that has sat unused for long; a process keeping the old one
// would then no longer exclude newcomers, so a vanished file is opened afresh. Checked at most once
// a second: the check costs a system call, a third of the lock's price.
void ReopenIfUnlinked(LockFile& file) {
  const auto now = std::chrono::steady_clock::now();
  if (now - file.checked < std::chrono::seconds(1)) return;
  file.checked = now;
  struct stat st {};
  if (::fstat(file.fd, &st) == 0 && st.st_nlink > 0) return;
  const int fd = OpenPath(file.path, true);
  if (fd < 0) return;
  ::close(file.fd);
  file.fd = fd;
}

}  // namespace

MutexHandle OpenNamedMutex(const wchar_t* name) { return OpenHandle(name, false); }
MutexHandle CreateNamedMutex(const wchar_t* name) { return OpenHandle(name, true); }
// Nobody closes these handles, so one per name is kept for the life of the process.
MutexHandle CreateOwnedNamedMutex(const wchar_t* name) {
  static std::mutex lock;
  // Never destroyed either, so the handles stay reachable until the process is gone.
  static auto& kept = *new std::map<std::wstring, MutexHandle>;
  std::lock_guard<std::mutex> guard(lock);
  MutexHandle& handle = kept[name];
  if (handle == nullptr) handle = OpenHandle(name, true);
  return handle;
}

namespace {

// flock has no time-out: a bounded wait polls, a short sleep between tries.
constexpr std::uint32_t kForever = 0xFFFFFFFFu;
constexpr int kPollMs = 20;

std::atomic<bool> abandoned{false};

// Waits are polls, even without a time-out, so that the exit can end them: from 1 ms, doubling up
// to kPollMs, so that a lock held for an append's few microseconds is taken soon after.
class Poll {
 public:
  explicit Poll(std::uint32_t timeoutMs)
      : forever_(timeoutMs == kForever),
        until_(std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs)) {}
  // 0 to try again after a pause, or why not: ECANCELED (the exit), EWOULDBLOCK (time is up).
  int Pause() {
    if (abandoned.load(std::memory_order_acquire)) return ECANCELED;
    if (!forever_ && std::chrono::steady_clock::now() >= until_) return EWOULDBLOCK;
    std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs_));
    pauseMs_ = pauseMs_ * 2 > kPollMs ? kPollMs : pauseMs_ * 2;
    return 0;
  }

 private:
  const bool forever_;
  const std::chrono::steady_clock::time_point until_;
  int pauseMs_ = 1;
};

// 0, or the errno that ended the wait.
int LockThreads(LockFile& file, std::uint32_t timeoutMs) {
  Poll poll(timeoutMs);
  while (!file.threads.try_lock()) {
    if (const int why = poll.Pause()) return why;
  }
  return 0;
}

// 0, or the errno that ended the wait (EWOULDBLOCK: time is up).
int LockFd(int fd, std::uint32_t timeoutMs) {
  Poll poll(timeoutMs);
  for (;;) {
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0) return 0;
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) return errno;
    if (const int why = poll.Pause()) return why;
  }
}

}  // namespace

WaitResult WaitNamedMutex(MutexHandle handle) { return WaitNamedMutexFor(handle, kForever); }

WaitResult WaitNamedMutexFor(MutexHandle handle, std::uint32_t timeoutMs) {
  Handle* h = Get(handle);
  if (h == nullptr) return WaitResult::kFailed;
  LockFile& file = *h->file;
  if (const int why = LockThreads(file, timeoutMs)) {
    return why == EWOULDBLOCK ? WaitResult::kTimedOut : WaitResult::kFailed;
  }
  if (file.depth == 0) {
    ReopenIfUnlinked(file);
    const int rc = LockFd(file.fd, timeoutMs);
    if (rc != 0) {
      file.threads.unlock();
      return rc == EWOULDBLOCK ? WaitResult::kTimedOut : WaitResult::kFailed;
    }
  }
  ++file.depth;
  ++h->owned;
  return WaitResult::kAcquired;
}

void AbandonNamedMutexWaits() { abandoned.store(true, std::memory_order_release); }

bool ReleaseNamedMutex(MutexHandle handle) {
  Handle* h = Get(handle);
  if (h == nullptr || h->owned == 0) return false;
  LockFile& file = *h->file;
  --h->owned;
  if (--file.depth == 0) ::flock(file.fd, LOCK_UN);
  file.threads.unlock();
  return true;
}

// Closing a handle that still holds the mutex gives it up, as a Windows thread's exit would.
bool CloseNamedMutex(MutexHandle handle) {
  Handle* h = Get(handle);
  if (h == nullptr) return false;
  while (h->owned > 0) ReleaseNamedMutex(handle);
  delete h;
  return true;
}

}  // namespace orin::platform

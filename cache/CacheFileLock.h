#pragma once
#include "platform/named_mutex.h"

namespace orin {

// Scoped holder of the cross-process cache mutex. Every process that touches the cache file opens
// the same name; the forward slash keeps it in the caller's session namespace, deliberately.
inline constexpr const wchar_t* kCacheMutexName = L"GLOBAL/{C5FD4B75-0292-4B34-9408-0B6CFB5FAE48}";

class CacheFileLock {
 public:
  CacheFileLock() = default;
  ~CacheFileLock() { Unlock(); }
  CacheFileLock(const CacheFileLock&) = delete;
  CacheFileLock& operator=(const CacheFileLock&) = delete;

  // Waits without time-out; true only when the mutex was acquired cleanly (not abandoned).
  bool Lock();
  void Unlock();

 private:
  platform::MutexHandle handle_ = platform::InvalidMutexHandle();
};

}  // namespace orin

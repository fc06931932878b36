#include "cache/CacheFileLock.h"

namespace orin {

bool CacheFileLock::Lock() {
  handle_ = platform::OpenNamedMutex(kCacheMutexName);
  if (handle_ == nullptr) {
    handle_ = platform::CreateNamedMutex(kCacheMutexName);
    if (handle_ == nullptr) return false;
  }
  // An abandoned mutex is owned all the same, but reported as a failure.
  return platform::WaitNamedMutex(handle_) == platform::WaitResult::kAcquired;
}

// Tests for 0 although "no handle" is the invalid value: an unlock without a lock hands the
// invalid value on, and the platform calls simply fail on it.
void CacheFileLock::Unlock() {
  if (handle_ != nullptr) {
    platform::ReleaseNamedMutex(handle_);
    platform::CloseNamedMutex(handle_);
    handle_ = platform::InvalidMutexHandle();
  }
}

}  // namespace orin

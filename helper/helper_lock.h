#pragma once
#include "platform/named_mutex.h"

namespace orin::helper {

// Only one helper at a time works on a cache: a second one waits here until the first is done.
// Separate from the cache lock, which the module's appends take and which is never held while
// the helper talks to the network. A helper that dies releases it (an abandoned mutex on
// Windows, a closed lock file on POSIX), and the next one picks up what it left.
inline constexpr const wchar_t* kHelperMutexName = L"GLOBAL/{0B7E64D2-5C1A-4E83-9F26-orinhlp}";

class HelperLock {
 public:
  HelperLock() = default;
  ~HelperLock();
  HelperLock(const HelperLock&) = delete;
  HelperLock& operator=(const HelperLock&) = delete;

  // Waits without time-out; false only when no lock could be made at all.
  bool Acquire();

 private:
  platform::MutexHandle handle_ = nullptr;
  bool owned_ = false;
};

}  // namespace orin::helper

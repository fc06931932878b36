#pragma once
#include <cstdint>

#include "helper/report.h"
#include "platform/named_mutex.h"

namespace orin::helper {

// Only one helper at a time works on a cache: a second one waits here a while, then leaves the
// work to the first. Separate from the cache lock, which the module's appends take and which is
// never held while the helper talks to the network. A helper that dies releases it (an abandoned
// mutex on Windows, a closed lock file on POSIX), and the next one picks up what it left. In the
// global namespace on Windows, so helpers of different sessions exclude each other too.
inline constexpr const wchar_t* kHelperMutexName = L"Global\\{0B7E64D2-5C1A-4E83-9F26-orinhlp}";

class HelperLock {
 public:
  enum class Outcome { kOwned, kBusy, kFailed };

  HelperLock() = default;
  ~HelperLock();
  HelperLock(const HelperLock&) = delete;
  HelperLock& operator=(const HelperLock&) = delete;

  // kBusy: another helper kept it for all of waitMs; kFailed: no lock could be made at all.
  Outcome Acquire(std::uint32_t waitMs);

 private:
  platform::MutexHandle handle_ = nullptr;
  bool owned_ = false;
};

// A command's start: true when the lock is owned. Otherwise `ended` is the command's end: a
// lock kept busy leaves the work to its holder (success, said to support staff), a lock that
// cannot be made at all is a local-file failure.
bool TakeHelperLock(HelperLock& lock, std::uint32_t waitMs, const Report& report, Result& ended);

}  // namespace orin::helper

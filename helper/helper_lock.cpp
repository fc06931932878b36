#include "helper/helper_lock.h"

namespace orin::helper {

HelperLock::Outcome HelperLock::Acquire(std::uint32_t waitMs) {
  handle_ = platform::CreateNamedMutex(kHelperMutexName);
  if (handle_ == nullptr) return Outcome::kFailed;
  // Abandoned means its last holder died: owned all the same, and its leftovers are ours.
  switch (platform::WaitNamedMutexFor(handle_, waitMs)) {
    case platform::WaitResult::kAcquired:
    case platform::WaitResult::kAbandoned:
      owned_ = true;
      return Outcome::kOwned;
    case platform::WaitResult::kTimedOut:
      return Outcome::kBusy;
    default:
      return Outcome::kFailed;
  }
}

HelperLock::~HelperLock() {
  if (owned_) platform::ReleaseNamedMutex(handle_);
  if (handle_ != nullptr) platform::CloseNamedMutex(handle_);
}

}  // namespace orin::helper

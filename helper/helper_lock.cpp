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

bool TakeHelperLock(HelperLock& lock, std::uint32_t waitMs, const Report& report, Result& ended) {
  switch (lock.Acquire(waitMs)) {
    case HelperLock::Outcome::kOwned:
      return true;
    case HelperLock::Outcome::kBusy:
      report.Note("another helper is running: the work is left to it");
      ended = Result::Ok();
      return false;
    default:
      ended = Result::Fail(kLocalFiles, "cannot take the helper lock");
      return false;
  }
}

}  // namespace orin::helper

#include "helper/helper_lock.h"

namespace orin::helper {

bool HelperLock::Acquire() {
  handle_ = platform::CreateNamedMutex(kHelperMutexName);
  if (handle_ == nullptr) return false;
  // Abandoned means its last holder died: owned all the same, and its leftovers are ours.
  owned_ = platform::WaitNamedMutex(handle_) != platform::WaitResult::kFailed;
  return owned_;
}

HelperLock::~HelperLock() {
  if (owned_) platform::ReleaseNamedMutex(handle_);
  if (handle_ != nullptr) platform::CloseNamedMutex(handle_);
}

}  // namespace orin::helper

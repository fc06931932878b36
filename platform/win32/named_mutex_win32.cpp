#include "platform/named_mutex.h"

#include <windows.h>

namespace orin::platform {
namespace {
bool Usable(MutexHandle h) { return h != nullptr && h != InvalidMutexHandle(); }
}  // namespace

MutexHandle OpenNamedMutex(const wchar_t* name) {
  return OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name);
}

MutexHandle CreateNamedMutex(const wchar_t* name) { return CreateMutexW(nullptr, FALSE, name); }
MutexHandle CreateOwnedNamedMutex(const wchar_t* name) { return CreateMutexW(nullptr, TRUE, name); }

WaitResult WaitNamedMutexFor(MutexHandle handle, std::uint32_t timeoutMs) {
  if (!Usable(handle)) return WaitResult::kFailed;
  switch (WaitForSingleObject(handle, timeoutMs)) {
    case WAIT_OBJECT_0: return WaitResult::kAcquired;
    case WAIT_ABANDONED: return WaitResult::kAbandoned;
    case WAIT_TIMEOUT: return WaitResult::kTimedOut;
    default: return WaitResult::kFailed;
  }
}

WaitResult WaitNamedMutex(MutexHandle handle) { return WaitNamedMutexFor(handle, INFINITE); }

// The invalid value is also the current-process pseudo handle; never hand it to the kernel.
bool ReleaseNamedMutex(MutexHandle handle) { return Usable(handle) && ReleaseMutex(handle) != 0; }
bool CloseNamedMutex(MutexHandle handle) { return Usable(handle) && CloseHandle(handle) != 0; }

void AbandonNamedMutexWaits() {}

}  // namespace orin::platform

#pragma once
#include <cstdint>

// Cross-process named mutex, with the raw handle semantics the cache lock is written against.
// Win32: kernel mutex objects. POSIX: flock on a lock file derived from the name, in the shared
// data folder the cache lives in (the common application-data folder + "/QuillBR"; $ORIN_LOCK_DIR
// instead when set), opened without following links; released by the kernel if the holder dies.
// Only those who may write the cache can create or lock a file there.
// A handle is used by one thread at a time; distinct handles exclude each other across threads too.

namespace orin::platform {

using MutexHandle = void*;
// The "no handle" value of the Win32 API (INVALID_HANDLE_VALUE).
inline MutexHandle InvalidMutexHandle() { return reinterpret_cast<MutexHandle>(~std::uintptr_t{0}); }

// OpenMutexW-like: an existing mutex of that name, or nullptr.
MutexHandle OpenNamedMutex(const wchar_t* name);
// CreateMutexW-like (not initially owned): opens or creates; nullptr on failure.
MutexHandle CreateNamedMutex(const wchar_t* name);

enum class WaitResult { kAcquired, kAbandoned, kFailed, kTimedOut };
// Waits without time-out. kAbandoned still leaves the mutex owned, as on Windows.
WaitResult WaitNamedMutex(MutexHandle handle);
// The same, giving up after timeoutMs (kTimedOut, not owned).
WaitResult WaitNamedMutexFor(MutexHandle handle, std::uint32_t timeoutMs);
// Both tolerate nullptr and InvalidMutexHandle() (they just fail).
bool ReleaseNamedMutex(MutexHandle handle);
bool CloseNamedMutex(MutexHandle handle);

// For the host's exit: every wait, in progress or to come, ends at once (kFailed), so that a
// thread waiting for a mutex another process holds finishes its work and the exit does not wait
// on it. Windows, which ends the threads itself, has nothing to do.
void AbandonNamedMutexWaits();

}  // namespace orin::platform

namespace orin::platform {

// CreateMutexW(nullptr, TRUE, name): owned by the calling thread when the name is new; nullptr
// on failure. POSIX: opens the lock file without locking it: nothing waits on such a mutex, and
// a flock taken here would outlive the thread, held by the process until it exits.
MutexHandle CreateOwnedNamedMutex(const wchar_t* name);

}  // namespace orin::platform

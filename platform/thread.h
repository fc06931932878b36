#pragma once
#include <cstdint>

namespace orin::platform {

using ThreadHandle = void*;
using ThreadProc = unsigned (*)(void* arg);

// CreateThread-like: nullptr when the thread could not be started. The caller owns the handle
// and must CloseThread it exactly once (before or after the thread ends); waits may come from
// any thread until then. Timeouts are in ms; 0xFFFFFFFF waits without limit.
ThreadHandle StartThread(ThreadProc proc, void* arg);
// WaitForSingleObject(thread, timeoutMs); true when the thread ended within the time.
bool WaitThread(ThreadHandle thread, std::uint32_t timeoutMs);
// CloseHandle: forgets the thread; a thread still running goes on (detached).
void CloseThread(ThreadHandle thread);

void SleepMs(std::uint32_t ms);

}  // namespace orin::platform

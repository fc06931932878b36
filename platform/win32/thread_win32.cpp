#include "platform/thread.h"

#include <new>

#include <windows.h>

namespace orin::platform {
namespace {

struct StartBlock {
  ThreadProc proc;
  void* arg;
};

// Adapts the portable entry point to the Win32 one; the block belongs to the new thread.
DWORD WINAPI Trampoline(LPVOID raw) {
  StartBlock block = *static_cast<StartBlock*>(raw);
  delete static_cast<StartBlock*>(raw);
  return block.proc(block.arg);
}

}  // namespace

ThreadHandle StartThread(ThreadProc proc, void* arg) {
  if (proc == nullptr) return nullptr;
  auto* block = new (std::nothrow) StartBlock{proc, arg};
  if (block == nullptr) return nullptr;
  HANDLE thread = CreateThread(nullptr, 0, &Trampoline, block, 0, nullptr);
  if (thread == nullptr) {
    delete block;
    return nullptr;
  }
  return thread;
}

bool WaitThread(ThreadHandle thread, std::uint32_t timeoutMs) {
  if (thread == nullptr) return false;
  return WaitForSingleObject(static_cast<HANDLE>(thread), timeoutMs) == WAIT_OBJECT_0;
}

void CloseThread(ThreadHandle thread) {
  if (thread != nullptr) CloseHandle(static_cast<HANDLE>(thread));
}

void SleepMs(std::uint32_t ms) { Sleep(ms); }

}  // namespace orin::platform

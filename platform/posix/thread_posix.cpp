#include "platform/thread.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <new>

#include <pthread.h>

namespace orin::platform {
namespace {

constexpr std::uint32_t kInfinite = 0xFFFFFFFFu;

// Shared by the thread and the handle; whichever lets go last frees it.
struct ThreadState {
  ThreadState(ThreadProc p, void* a) : proc(p), arg(a) {}
  ThreadProc proc;
  void* arg;
  pthread_t thread{};
  std::mutex lock;
  std::condition_variable ended;
  bool done = false;
  int owners = 2;
};

void Release(ThreadState* state) {
  bool last;
  {
    std::lock_guard<std::mutex> guard(state->lock);
    last = --state->owners == 0;
  }
  if (last) delete state;
}

void* Trampoline(void* raw) {
  auto* state = static_cast<ThreadState*>(raw);
  state->proc(state->arg);
  {
    std::lock_guard<std::mutex> guard(state->lock);
    state->done = true;
    state->ended.notify_all();
  }
  Release(state);
  return nullptr;
}

}  // namespace

ThreadHandle StartThread(ThreadProc proc, void* arg) {
  if (proc == nullptr) return nullptr;
  auto* state = new (std::nothrow) ThreadState(proc, arg);
  if (state == nullptr) return nullptr;
  if (pthread_create(&state->thread, nullptr, &Trampoline, state) != 0) {
    delete state;
    return nullptr;
  }
  return state;
}

bool WaitThread(ThreadHandle thread, std::uint32_t timeoutMs) {
  if (thread == nullptr) return false;
  auto* state = static_cast<ThreadState*>(thread);
  std::unique_lock<std::mutex> guard(state->lock);
  if (timeoutMs == kInfinite) {
    state->ended.wait(guard, [state] { return state->done; });
    return true;
  }
  return state->ended.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                               [state] { return state->done; });
}

void CloseThread(ThreadHandle thread) {
  if (thread == nullptr) return;
  auto* state = static_cast<ThreadState*>(thread);
  pthread_detach(state->thread);
  Release(state);
}

void SleepMs(std::uint32_t ms) {
  timespec left{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace orin::platform

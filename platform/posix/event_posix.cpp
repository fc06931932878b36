#include "platform/event.h"

#include <condition_variable>
#include <mutex>
#include <new>

namespace orin::platform {
namespace {

struct AutoResetEvent {
  std::mutex lock;
  std::condition_variable changed;
  bool signalled = false;
};

}  // namespace

EventHandle CreateAutoResetEvent() { return new (std::nothrow) AutoResetEvent; }

void SignalEvent(EventHandle event) {
  if (event == nullptr) return;
  auto* e = static_cast<AutoResetEvent*>(event);
  {
    std::lock_guard<std::mutex> guard(e->lock);
    e->signalled = true;
  }
  e->changed.notify_one();
}

bool WaitEvent(EventHandle event) {
  if (event == nullptr) return false;
  auto* e = static_cast<AutoResetEvent*>(event);
  std::unique_lock<std::mutex> guard(e->lock);
  e->changed.wait(guard, [e] { return e->signalled; });
  e->signalled = false;  // the wait that sees the signal consumes it
  return true;
}

}  // namespace orin::platform

// The module's one export. Everything else stays inside: the linker keeps only this symbol
// (orinpoint.def on Windows, exports.map on POSIX).
#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>

#include "facade/CEventTap.h"
#include "platform/module_lifetime.h"

namespace {

// What a host gets when the facade cannot be built (no memory for its queue): every call is
// ignored, and the host still never sees null.
class InertEventTap final : public IEventTap {
 public:
  void SetPoint(int32_t, int32_t) override {}
  void SubmitCache() override {}
  void RecordPoint() override {}
  void PrepareAndSubmitCache() override {}
  void PreparePoint(int32_t, int32_t) override {}
  void ReportPointNow() override {}
  void SubmitCacheNow() override {}
  void SetPointParam(int32_t, const char*, int32_t) override {}
};

// Bit 0: the facade is published. Bit 1: being constructed. The host makes its first call from
// one thread; a second thread arriving during that call waits rather than building a second one.
std::atomic<unsigned> guard{0};
std::atomic<IEventTap*> published{nullptr};
bool built = false;
alignas(orin::CEventTap) unsigned char storage[sizeof(orin::CEventTap)];
InertEventTap inert;

orin::CEventTap* Facade() { return std::launder(reinterpret_cast<orin::CEventTap*>(storage)); }

// The facade's end at exit: its queue is freed, but the object itself outlives the exit list,
// because its thread (never stopped) may still wake and look at the queue. When the process is
// ending, Windows has already ended that thread, perhaps while it held the queue's lock: then
// nothing is freed, and no lock is taken.
void DestroyFacade() {
  if (built && !orin::platform::ProcessIsEnding()) Facade()->ReleaseQueue();
}

IEventTap* Build() {
  // The module's own thread runs inside it until the process ends, whatever the host unloads.
  orin::platform::PinModuleContaining(storage);
  try {
    new (storage) orin::CEventTap();
  } catch (...) {
    return &inert;
  }
  built = true;
  std::atexit(&DestroyFacade);
  return Facade();
}

}  // namespace

extern "C" IEventTap* GetOrinPointObj(void) {
  if ((guard.load(std::memory_order_acquire) & 1u) == 0) {
    if ((guard.fetch_or(2u, std::memory_order_acq_rel) & 2u) == 0) {
      published.store(Build(), std::memory_order_release);
      guard.fetch_or(1u, std::memory_order_release);
    } else {
      while ((guard.load(std::memory_order_acquire) & 1u) == 0) std::this_thread::yield();
    }
  }
  return published.load(std::memory_order_acquire);
}

// The module's one export. Everything else stays inside: the linker keeps only this symbol
// (orinpoint.def on Windows, exports.map on POSIX).
#include <atomic>
#include <cstdlib>
#include <new>

#include "facade/CEventTap.h"

namespace {

// Bit 0: constructed. Bit 1: being constructed. The host makes its first call from one
// thread; a second thread arriving during that call waits rather than building a second facade.
std::atomic<unsigned> guard{0};
alignas(orin::CEventTap) unsigned char storage[sizeof(orin::CEventTap)];

orin::CEventTap* Facade() { return std::launder(reinterpret_cast<orin::CEventTap*>(storage)); }

// The facade's end at exit: its queue is freed, but the object itself outlives the exit list,
// because its thread (never stopped) may still wake and look at the queue.
void DestroyFacade() { Facade()->ReleaseQueue(); }

}  // namespace

extern "C" IEventTap* GetOrinPointObj(void) {
  if ((guard.load(std::memory_order_acquire) & 1u) == 0) {
    if ((guard.fetch_or(2u, std::memory_order_acq_rel) & 2u) == 0) {
      new (storage) orin::CEventTap();
      std::atexit(&DestroyFacade);
      guard.fetch_or(1u, std::memory_order_release);
    } else {
      while ((guard.load(std::memory_order_acquire) & 1u) == 0) {
      }
    }
  }
  return Facade();
}

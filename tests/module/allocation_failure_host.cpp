// A host whose allocations all fail during its first GetOrinPointObj call (POSIX, plain builds:
// the module then allocates through this program's operator new). The call must neither throw
// nor return null, a second call must return at once with the same object, and every operation
// on it must be harmless. Exit code 0 when so; the failing step otherwise.
#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include <orinpoint/IEventTap.h>

namespace {
std::atomic<bool> failing{false};
}

void* operator new(std::size_t size) {
  if (failing.load()) throw std::bad_alloc();
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return 3;
  auto get = reinterpret_cast<GetOrinPointObjFn>(dlsym(module, "GetOrinPointObj"));
  if (get == nullptr) return 4;
  IEventTap* first = nullptr;
  IEventTap* second = nullptr;
  failing = true;
  try {
    first = get();
    second = get();  // a guard left half-set would spin here for ever
  } catch (...) {
    failing = false;
    return 5;
  }
  failing = false;
  if (first == nullptr || second != first) return 6;
  first->SetPoint(1, 2);
  first->SetPointParam(0, "size", 3);
  first->RecordPoint();
  first->PreparePoint(4, 5);
  first->ReportPointNow();
  first->SubmitCache();
  first->SubmitCacheNow();
  first->PrepareAndSubmitCache();
  return 0;
}

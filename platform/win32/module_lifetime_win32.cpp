// Built into the module only: the DLL's entry point is where Windows says why it is detaching.
#include <windows.h>

#include <atomic>

#include "platform/module_lifetime.h"

namespace {
std::atomic<bool> processEnding{false};
}

// Called by the runtime's own entry point before it runs the module's exit routines.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_DETACH && reserved != nullptr) processEnding.store(true);
  return TRUE;
}

namespace orin::platform {

void PinModuleContaining(const void* address) {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     static_cast<LPCWSTR>(address), &module);
}

bool ProcessIsEnding() { return processEnding.load(); }

}  // namespace orin::platform

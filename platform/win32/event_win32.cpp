#include "platform/event.h"

#include <windows.h>

namespace orin::platform {

EventHandle CreateAutoResetEvent() { return CreateEventW(nullptr, FALSE, FALSE, nullptr); }

void SignalEvent(EventHandle event) {
  if (event != nullptr) SetEvent(static_cast<HANDLE>(event));
}

bool WaitEvent(EventHandle event) {
  if (event == nullptr) return false;
  return WaitForSingleObject(static_cast<HANDLE>(event), INFINITE) == WAIT_OBJECT_0;
}

}  // namespace orin::platform
